#include "app/components/cp1252_validator.h"

#include "app/qt_text.h"

namespace quelvari::app {

QValidator::State Cp1252Validator::validate(QString& input, int& /*pos*/) const {
    return FromQt(input) ? Acceptable : Invalid;
}

}  // namespace quelvari::app
