// One component dialog: a layout of id-tagged controls, the core's filler on
// opening and the core's reader on OK. A faulty OK keeps the dialog open with
// the catalogue message and the faulty control focused; Cancel leaves the
// edit record untouched.
#pragma once

#include <QDialog>
#include <QString>
#include <functional>
#include <vector>

#include "app/components/widget_form.h"
#include "model/record.h"

class QGridLayout;
class QBoxLayout;
class QLabel;
class QLineEdit;

namespace quelvari::app {

class ComponentDialog;

struct DialogDef {
    std::uint16_t dialogId = 0;  // caption text id (non-German languages)
    QString germanTitle;         // the built-in caption
    std::uint32_t helpContext = 0;
    std::vector<std::uint32_t> labelIds;  // relabelled in other languages
    std::function<int(Form&, ComponentRecord&)> read;
    std::function<void(const ComponentRecord&, Form&)> fill;
    // Puts the type's own controls into `body` (between head and branch).
    std::function<void(ComponentDialog&, QBoxLayout& body)> build;
    // Connects the type's click handlers, after filling.
    std::function<void(ComponentDialog&)> wire;
};

class ComponentDialog : public QDialog {
    Q_OBJECT
  public:
    ComponentDialog(QWidget* parent, ComponentRecord& editRecord, DialogDef def);

    WidgetForm& form() { return form_; }
    // The record the dialog works on: the edit record as it came in, changed
    // at once by handlers that store on click. The reader starts from it.
    ComponentRecord& record() { return record_; }
    // The code of the last OK (0 once accepted).
    int lastCode() const { return lastCode_; }
    std::uint16_t dialogId() const { return def_.dialogId; }

    // Runs the reader; on success copies the result to the edit record and
    // closes with OK.
    void accept() override;

  private:
    ComponentRecord& editRecord_;
    ComponentRecord record_;
    DialogDef def_;
    WidgetForm form_;
    int lastCode_ = 0;
};

// Building blocks of the layouts. Texts are the German built-in ones.
QLineEdit* NewEdit(std::uint32_t id);
QLabel* NewLabel(std::uint32_t id, const QString& text);
// Adds "label, field" as the next row of `grid`.
void AddRow(QGridLayout& grid, QWidget* label, QWidget* field);

}  // namespace quelvari::app
