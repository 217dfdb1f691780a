#include "app/components/widget_form.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>

#include "app/qt_text.h"

namespace quelvari::app {

std::uint32_t ControlIdOf(const QWidget* w) {
    const QVariant v = w->property(kControlIdProperty);
    return v.isValid() ? v.toUInt() : 0;
}

WidgetForm::WidgetForm(QWidget* root) : root_(root) {}

void WidgetForm::rescan() {
    widgets_.clear();
    for (QWidget* w : root_->findChildren<QWidget*>())
        if (const std::uint32_t id = ControlIdOf(w))
            widgets_[id] = w;
}

QWidget* WidgetForm::widget(std::uint32_t id) const {
    const auto it = widgets_.find(id);
    return it == widgets_.end() ? nullptr : it->second.data();
}

void WidgetForm::focusAndSelect(std::uint32_t id) {
    QWidget* w = widget(id);
    if (!w)
        return;
    w->setFocus(Qt::OtherFocusReason);
    if (auto* e = qobject_cast<QLineEdit*>(w))
        e->selectAll();
    else if (auto* c = qobject_cast<QComboBox*>(w); c && c->lineEdit())
        c->lineEdit()->selectAll();
    else if (auto* p = qobject_cast<QPlainTextEdit*>(w))
        p->selectAll();
}

std::string WidgetForm::text(std::uint32_t id, std::size_t maxChars) const {
    const QWidget* w = widget(id);
    QString t;
    if (!w)
        return {};
    if (auto* e = qobject_cast<const QLineEdit*>(w))
        t = e->text();
    else if (auto* l = qobject_cast<const QLabel*>(w))
        t = l->text();
    else if (auto* b = qobject_cast<const QAbstractButton*>(w))
        t = b->text();
    else if (auto* g = qobject_cast<const QGroupBox*>(w))
        t = g->title();
    else if (auto* c = qobject_cast<const QComboBox*>(w))
        t = c->currentText();
    else if (auto* p = qobject_cast<const QPlainTextEdit*>(w))
        t = p->toPlainText();
    // The fields refuse characters outside the code page as they are typed;
    // a text set otherwise reads as empty rather than altered.
    std::string bytes = FromQt(t).value_or(std::string());
    if (bytes.size() > maxChars)
        bytes.resize(maxChars);
    return bytes;
}

bool WidgetForm::checked(std::uint32_t id) const {
    const auto* b = qobject_cast<const QAbstractButton*>(widget(id));
    return b && b->isChecked();
}

int WidgetForm::currentIndex(std::uint32_t id) const {
    const auto* c = qobject_cast<const QComboBox*>(widget(id));
    return c ? c->currentIndex() : -1;
}

void WidgetForm::setText(std::uint32_t id, const std::string& cp1252Text) {
    QWidget* w = widget(id);
    const QString t = ToQt(cp1252Text);
    if (auto* e = qobject_cast<QLineEdit*>(w))
        e->setText(t);
    else if (auto* l = qobject_cast<QLabel*>(w))
        l->setText(t);
    else if (auto* b = qobject_cast<QAbstractButton*>(w))
        b->setText(t);
    else if (auto* g = qobject_cast<QGroupBox*>(w))
        g->setTitle(t);
    else if (auto* c = qobject_cast<QComboBox*>(w); c && c->isEditable())
        c->setEditText(t);
    else if (auto* p = qobject_cast<QPlainTextEdit*>(w))
        p->setPlainText(t);
}

void WidgetForm::setChecked(std::uint32_t id, bool on) {
    auto* b = qobject_cast<QAbstractButton*>(widget(id));
    if (!b)
        return;
    // A checked radio button of an exclusive set refuses to be cleared; the
    // fillers set every button of a set explicitly, so lift the rule briefly.
    const bool exclusive = b->autoExclusive();
    if (!on && exclusive)
        b->setAutoExclusive(false);
    b->setChecked(on);
    b->setAutoExclusive(exclusive);
}

void WidgetForm::setItems(std::uint32_t id, const std::vector<std::string>& cp1252Items) {
    auto* c = qobject_cast<QComboBox*>(widget(id));
    if (!c)
        return;
    c->clear();
    for (const std::string& item : cp1252Items)
        c->addItem(ToQt(item));
    c->setCurrentIndex(-1);
}

void WidgetForm::setCurrentIndex(std::uint32_t id, int index) {
    if (auto* c = qobject_cast<QComboBox*>(widget(id)))
        c->setCurrentIndex(index < c->count() ? index : -1);
}

void WidgetForm::setEnabled(std::uint32_t id, bool on) {
    if (QWidget* w = widget(id))
        w->setEnabled(on);
}

void WidgetForm::setVisible(std::uint32_t id, bool on) {
    if (QWidget* w = widget(id))
        w->setVisible(on);
}

void WidgetForm::setTitle(const std::string& cp1252Text) {
    root_->setWindowTitle(ToQt(cp1252Text));
}

void WidgetForm::setItemText(std::uint32_t controlId, const std::string& cp1252Text) {
    setText(controlId, cp1252Text);
}

}  // namespace quelvari::app
