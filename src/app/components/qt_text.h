// Windows-1252 texts of the core at the Qt boundary.
#pragma once

#include <QString>
#include <QValidator>
#include <optional>
#include <string>

namespace quelvari::app {

// Every byte decodes (the undefined ones to the C1 control of the same value).
QString FromCp1252(const std::string& bytes);
// Nothing when the text holds a character the code page cannot represent.
std::optional<std::string> ToCp1252(const QString& text);

// Refuses input that Windows-1252 cannot hold, so that a field never carries
// a text the record could not store.
class Cp1252Validator : public QValidator {
  public:
    using QValidator::QValidator;
    State validate(QString& input, int& pos) const override;
};

}  // namespace quelvari::app
