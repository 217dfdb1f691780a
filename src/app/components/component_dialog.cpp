#include "app/components/component_dialog.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/components/accessible_names.h"
#include "app/components/cp1252_validator.h"
#include "app/components/desktop_hooks.h"
#include "app/qt_text.h"
#include "texts/errors.h"

namespace quelvari::app {
namespace {

// The message box of a faulty field, owned by the dialog.
class DialogMessages : public MessageSink {
  public:
    explicit DialogMessages(QWidget* owner) : owner_(owner) {}
    void showMessage(const std::string& caption, const std::string& text) override {
        ShowMessage(owner_, ToQt(caption), ToQt(text));
    }

  private:
    QWidget* owner_;
};

QGridLayout* headGrid() {
    auto* grid = new QGridLayout;
    AddRow(*grid, NewLabel(2000, QStringLiteral("Eingangsbedingung:")),
           NewEdit(ctl::kEntryCondition));
    AddRow(*grid, NewLabel(2001, QStringLiteral("Beschreibung:")), NewEdit(ctl::kDescription));
    return grid;
}

QGridLayout* branchGrid() {
    auto* grid = new QGridLayout;
    AddRow(*grid, NewLabel(2004, QStringLiteral("Abzweigbedingung:")),
           NewEdit(ctl::kBranchCondition));
    AddRow(*grid, NewLabel(2005, QStringLiteral("Ziel:")), NewEdit(ctl::kTarget));
    return grid;
}

}  // namespace

QLineEdit* NewEdit(std::uint32_t id) {
    auto* e = WithId(new QLineEdit, id);
    e->setValidator(new Cp1252Validator(e));
    return e;
}

QLabel* NewLabel(std::uint32_t id, const QString& text) {
    auto* l = new QLabel(text);
    return id ? WithId(l, id) : l;
}

void AddRow(QGridLayout& grid, QWidget* label, QWidget* field) {
    const int row = grid.rowCount();
    grid.addWidget(label, row, 0);
    grid.addWidget(field, row, 1);
}

ComponentDialog::ComponentDialog(QWidget* parent, ComponentRecord& editRecord, DialogDef def)
    : QDialog(parent),
      editRecord_(editRecord),
      record_(editRecord),
      def_(std::move(def)),
      form_(this) {
    setWindowTitle(def_.germanTitle);
    setMinimumWidth(420);
    auto* top = new QVBoxLayout(this);
    top->addLayout(headGrid());
    auto* body = new QVBoxLayout;
    if (def_.build)
        def_.build(*this, *body);
    top->addLayout(body);
    top->addLayout(branchGrid());

    auto* buttons = new QDialogButtonBox;
    QPushButton* ok =
        WithId(buttons->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole), ctl::kOk);
    WithId(buttons->addButton(QStringLiteral("Abbrechen"), QDialogButtonBox::RejectRole),
           ctl::kCancel);
    QPushButton* help =
        WithId(buttons->addButton(QStringLiteral("Hilfe"), QDialogButtonBox::HelpRole), ctl::kHelp);
    connect(buttons, &QDialogButtonBox::accepted, this, &ComponentDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ComponentDialog::reject);
    const std::uint32_t context = def_.helpContext;
    connect(help, &QPushButton::clicked, this, [this, context] { ShowHelp(this, context); });
    top->addWidget(buttons);

    form_.rescan();
    LocaliseDialog(form_, def_.dialogId, def_.labelIds);
    if (def_.fill)
        def_.fill(record_, form_);
    if (def_.wire)
        def_.wire(*this);
    MakeOkTheDefault(this, ok);
    NameControls(this);
    if (QWidget* first = form_.widget(ctl::kEntryCondition))
        first->setFocus(Qt::OtherFocusReason);
}

void ComponentDialog::accept() {
    ComponentRecord result = record_;
    lastCode_ = def_.read(form_, result);
    if (lastCode_ == 0) {
        editRecord_ = result;
        QDialog::accept();
        return;
    }
    DialogMessages messages(this);
    ShowErrorMessage(messages, lastCode_);
    if (form_.errorFieldControl != 0)
        form_.focusAndSelect(form_.errorFieldControl);
}

}  // namespace quelvari::app
