// The numbered error-message catalogue: 114 messages of six lines in each
// language, shown in a message box with an OK button.
//
// The numbers, the code convention and the status type are in model/status.h.
#pragma once

#include <cstdint>
#include <string>

#include "model/status.h"

namespace quelvari {

inline constexpr int kErrorLinesPerMessage = 6;

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
// The same for a status, followed by its detail line (the description and the
// system's reason, Status::detail) when it has one.
ErrorBox ComposeErrorMessage(const Status& status, std::uint32_t lang);
ErrorBox ComposeErrorMessage(const Status& status);

// The user-interface side: shows the box (OK button, no icon).
class MessageSink {
  public:
    virtual ~MessageSink() = default;
    virtual void showMessage(const std::string& caption, const std::string& text) = 0;
};
void ShowErrorMessage(MessageSink& sink, std::int32_t code);
void ShowErrorMessage(MessageSink& sink, const Status& status);

}  // namespace quelvari
