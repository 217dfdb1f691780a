// What the dialogs do beyond storing: faults keep them open with the faulty
// control focused, the enabling and showing that follow clicks, the file
// choices and the code page of the fields.
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>

#include "app/components/component_dialogs.h"
#include "components/catalogue.h"
#include "components/layouts.h"
#include "dialog_driver.h"
#include "render/resources.h"

namespace quelvari::app::test {
namespace {

ComponentRecord Typed(char code) {
    ComponentRecord r;
    r.setTypeCode(static_cast<std::uint8_t>(code));
    return r;
}

QLineEdit* Edit(ComponentDialog& d, std::uint32_t id) {
    return qobject_cast<QLineEdit*>(d.form().widget(id));
}

class DialogBehaviour : public DialogTest {};

TEST_F(DialogBehaviour, FaultKeepsDialogOpenWithTheFaultyControlFocusedAndSelected) {
    ComponentRecord edit = Typed('D');
    edit.setText(layout::command::line(0), "SAVE -m1 -S1");
    const ComponentRecord before = edit;
    bool stayedOpen = false;
    WhenShown<ComponentDialog>([&](ComponentDialog& d) {
        // A branch condition without a target: error 3, field 5, on 1022.
        Type(d, ctl::kBranchCondition, "B3");
        Type(d, ctl::kTarget, "0");
        Click(d, ctl::kOk);
        stayedOpen = d.isVisible();
        EXPECT_EQ(d.lastCode(), 0x0305);
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_TRUE(messages[0].second.endsWith(QStringLiteral("\nFehlerhaftes Feld: 5")))
            << messages[0].second.toStdString();
        EXPECT_EQ(d.focusWidget(), d.form().widget(ctl::kTarget));
        EXPECT_EQ(Edit(d, ctl::kTarget)->selectedText(), QStringLiteral("0"));

        // A fault in the middle: the variable list, field 3.
        Type(d, ctl::kTarget, "");
        Type(d, ctl::kBranchCondition, "");
        Type(d, ctl::kEntryCondition, "X0");
        Click(d, ctl::kOk);
        EXPECT_EQ(d.lastCode() >> 8, 11);
        EXPECT_EQ(d.focusWidget(), d.form().widget(ctl::kEntryCondition));
        EXPECT_EQ(Edit(d, ctl::kEntryCondition)->selectedText(), QStringLiteral("X0"));
        // Cancel after faults leaves the record as it came.
        Click(d, ctl::kCancel);
    });
    EXPECT_EQ(OpenComponentEditor(nullptr, edit), 0);
    EXPECT_TRUE(stayedOpen);
    EXPECT_EQ(edit.bytes, before.bytes);
}

TEST_F(DialogBehaviour, PictureMediumAndFileChoice) {
    ComponentRecord edit = Typed('p');
    edit.setU8(layout::picture::kOutputMedium, layout::picture::kPrinter);
    edit.setU8(layout::picture::kUseLinePosition, 1);
    WhenShown<ComponentDialog>([&](ComponentDialog& d) {
        WidgetForm& f = d.form();
        EXPECT_TRUE(f.widget(1175)->isHidden());
        Click(d, 2180);  // line position off: Y comes back
        EXPECT_FALSE(f.widget(1175)->isHidden());
        Click(d, 1170);
        EXPECT_EQ(qobject_cast<QGroupBox*>(f.widget(2006))->title(),
                  QStringLiteral("Löschen Bildschirm?"));
        EXPECT_TRUE(f.widget(2163)->isHidden());

        // The file dialog gets the language's filter; an upper-case .BMP is
        // taken, another type empties the field with error 60, Cancel in the
        // file dialog changes nothing.
        nextFile = QStringLiteral("/daten/LOGO.BMP");
        Click(d, 1172);
        ASSERT_EQ(filters.size(), 1u);
        EXPECT_EQ(filters[0], QStringLiteral("Bitmap-Dateien (*.bmp);;"
                                             "JPEG File Interchange-Format (*.jpg)"));
        EXPECT_EQ(Edit(d, 1173)->text(), nextFile);
        EXPECT_TRUE(messages.empty());
        nextFile = QStringLiteral("/daten/logo.gif");
        Click(d, 1172);
        EXPECT_EQ(Edit(d, 1173)->text(), QString());
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_TRUE(messages[0].second.startsWith(QStringLiteral("FEHLER 60:")));
        nextFile = QStringLiteral("/daten/b.jpg");
        Click(d, 1172);
        nextFile.clear();
        Click(d, 1172);
        EXPECT_EQ(Edit(d, 1173)->text(), QStringLiteral("/daten/b.jpg"));
        Click(d, ctl::kHelp);
    });
    EXPECT_EQ(OpenComponentEditor(nullptr, edit), 0);
    EXPECT_EQ(helpContexts, std::vector<std::uint32_t>{render::kHelpPictureComponent});
}

TEST_F(DialogBehaviour, ModuleNameFromTheFileDialog) {
    ComponentRecord edit = Typed('U');
    WhenShown<ComponentDialog>([&](ComponentDialog& d) {
        nextFile = QStringLiteral("/pruef/module/PRUEF1.PAM");
        Click(d.findChild<QPushButton*>(QStringLiteral("chooseModule")));
        EXPECT_EQ(Edit(d, 1206)->text(), QStringLiteral("PRUEF1"));
        Click(d, ctl::kHelp);  // the type's topic, by its dialog's number
        Click(d, ctl::kOk);
    });
    EXPECT_EQ(OpenComponentEditor(nullptr, edit), 1);
    EXPECT_EQ(helpContexts, std::vector<std::uint32_t>{TypeOf(ComponentKind::Module).dialogId});
    EXPECT_EQ(edit.text(layout::module::kName, layout::module::kNameSize), "PRUEF1");
}

TEST_F(DialogBehaviour, FieldsRefuseCharactersOutsideTheCodePage) {
    ComponentRecord edit = Typed('D');
    WhenShown<ComponentDialog>([&](ComponentDialog& d) {
        Type(d, 1324, QString::fromUtf8("Grüße €"));
        EXPECT_EQ(Edit(d, 1324)->text(), QString::fromUtf8("Grüße €"));
        // A character the code page lacks is not taken.
        QTest::sendKeyEvent(QTest::Click, Edit(d, 1324), Qt::Key_unknown, QString::fromUtf8("ł"),
                            Qt::NoModifier);
        EXPECT_EQ(Edit(d, 1324)->text(), QString::fromUtf8("Grüße €"));
        Click(d, ctl::kOk);
    });
    EXPECT_EQ(OpenComponentEditor(nullptr, edit), 1);
    EXPECT_EQ(edit.text(layout::command::line(0), 56),
              "Gr\xFC\xDF"
              "e \x80");
}

}  // namespace
}  // namespace quelvari::app::test
