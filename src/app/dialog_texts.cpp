#include "app/dialog_texts.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>

#include "app/qt_text.h"

namespace quelvari::app {

void WidgetTexts::setTitle(const std::string& cp1252Text) {
    dialog_->setWindowTitle(ToQt(cp1252Text));
}

void WidgetTexts::setItemText(std::uint32_t controlId, const std::string& cp1252Text) {
    const auto it = controls_.find(controlId);
    if (it == controls_.end())
        return;
    const QString text = ToQt(cp1252Text);
    if (auto* button = qobject_cast<QAbstractButton*>(it->second))
        button->setText(text);
    else if (auto* label = qobject_cast<QLabel*>(it->second))
        label->setText(text);
    else if (auto* group = qobject_cast<QGroupBox*>(it->second))
        group->setTitle(text);
    else if (auto* edit = qobject_cast<QLineEdit*>(it->second))
        edit->setText(text);
}

void WidgetTexts::localise(std::uint32_t dialogId, const std::vector<std::uint32_t>& ids) {
    LocaliseDialog(*this, dialogId, ids);
}

}  // namespace quelvari::app
