#include "app/components/qt_text.h"

#include "model/encoding.h"

namespace quelvari::app {

QString FromCp1252(const std::string& bytes) {
    return QString::fromStdString(cp1252ToUtf8(bytes));
}

std::optional<std::string> ToCp1252(const QString& text) {
    return utf8ToCp1252(text.toStdString());
}

QValidator::State Cp1252Validator::validate(QString& input, int& /*pos*/) const {
    return ToCp1252(input) ? Acceptable : Invalid;
}

}  // namespace quelvari::app
