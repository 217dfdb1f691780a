#include "texts/errors.h"

#include "texts/generated_tables.h"
#include "texts/texts.h"

namespace quelvari {
namespace {

const char* const* catalogue(std::uint32_t lang) {
    switch (lang) {
        case kEnglish:
            return generated::kErrorsEn;
        case kFrench:
            return generated::kErrorsFr;
        case kItalian:
            return generated::kErrorsIt;
        default:
            return generated::kErrorsDe;
    }
}

}  // namespace

const char* ErrorLine(std::uint32_t lang, int number, int line) {
    if (number < 1 || number > kErrorMessageCount || line < 0 || line >= kErrorLinesPerMessage)
        return "";
    return catalogue(lang)[(number - 1) * kErrorLinesPerMessage + line];
}

ErrorBox ComposeErrorMessage(std::int32_t code, std::uint32_t lang) {
    ErrorBox box;
    const int number = ErrorNumber(code);
    const int field = ErrorField(code);
    for (int line = 0; line < kErrorLinesPerMessage; ++line)
        box.text += ErrorLine(lang, number, line);
    if (field != 0)
        box.text += "\n" + FormatText(GetLangText(3202, lang), field);
    box.caption = LangText(3201, lang);
    return box;
}

ErrorBox ComposeErrorMessage(std::int32_t code) {
    return ComposeErrorMessage(code, language());
}

ErrorBox ComposeErrorMessage(const Status& status, std::uint32_t lang) {
    ErrorBox box = ComposeErrorMessage(status.code(), lang);
    if (const std::string detail = status.detail(); !detail.empty())
        box.text += "\n" + detail;
    return box;
}

ErrorBox ComposeErrorMessage(const Status& status) {
    return ComposeErrorMessage(status, language());
}

void ShowErrorMessage(MessageSink& sink, std::int32_t code) {
    const ErrorBox box = ComposeErrorMessage(code);
    sink.showMessage(box.caption, box.text);
}

void ShowErrorMessage(MessageSink& sink, const Status& status) {
    const ErrorBox box = ComposeErrorMessage(status);
    sink.showMessage(box.caption, box.text);
}

}  // namespace quelvari
