#include "app/stand_in_editor.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QVBoxLayout>

#include <map>

#include "app/qt_text.h"
#include "components/catalogue.h"
#include "components/editor.h"
#include "components/form.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::app {
namespace {

// The form interface over the widgets of the dialog, by control id.
class WidgetForm : public Form {
  public:
    std::map<std::uint32_t, QLineEdit*> texts;
    std::map<std::uint32_t, QCheckBox*> checks;
    std::map<std::uint32_t, QSpinBox*> combos;
    std::map<std::uint32_t, std::vector<std::string>> items;

    std::string text(std::uint32_t id, std::size_t maxChars) const override {
        const auto it = texts.find(id);
        if (it == texts.end())
            return {};
        std::string t = FromQtLossy(it->second->text());
        if (t.size() > maxChars)
            t.resize(maxChars);
        return t;
    }
    bool checked(std::uint32_t id) const override {
        const auto it = checks.find(id);
        return it != checks.end() && it->second->isChecked();
    }
    int currentIndex(std::uint32_t id) const override {
        const auto it = combos.find(id);
        return it == combos.end() ? -1 : it->second->value();
    }
    void setText(std::uint32_t id, const std::string& t) override {
        if (const auto it = texts.find(id); it != texts.end())
            it->second->setText(ToQt(t));
    }
    void setChecked(std::uint32_t id, bool on) override {
        if (const auto it = checks.find(id); it != checks.end())
            it->second->setChecked(on);
    }
    void setItems(std::uint32_t id, const std::vector<std::string>& list) override {
        items[id] = list;
        if (const auto it = combos.find(id); it != combos.end())
            it->second->setMaximum(static_cast<int>(list.size()) - 1);
    }
    void setCurrentIndex(std::uint32_t id, int index) override {
        if (const auto it = combos.find(id); it != combos.end())
            it->second->setValue(index);
    }
    void setEnabled(std::uint32_t id, bool on) override {
        if (QWidget* w = widget(id))
            w->setEnabled(on);
    }
    void setVisible(std::uint32_t id, bool on) override {
        if (QWidget* w = widget(id))
            w->setVisible(on);
    }
    QWidget* widget(std::uint32_t id) const {
        if (const auto it = texts.find(id); it != texts.end())
            return it->second;
        if (const auto it = checks.find(id); it != checks.end())
            return it->second;
        if (const auto it = combos.find(id); it != combos.end())
            return it->second;
        return nullptr;
    }
};

class EditorDialog : public QDialog {
  public:
    EditorDialog(QWidget* parent, const ComponentType& type, const Editor& editor,
                 ComponentRecord& record)
        : QDialog(parent), type_(type), editor_(editor), record_(record) {
        setWindowTitle(LangQt(type.dialogId));
        auto* outer = new QVBoxLayout(this);
        auto* area = new QScrollArea(this);
        auto* inner = new QWidget(area);
        auto* rows = new QFormLayout(inner);
        for (const ControlSpec& c : editor.controls) {
            const QString label =
                QStringLiteral("%1 (%2)").arg(QString::fromLatin1(c.name)).arg(c.id);
            switch (c.kind) {
                case ControlKind::Text: {
                    auto* edit = new QLineEdit(inner);
                    form_.texts[c.id] = edit;
                    rows->addRow(label, edit);
                    break;
                }
                case ControlKind::Check:
                case ControlKind::Radio: {
                    auto* box = new QCheckBox(inner);
                    form_.checks[c.id] = box;
                    rows->addRow(label, box);
                    break;
                }
                case ControlKind::Combo: {
                    auto* spin = new QSpinBox(inner);
                    spin->setRange(-1, 1000);
                    form_.combos[c.id] = spin;
                    rows->addRow(label, spin);
                    break;
                }
            }
        }
        area->setWidget(inner);
        area->setWidgetResizable(true);
        outer->addWidget(area);
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
        buttons->button(QDialogButtonBox::Ok)->setText(LangQt(1));
        buttons->button(QDialogButtonBox::Cancel)->setText(LangQt(2));
        connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        outer->addWidget(buttons);
        resize(520, 560);
        editor.fill(record, form_);
    }

    void accept() override {
        for (const auto& [id, edit] : form_.texts) {
            if (!CheckStorable(this, edit->text())) {
                edit->setFocus();
                edit->selectAll();
                return;
            }
        }
        ComponentRecord result = record_;
        if (const int code = editor_.read(form_, result)) {
            const ErrorBox box = ComposeErrorMessage(code);
            QMessageBox::warning(this, ToQt(box.caption), ToQt(box.text));
            if (QWidget* w = form_.widget(form_.errorFieldControl)) {
                w->setFocus();
                if (auto* edit = qobject_cast<QLineEdit*>(w))
                    edit->selectAll();
            }
            return;
        }
        record_ = result;
        QDialog::accept();
    }

  private:
    const ComponentType& type_;
    const Editor& editor_;
    ComponentRecord& record_;
    WidgetForm form_;
};

}  // namespace

int EditComponent(QWidget* parent, ComponentRecord& editRecord) {
    const ComponentType* type = FindType(editRecord);
    if (!type)
        return editRecord.typeCode();
    EditorDialog dialog(parent, *type, EditorOf(*type), editRecord);
    return dialog.exec() == QDialog::Accepted ? 1 : 0;
}

bool SelectComponent(QWidget* parent, ComponentRecord& editRecord) {
    QDialog dialog(parent);
    dialog.setWindowTitle(LangQt(kSelectionDialogId));
    auto* layout = new QVBoxLayout(&dialog);
    auto* list = new QListWidget(&dialog);
    for (const ComponentType& t : kCatalogue) {
        auto* item = new QListWidgetItem(LangQt(t.nameId) + QStringLiteral(" (") +
                                         QString(QLatin1Char(t.code)) + QLatin1Char(')'));
        item->setToolTip(LangQt(t.descriptionId));
        list->addItem(item);
    }
    list->setCurrentRow(0);
    layout->addWidget(list);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    buttons->button(QDialogButtonBox::Ok)->setText(LangQt(1));
    buttons->button(QDialogButtonBox::Cancel)->setText(LangQt(2));
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    QObject::connect(list, &QListWidget::itemDoubleClicked, &dialog, &QDialog::accept);
    layout->addWidget(buttons);
    dialog.resize(420, 520);
    if (dialog.exec() != QDialog::Accepted || list->currentRow() < 0)
        return false;
    const ComponentType& type = kCatalogue[static_cast<std::size_t>(list->currentRow())];
    ComponentRecord candidate;
    PresetNewRecord(candidate, type);
    if (type.kind == ComponentKind::GraphicPrint)
        candidate.setU8(rec::kPayload, kGraphicPrintMark);
    candidate.setTypeCode(static_cast<std::uint8_t>(type.code));
    if (EditComponent(parent, candidate) != 1)
        return false;
    editRecord = candidate;
    return true;
}

}  // namespace quelvari::app
