// Refuses input that Windows-1252 cannot hold, so that a dialog field never
// carries a text the record could not store.
#pragma once

#include <QValidator>

namespace quelvari::app {

class Cp1252Validator : public QValidator {
  public:
    using QValidator::QValidator;
    State validate(QString& input, int& pos) const override;
};

}  // namespace quelvari::app
