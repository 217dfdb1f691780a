// The component record: one step of a test procedure, 800 bytes, the same in
// memory, in procedure files and on the wire to the instrument.
//
// The record is kept as raw bytes and every field is read and written through
// little-endian accessors at fixed offsets, so the layout is the same on every
// host and nothing depends on struct packing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quelvari {

// Head layout (offsets from the start of the record).
namespace rec {
inline constexpr std::size_t kFormatMark = 0;        // u16, 0xFFFF in the current format
inline constexpr std::size_t kRecordMark = 2;        // u16, 35 in memory, 1 once saved
inline constexpr std::size_t kReserved4 = 4;         // u16, written as 0
inline constexpr std::size_t kNumber = 6;            // u16, 1-based step number
inline constexpr std::size_t kGotoTarget = 8;        // u16, step to branch to
inline constexpr std::size_t kInputCondition = 10;   // char[11]
inline constexpr std::size_t kBranchCondition = 21;  // char[11]
inline constexpr std::size_t kComment = 32;          // char[51]
inline constexpr std::size_t kTypeCode = 83;         // u8, ASCII letter, 0 = empty record
inline constexpr std::size_t kReserved84 = 84;       // 4 bytes, zero
inline constexpr std::size_t kPayload = 88;          // 712 bytes, type specific

inline constexpr std::size_t kConditionSize = 11;
inline constexpr std::size_t kCommentSize = 51;
inline constexpr std::size_t kPayloadSize = 712;
inline constexpr std::size_t kRecordSize = 800;

static_assert(kRecordMark == kFormatMark + 2);
static_assert(kReserved4 == kRecordMark + 2);
static_assert(kNumber == kReserved4 + 2);
static_assert(kGotoTarget == kNumber + 2);
static_assert(kInputCondition == kGotoTarget + 2);
static_assert(kBranchCondition == kInputCondition + kConditionSize);
static_assert(kComment == kBranchCondition + kConditionSize);
static_assert(kTypeCode == kComment + kCommentSize);
static_assert(kReserved84 == kTypeCode + 1);
static_assert(kPayload == kReserved84 + 4);
static_assert(kPayload + kPayloadSize == kRecordSize);
}  // namespace rec

inline constexpr std::uint16_t kCurrentFormatMark = 0xFFFF;
inline constexpr std::uint16_t kRecordMarkMemory = 35;
inline constexpr std::uint16_t kRecordMarkSaved = 1;

// Tag for a record whose bytes are about to be overwritten whole (the file
// reader reads straight into new nodes).
struct Uninitialised {};

struct ComponentRecord {
    std::array<std::uint8_t, rec::kRecordSize> bytes;

    ComponentRecord() : bytes{} {}
    explicit ComponentRecord(Uninitialised) {}

    std::uint8_t* data() { return bytes.data(); }
    const std::uint8_t* data() const { return bytes.data(); }
    void clear() { bytes.fill(0); }

    // Little-endian field access by record offset. Offsets past the record end
    // are a programming error and are caught by an assertion in debug builds.
    std::uint8_t u8(std::size_t off) const;
    std::uint16_t u16(std::size_t off) const;
    std::int16_t i16(std::size_t off) const;
    std::uint32_t u32(std::size_t off) const;
    float f32(std::size_t off) const;
    void setU8(std::size_t off, std::uint8_t v);
    void setU16(std::size_t off, std::uint16_t v);
    void setI16(std::size_t off, std::int16_t v);
    void setU32(std::size_t off, std::uint32_t v);
    void setF32(std::size_t off, float v);

    // Zero-terminated Windows-1252 text stored at `off`, read up to the first
    // zero byte but never past `maxBytes` nor past the record end.
    std::string text(std::size_t off, std::size_t maxBytes) const;
    // Stores `bytes` (Windows-1252) plus a terminator at `off`, cut at the
    // record end. No field bound: callers that must stay inside a field pass
    // text that fits; the condition copies rely on running on (see below).
    void setText(std::size_t off, std::string_view text);

    // Head fields.
    std::uint16_t formatMark() const { return u16(rec::kFormatMark); }
    std::uint16_t recordMark() const { return u16(rec::kRecordMark); }
    std::uint16_t number() const { return u16(rec::kNumber); }
    std::uint16_t gotoTarget() const { return u16(rec::kGotoTarget); }
    std::uint8_t typeCode() const { return u8(rec::kTypeCode); }
    void setFormatMark(std::uint16_t v) { setU16(rec::kFormatMark, v); }
    void setRecordMark(std::uint16_t v) { setU16(rec::kRecordMark, v); }
    void setNumber(std::uint16_t v) { setU16(rec::kNumber, v); }
    void setGotoTarget(std::uint16_t v) { setU16(rec::kGotoTarget, v); }
    void setTypeCode(std::uint8_t v) { setU8(rec::kTypeCode, v); }

    // The texts as they read within their own field, up to the first zero byte.
    std::string inputCondition() const { return text(rec::kInputCondition, rec::kConditionSize); }
    std::string branchCondition() const { return text(rec::kBranchCondition, rec::kConditionSize); }
    std::string comment() const { return text(rec::kComment, rec::kCommentSize); }
    bool hasBranch() const { return bytes[rec::kBranchCondition] != 0; }

    bool operator==(const ComponentRecord&) const = default;
};

static_assert(sizeof(ComponentRecord) == rec::kRecordSize);

// The condition fields are narrower (10 characters) than what the editors
// accept (20). Editors store the entry condition first, then the comment, then
// the branch condition, each without a field bound: a long entry condition runs
// on into `branchCondition` (and is overwritten there when the branch condition
// is stored), a long branch condition runs on into the start of `comment`.
// Procedure files keep these bytes as they stand.
void storeInputCondition(ComponentRecord& r, std::string_view text);
void storeBranchCondition(ComponentRecord& r, std::string_view text);
// The comment is bounded by its own field (at most 50 characters).
void storeComment(ComponentRecord& r, std::string_view text);

// The step that a component names by number: a graphic 'G' (u16 at 92 while
// byte 89 is 0), a text or graphic print 'P' (u16 at 94 while byte 90 is 0) or
// a statistic 'T' (i16 at 154 while byte 152 is 0). These are the references
// that renumbering shifts. False when the record names no step.
bool StepReference(const ComponentRecord& r, int& step);

// Removes trailing blanks in place.
void trimRight(std::string& text);
// Cuts `path` at its last backslash: the path keeps the part in front of it
// and the part behind it is returned; a path without a backslash is returned
// whole and left as it is.
std::string stripFileName(std::string& path);

}  // namespace quelvari
