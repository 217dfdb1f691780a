#include "app/components/selection_dialog.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QPushButton>
#include <QRadioButton>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/components/component_dialog.h"
#include "app/components/desktop_hooks.h"
#include "app/components/dialog_defs.h"
#include "app/qt_text.h"
#include "components/catalogue.h"
#include "components/layouts.h"
#include "render/resources.h"
#include "texts/dialog_labels.h"
#include "texts/texts.h"

namespace quelvari::app {

namespace {

constexpr int kPictureSize = 48;

}  // namespace

QIcon ComponentPicture(std::uint16_t pictureId) {
    render::InitResources();
    const QString path = render::PicturePath(pictureId);
    return QFile::exists(path) ? QIcon(path) : QIcon();
}

SelectionDialog::SelectionDialog(QWidget* parent, ComponentRecord& editRecord)
    : QDialog(parent), editRecord_(editRecord), form_(this) {
    setWindowTitle(QStringLiteral("Auswahl Baustein"));
    auto* top = new QGridLayout(this);
    // Groups in two columns: presentation and measure/control on the left,
    // the four smaller groups on the right.
    int index = 0;
    for (const SelectionGroup& g : SelectionGroups()) {
        auto* box = WithId(new QGroupBox(ToQt(LangText(g.id, kGerman))), g.id);
        auto* grid = new QGridLayout(box);
        for (std::size_t row = 0; row < g.rows.size(); ++row)
            for (std::size_t col = 0; col < g.rows[row].size(); ++col) {
                const std::uint16_t id = g.rows[row][col];
                const ComponentType* type = FindTypeByDescription(id);
                auto* b = WithId(new QToolButton, id);
                b->setAutoRaise(true);
                b->setIconSize(QSize(kPictureSize, kPictureSize));
                b->setMinimumSize(kPictureSize + 8, kPictureSize + 8);
                const QIcon icon = type ? ComponentPicture(type->pictureId) : QIcon();
                if (icon.isNull()) {
                    // No picture installed: the type's name stands in for it.
                    ComponentRecord probe;
                    probe.setTypeCode(static_cast<std::uint8_t>(type ? type->code : 0));
                    if (type && type->kind == ComponentKind::GraphicPrint)
                        probe.setU8(rec::kPayload, kGraphicPrintMark);
                    b->setText(ToQt(TypeName(probe)));
                    b->setToolButtonStyle(Qt::ToolButtonTextOnly);
                } else {
                    b->setIcon(icon);
                }
                connect(b, &QToolButton::clicked, this, [this, id] { pick(id); });
                grid->addWidget(b, static_cast<int>(row), static_cast<int>(col));
            }
        const bool left = index < 2;
        top->addWidget(box, left ? index : index - 2, left ? 0 : 1);
        ++index;
    }

    auto* buttons = new QDialogButtonBox;
    QPushButton* help =
        WithId(buttons->addButton(QStringLiteral("Hilfe"), QDialogButtonBox::HelpRole), ctl::kHelp);
    WithId(buttons->addButton(QStringLiteral("Abbrechen"), QDialogButtonBox::RejectRole),
           ctl::kCancel);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(help, &QPushButton::clicked, this, [this] { ShowHelp(this, kSelectionHelpContext); });
    top->addWidget(buttons, 4, 0, 1, 2);

    MakeOkTheDefault(this, nullptr);
    form_.rescan();
    LocaliseDialog(form_, kSelectionDialogId, DialogLabelIds(kSelectionDialogId));
    // Every child but OK and Help shows the text of its own id: a picture
    // its type's description, a group box its title.
    for (QWidget* w : findChildren<QWidget*>()) {
        const std::uint32_t id = ControlIdOf(w);
        if (id != 0 && id != ctl::kOk && id != ctl::kHelp)
            w->setToolTip(ToQt(LangText(id)));
    }
}

void SelectionDialog::pick(std::uint16_t descriptionId) {
    const ComponentType* type = FindTypeByDescription(descriptionId);
    if (!type)
        return;
    editRecord_.clear();
    PresetNewRecord(editRecord_, *type);
    const int result = type->kind == ComponentKind::Interbus
                           ? RunInterbusSelection(this, editRecord_)
                           : RunEditorOf(this, editRecord_, *type, type->dialogId);
    done(result == 1 ? QDialog::Accepted : QDialog::Rejected);
}

int RunInterbusSelection(QWidget* parent, ComponentRecord& editRecord) {
    using namespace layout::interbus;
    QDialog dlg(parent);
    dlg.setWindowTitle(GermanCaption(kInterbusSelectDialog));
    auto* top = new QVBoxLayout(&dlg);
    struct Function {
        std::uint16_t dialogId;
        std::uint8_t code;
        const char* german;
    };
    static constexpr Function functions[3] = {
        {kInterbusCycleDialog, kCycle, "Zyklus"},
        {kInterbusInitialiseDialog, kInitialise, "Initialisieren"},
        {kInterbusResetDialog, kReset, "Zurücksetzen"}};
    QRadioButton* buttons[3];
    for (int i = 0; i < 3; ++i) {
        buttons[i] =
            WithId(new QRadioButton(QString::fromUtf8(functions[i].german)), functions[i].dialogId);
        buttons[i]->setChecked(editRecord.u8(kFunction) == functions[i].code ||
                               (i == 0 && editRecord.u8(kFunction) == 0));
        top->addWidget(buttons[i]);
    }
    auto* box = new QDialogButtonBox;
    QPushButton* ok =
        WithId(box->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole), ctl::kOk);
    WithId(box->addButton(QStringLiteral("Abbrechen"), QDialogButtonBox::RejectRole), ctl::kCancel);
    QPushButton* help =
        WithId(box->addButton(QStringLiteral("Hilfe"), QDialogButtonBox::HelpRole), ctl::kHelp);
    QObject::connect(box, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    QObject::connect(box, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    QObject::connect(help, &QPushButton::clicked, &dlg,
                     [&dlg] { ShowHelp(&dlg, kInterbusSelectDialog); });
    top->addWidget(box);
    MakeOkTheDefault(&dlg, ok);
    WidgetForm form(&dlg);
    form.rescan();
    LocaliseDialog(form, kInterbusSelectDialog, DialogLabelIds(kInterbusSelectDialog));
    if (dlg.exec() != QDialog::Accepted)
        return 0;
    for (int i = 0; i < 3; ++i)
        if (buttons[i]->isChecked()) {
            editRecord.setU8(kFunction, functions[i].code);
            return RunEditorOf(parent, editRecord, TypeOf(ComponentKind::Interbus),
                               functions[i].dialogId);
        }
    return 0;
}

}  // namespace quelvari::app
