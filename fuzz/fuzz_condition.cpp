// The condition check on any text. The text is handed over in a buffer of
// exactly its length, so a read past its end is caught. What must hold: the
// three entry points agree; an accepted condition has at most 20 characters
// and names only variables within their letter's limits; a refusal is one of
// the check's catalogue numbers; and an accepted condition stored as an entry
// or branch condition reads back from the record as it was typed.
#include <memory>

#include "components/condition.h"
#include "components/editor.h"
#include "fuzz_support.h"
#include "model/record.h"

using namespace quelvari;

namespace {

bool isCheckError(int e) {
    switch (e) {
        case kErrVariableNumber:
        case kErrMissingQuote:
        case kErrTextOperator:
        case kErrOperandType:
        case kErrConditionTooLong:
        case kErrOperator:
        case kErrTooLong:
            return true;
        default:
            return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto copy = std::make_unique<char[]>(size);
    std::copy(data, data + size, copy.get());
    const std::string_view text(copy.get(), size);

    const ConditionResult result = ParseCondition(text);
    FUZZ_CHECK(CheckCondition(text) == result.error);
    if (result.error != 0) {
        FUZZ_CHECK(isCheckError(result.error));
        FUZZ_CHECK(result.error != kErrTooLong || size > kConditionMaxChars);
        return 0;
    }
    FUZZ_CHECK(size <= kConditionMaxChars);
    FUZZ_CHECK(ConditionVariables(text) == result.variables);
    for (const ConditionVariable& v : result.variables) {
        FUZZ_CHECK(v.number >= 1 && v.number <= VariableLimit(v.letter));
        FUZZ_CHECK(text.find(v.letter) != std::string_view::npos ||
                   text.find(static_cast<char>(v.letter - 'A' + 'a')) != std::string_view::npos);
    }

    // A dialog's text holds no zero byte; up to one the record keeps it all.
    const std::string typed(text.substr(0, text.find('\0')));
    if (typed.size() != size)
        return 0;
    ComponentRecord r;
    storeInputCondition(r, typed);
    FUZZ_CHECK(r.text(rec::kInputCondition, kConditionReadChars) == typed);
    storeBranchCondition(r, typed);
    FUZZ_CHECK(r.text(rec::kBranchCondition, kConditionReadChars) == typed);
    // A short entry condition stays whole beside the branch condition; a long
    // one ran on into the branch field, which the branch condition overwrote.
    if (typed.size() < rec::kConditionSize)
        FUZZ_CHECK(r.inputCondition() == typed);
    return 0;
}
