// Payload layouts of the component types whose editors are fully defined:
// record offsets (from the start of the 800-byte record) of every field, and
// the value codes stored there. Unlisted payload bytes of these types are 0.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quelvari::layout {

// Preset bytes written when a type is picked for a new component.
inline constexpr std::size_t kPresetFlag = 88;           // bargraph, display, graphic, I/O, picture
inline constexpr std::size_t kReadDatabasePreset = 217;  // read database

// Measuring component, type 'M'.
namespace measuring {
inline constexpr std::size_t kMode = 88;              // u8 'M', 'S' or 'T'
inline constexpr std::size_t kSaveInFile = 89;        // u8 1/0, mode M only
inline constexpr std::size_t kVariables = 90;         // list of 3-byte entries, 0-terminated
inline constexpr std::size_t kVariablesEnd = 152;     // first byte past the list's room
inline constexpr std::size_t kScanPeriod = 152;       // u32 microseconds
inline constexpr std::size_t kCount = 160;            // u32 number of measurements
inline constexpr std::size_t kPretrigger = 164;       // u8 percent 0..100 step 10
inline constexpr std::size_t kTransferVariant = 165;  // u8 mode T: 1 stop and transfer
inline constexpr std::size_t kTriggerLetter = 172;    // u8, 0 = no trigger
inline constexpr std::size_t kTriggerNumber = 173;    // u8 0..16
inline constexpr std::size_t kTriggerOperator = 175;  // u8 '>', '<', '=', 0xAB, 0xBB
inline constexpr std::size_t kTriggerValue = 180;     // f32
inline constexpr std::size_t kTriggerLink = 184;      // u8 0 none, 1 and, 2 or, 3 start/stop
inline constexpr std::size_t kTrigger2Letter = 185;
inline constexpr std::size_t kTrigger2Number = 186;
inline constexpr std::size_t kTrigger2Operator = 188;
inline constexpr std::size_t kTrigger2Value = 196;  // f32
inline constexpr std::uint8_t kModeMeasure = 'M';
inline constexpr std::uint8_t kModeSave = 'S';
inline constexpr std::uint8_t kModeTransfer = 'T';
inline constexpr std::uint8_t kEdgeRising = 0xAB;  // edge operators, mode S only
inline constexpr std::uint8_t kEdgeFalling = 0xBB;
inline constexpr std::uint8_t kIndirectMark = '@';            // list held in string variable Sn
inline constexpr std::uint32_t kMeasureScanPeriod = 1000000;  // mode M
inline constexpr std::uint32_t kMeasureCount = 1;             // mode M
}  // namespace measuring

// Time component, type 'Z'.
namespace time {
inline constexpr std::size_t kWaitKind = 88;    // u8 'Z' time, 'T' key
inline constexpr std::size_t kTimeFactor = 90;  // u16, units of 10 ms, 1..60000
inline constexpr std::uint8_t kKindTime = 'Z';
inline constexpr std::uint8_t kKindKey = 'T';
}  // namespace time

// Interrupt component, type 'I': four entries of 8 bytes from 88.
namespace interrupt {
inline constexpr std::size_t kFirstEntry = 88;
inline constexpr std::size_t kEntryStride = 8;
inline constexpr std::size_t kEntryCount = 4;
inline constexpr std::size_t kState = 0;     // u8 0 unused, 1 enable, 2 disable
inline constexpr std::size_t kKind = 1;      // u8 'B' component routine, 'C' external
inline constexpr std::size_t kTimeBase = 2;  // u8 0 ms, 1 s, 0xFF none selected
inline constexpr std::size_t kTime = 6;      // u16, only when enabled
constexpr std::size_t entry(std::size_t k) {
    return kFirstEntry + kEntryStride * k;
}
inline constexpr std::uint8_t kStateUnused = 0;
inline constexpr std::uint8_t kStateEnable = 1;
inline constexpr std::uint8_t kStateDisable = 2;
inline constexpr std::uint8_t kKindComponent = 'B';
inline constexpr std::uint8_t kKindExternal = 'C';
}  // namespace interrupt

// Break component, type 'u'.
namespace brk {
inline constexpr std::size_t kReferenceLetter = 88;     // 'Z' or 'S'
inline constexpr std::size_t kReferenceNumber = 89;     // 1..255
inline constexpr std::size_t kRegistrationLetter = 91;  // 'B'
inline constexpr std::size_t kRegistrationNumber = 92;  // 1..255
}  // namespace brk

// Section component, type 'C'.
namespace section {
inline constexpr std::size_t kKind = 88;             // 0 first, 1 middle, 2 last
inline constexpr std::size_t kReferenceLetter = 89;  // 'Z' or 'S', first section only
inline constexpr std::size_t kReferenceNumber = 90;  // 1..255
inline constexpr std::size_t kName = 92;             // char[41], 1..40 characters
inline constexpr std::size_t kNameSize = 41;
inline constexpr std::size_t kIdentLetter = 136;  // 'B'
inline constexpr std::size_t kIdentNumber = 137;  // 1..255
inline constexpr std::uint8_t kFirst = 0;
inline constexpr std::uint8_t kMiddle = 1;
inline constexpr std::uint8_t kLast = 2;
}  // namespace section

// Module component, type 'U'.
namespace module {
inline constexpr std::size_t kName = 88;  // char[31], 1..30 characters, no extension
inline constexpr std::size_t kNameSize = 31;
}  // namespace module

// Command component, type 'D'.
namespace command {
inline constexpr std::size_t kOwnDosWindow = 88;  // u8 1 yes, 0 no
inline constexpr std::size_t kFirstLine = 96;     // char[56] x 4
inline constexpr std::size_t kLineStride = 56;
inline constexpr std::size_t kLineCount = 4;
inline constexpr std::size_t kLineMax = 50;  // characters per line
inline constexpr std::size_t kPayloadEnd = 320;
constexpr std::size_t line(std::size_t i) {
    return kFirstLine + kLineStride * i;
}
}  // namespace command

// Picture component, type 'p'.
namespace picture {
inline constexpr std::size_t kClearFirst = 88;       // u8 1 clear screen / form feed
inline constexpr std::size_t kPictureSet = 89;       // u8 always 1 when stored
inline constexpr std::size_t kOutputMedium = 90;     // u8 'D' screen, 'P' printer
inline constexpr std::size_t kPictureKind = 91;      // u8 'B' bitmap, 'J' JPEG
inline constexpr std::size_t kTransparentText = 92;  // u8, printer only
inline constexpr std::size_t kUseLinePosition = 93;  // u8, printer only
inline constexpr std::size_t kXPercent = 96;         // i32
inline constexpr std::size_t kYPercent = 100;        // i32
inline constexpr std::size_t kWidthPercent = 104;    // i32
inline constexpr std::size_t kHeightPercent = 108;   // i32
inline constexpr std::size_t kFile = 112;            // char[260], full path
inline constexpr std::size_t kFileSize = 260;
inline constexpr std::uint8_t kScreen = 'D';
inline constexpr std::uint8_t kPrinter = 'P';
inline constexpr std::uint8_t kBitmap = 'B';
inline constexpr std::uint8_t kJpeg = 'J';
}  // namespace picture

// Interbus-S component, type 'i': the function byte is the one part of its
// payload fixed so far. It also chooses the editor dialog.
namespace interbus {
inline constexpr std::size_t kFunction = 88;
inline constexpr std::uint8_t kCycle = 'Z';
inline constexpr std::uint8_t kInitialise = 'I';
inline constexpr std::uint8_t kReset = 'R';
}  // namespace interbus

}  // namespace quelvari::layout
