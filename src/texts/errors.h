// The numbered error-message catalogue: 114 messages of six lines in each
// language, shown in a message box with an OK button.
//
// An error code is the message number times 256 plus a field number (0 = no
// field). Component readers return such codes; the file commands and the link
// name their message numbers directly.
#pragma once

#include <cstdint>
#include <string>

namespace quelvari {

inline constexpr int kErrorMessageCount = 114;
inline constexpr int kErrorLinesPerMessage = 6;

constexpr int ErrorCode(int number, int field = 0) {
    return number * 256 + field;
}
constexpr int ErrorNumber(std::int32_t code) {
    return code >> 8;
}
constexpr int ErrorField(std::int32_t code) {
    return code & 255;
}

// Line `line` (0..5) of message `number` (1..114) in `lang` (any value other
// than 1, 2, 3 gives German). Out-of-range numbers give an empty line.
const char* ErrorLine(std::uint32_t lang, int number, int line);

// What the message box shows for `code`, in Windows-1252: the caption (text
// 3201) and the six lines of the message joined, followed by "\n" and text 3202
// formatted with the field when the field is not 0. A code with message number
// 0 (the command component's field-only codes) has an empty message and only
// the field line.
struct ErrorBox {
    std::string caption;
    std::string text;
};
ErrorBox ComposeErrorMessage(std::int32_t code, std::uint32_t lang);
ErrorBox ComposeErrorMessage(std::int32_t code);

// The user-interface side: shows the box (OK button, no icon).
class MessageSink {
  public:
    virtual ~MessageSink() = default;
    virtual void showMessage(const std::string& caption, const std::string& text) = 0;
};
void ShowErrorMessage(MessageSink& sink, std::int32_t code);

}  // namespace quelvari
