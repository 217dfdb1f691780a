// The program's one error model.
//
// Every error the user can see is a message of the numbered error catalogue
// (texts/errors.h shows it). `Catalogue` names those numbers once for the
// whole program. An error code packs the number with the faulty field of a
// dialog: number * 256 + field (field 0 = none), the value every OK reader
// returns. `Status` carries a code together with what the system said, so a
// message about a file can name the system's reason under the catalogue text.
#pragma once

#include <cstdint>
#include <string>

namespace quelvari {

// The numbers of the error catalogue (1 to 114).
enum Catalogue : int {
    kErrNone = 0,
    kErrInvalidCharacter = 1,
    kErrDelayTime = 2,
    kErrGotoMissing = 3,        // branch condition without target
    kErrGotoWithoutBranch = 4,  // target without branch condition
    kErrNumberRange = 5,        // field variable number out of range
    kErrFieldLength = 6,
    kErrFieldType = 7,
    kErrFieldFormat = 8,
    kErrFormulaMissing = 9,
    kErrVariableLetter = 10,
    kErrVariableNumber = 11,  // number 0, too many digits or above the limit
    kErrFormulaOperator = 12,
    kErrBrackets = 13,
    kErrEmptyField = 14,  // a required field is empty
    kErrScanRate = 15,
    kErrCount = 16,
    kErrScreenMask = 17,
    kErrTriggerValue = 18,
    kErrTriggerOperator = 19,
    kErrUnknownFunction = 20,
    kErrConstant = 21,
    kErrMissingQuote = 22,      // text operand without closing mark
    kErrTextOperator = 23,      // text compared with < or >
    kErrOperandType = 24,       // operand kind does not suit the variable
    kErrConditionTooLong = 25,  // characters left after the condition
    kErrOperator = 26,          // ==, or a second <, > or ! after the operator
    kErrResultType = 27,
    kErrInterruptTime = 28,
    kErrProtocolInput = 29,
    kErrGraphicScale = 30,
    kErrReferenceComponent = 31,
    kErrIdentLetter = 32,  // boolean variable letter
    kErrBooleanFormula = 33,
    kErrDoubleLink = 34,
    kErrAnalogStart = 35,
    kErrAnalogEnd = 36,
    kErrRampSteps = 37,
    kErrRampStepTime = 38,
    kErrDigitalValue = 39,
    kErrDbaseFileName = 40,
    kErrDbaseFieldName = 41,
    kErrDbaseFieldLength = 42,
    kErrParameter = 43,
    kErrLimit = 44,
    kErrModuleName = 45,
    kErrLength = 46,
    kErrMemory = 47,
    kErrBranchCondition = 48,
    kErrReference = 49,  // reference variable of a break or section
    kErrRegistration = 50,
    kErrCalibration = 51,
    kErrInterbusInit = 52,
    kErrErrorVariable = 53,
    kErrTooLong = 54,  // input longer than the field allows
    kErrInputMissing = 55,
    kErrNameTooLong = 56,
    kErrDecimals = 57,
    kErrInvalidVariable = 58,
    kErrColour = 59,
    kErrPictureFile = 60,
    kErrPictureSize = 61,
    kErrCommandLineTooLong = 62,
    kErrDbaseFieldEmpty = 63,
    kErrNotProcedureFile = 64,
    kErrMaskTooManyLines = 65,
    kErrSensorParameter = 66,
    kErrSensorChannel = 67,
    kErrSensorUnit = 68,
    kErrSensorCalibration = 69,
    kErrProcedureInvalid = 70,
    kErrProcedureAccess = 71,
    kErrProcedureOpen = 72,
    kErrPictureAccess = 73,
    kErrUsbAccess = 74,
    kErrProcedureType = 75,
    kErrNoUsbInstrument = 76,
    kErrDifferentInstruments = 77,
    kErrTooManyInstruments = 78,
    kErrTransfer = 79,
    kErrInstrumentUnsupported = 80,
    kErrNotBasicState = 81,
    kErrProcedureMemory = 82,
    kErrSeriesMemory = 83,
    kErrDatabaseMemory = 84,
    kErrProcedureDosFormat = 85,
    kErrInterruptDosFormat = 86,
    kErrModuleDosFormat = 87,
    kErrSystemFileSeries = 88,
    kErrSystemFileDos = 89,
    kErrSystemFilePv6410 = 90,
    kErrCardWrite = 91,
    kErrFileWrite = 92,
    kErrFileOpen = 93,
    kErrErrorMask = 94,
    kErrVariableDefined = 95,
    kErrSystemFilePv3320 = 96,
    kErrVariableWrong = 97,
    kErrMeasurementCount = 98,
    kErrGraphicBreak = 99,
    kErrOnlineScanRate = 100,
    kErrSeriesMemoryFull = 101,
    kErrReferenceDatabase = 102,
    kErrDialogTitle = 103,
    kErrLookupField = 104,
    kErrReferenceFieldName = 105,
    kErrDatabaseFieldVariable = 106,
    kErrLookupVariable = 107,
    kErrMasterDatabase = 108,
    kErrSlaveDatabase = 109,
    kErrLookupName = 110,
    kErrFieldName = 111,
    kErrFilter = 112,
    kErrIndirectList = 113,
    kErrSectionName = 114,
};

inline constexpr int kErrorMessageCount = 114;

// The packed code: message number * 256 + field.
constexpr int ErrorCode(int number, int field = 0) {
    return number * 256 + field;
}
constexpr int ErrorNumber(std::int32_t code) {
    return code >> 8;
}
constexpr int ErrorField(std::int32_t code) {
    return code & 255;
}

struct Status {
    int message = kErrNone;   // catalogue number
    int field = 0;            // faulty field of a dialog, 0 = none
    int sysError = 0;         // errno of the failing system call, 0 = none
    std::string description;  // what failed (a path, a call), shown with the reason

    bool ok() const { return message == kErrNone && field == 0; }
    int code() const { return ErrorCode(message, field); }

    static Status fromCode(int code) { return {ErrorNumber(code), ErrorField(code), 0, {}}; }
    // A failed system call: `what` names the file or the step, `err` is errno.
    static Status system(int message, int err, std::string what) {
        return {message, 0, err, std::move(what)};
    }
    // A refusal without a system error (a file that is not a regular one, one
    // too large to be a procedure): `why` is the reason shown.
    static Status refused(int message, std::string why) { return {message, 0, 0, std::move(why)}; }

    // The detail line under the catalogue message: the description and, when
    // a system call failed, its reason ("/x/T.PAD: Permission denied").
    // Empty when there is neither.
    std::string detail() const;
};

// The system's text for `err`, in English whatever the locale (so that it is
// always plain ASCII and fits the code page of the texts).
std::string SystemErrorText(int err);

}  // namespace quelvari
