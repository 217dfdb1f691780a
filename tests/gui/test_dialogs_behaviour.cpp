// What the component dialogs do beyond storing: faults keep them open with the
// faulty control focused, the enabling and showing that follow clicks, the
// file choices and the code page of the fields; and the component selection:
// its groups, the presets of a picked type, the Interbus-S function selection,
// and records no editor takes.
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QToolButton>

#include "app/components/component_dialogs.h"
#include "app/components/selection_dialog.h"
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

class Selection : public DialogTest {
  protected:
    // Picks `descriptionId` in the selection and hands the component dialog
    // to `act`; returns what the selection returned.
    bool PickAndRun(std::uint16_t descriptionId, ComponentRecord& edit,
                    std::function<void(ComponentDialog&)> act) {
        WhenShown<SelectionDialog>([&](SelectionDialog& s) {
            WhenShown<ComponentDialog>(act);
            Click(s.form().widget(descriptionId));
        });
        return RunComponentSelection(nullptr, edit);
    }
};

TEST_F(Selection, GroupsPicturesAndToolTipsFollowTheCatalogue) {
    ComponentRecord edit;
    WhenShown<SelectionDialog>([&](SelectionDialog& s) {
        std::size_t pictures = 0;
        for (const SelectionGroup& g : SelectionGroups()) {
            auto* box = qobject_cast<QGroupBox*>(s.form().widget(g.id));
            ASSERT_NE(box, nullptr) << g.id;
            EXPECT_EQ(box->toolTip(), box->title());
            for (std::size_t row = 0; row < g.rows.size(); ++row) {
                const QWidget* first = s.form().widget(g.rows[row].front());
                for (std::uint16_t id : g.rows[row]) {
                    auto* b = qobject_cast<QToolButton*>(s.form().widget(id));
                    ASSERT_NE(b, nullptr) << id;
                    ++pictures;
                    EXPECT_EQ(b->parentWidget(), box);
                    // Members of one row sit on one line, left to right.
                    EXPECT_EQ(b->y(), first->y()) << id;
                    EXPECT_EQ(b->toolTip(), ToQt(LangText(id))) << id;
                    EXPECT_FALSE(b->icon().isNull() && b->text().isEmpty()) << id;
                }
            }
        }
        EXPECT_EQ(pictures, kComponentTypeCount);
        // No OK: Return on Help opens no help, a click does.
        QWidget* help = s.form().widget(ctl::kHelp);
        EXPECT_TRUE(help->toolTip().isEmpty());
        EXPECT_EQ(s.form().widget(ctl::kOk), nullptr);
        help->setFocus();
        QTest::keyClick(help, Qt::Key_Return);
        EXPECT_TRUE(helpContexts.empty());
        Click(help);
        Click(s.form().widget(ctl::kCancel));
    });
    EXPECT_FALSE(RunComponentSelection(nullptr, edit));
    EXPECT_EQ(helpContexts, std::vector<std::uint32_t>{200});
}

TEST_F(Selection, PickingPresetsTheRecordAndEndsAsItsDialogEnds) {
    // Picture: byte 88 = 1 and byte 90 = 'D' arrive in the dialog, which
    // therefore opens on the screen medium. Cancelling it cancels the
    // selection.
    ComponentRecord edit;
    edit.setTypeCode('M');
    const ComponentRecord before = edit;
    EXPECT_FALSE(PickAndRun(1143, edit, [](ComponentDialog& d) {
        EXPECT_EQ(d.dialogId(), 169);
        EXPECT_EQ(d.record().u8(layout::kPresetFlag), 1);
        EXPECT_EQ(d.record().u8(layout::picture::kOutputMedium), 'D');
        EXPECT_TRUE(d.form().checked(1170));
        Click(d, ctl::kCancel);
    }));

    // Read database: byte 217 = 1 is kept by its dialog and stored.
    EXPECT_TRUE(PickAndRun(1147, edit, [](ComponentDialog& d) {
        EXPECT_EQ(d.windowTitle(), QStringLiteral("Datenbank- Lesebaustein"));
        EXPECT_EQ(d.record().u8(layout::kReadDatabasePreset), 1);
        Type(d, ctl::kDescription, "Sollwerte");
        Click(d, ctl::kOk);
    }));
    EXPECT_EQ(edit.typeCode(), 'R');
    EXPECT_EQ(edit.u8(layout::kReadDatabasePreset), 1);
    EXPECT_EQ(edit.comment(), "Sollwerte");
    EXPECT_NE(edit.bytes, before.bytes);

    // Bargraph gets byte 88 = 1; graphic print
    // is marked 'G' by its reader.
    EXPECT_TRUE(PickAndRun(1142, edit, [](ComponentDialog& d) { Click(d, ctl::kOk); }));
    EXPECT_EQ(edit.typeCode(), 'b');
    EXPECT_EQ(edit.u8(layout::kPresetFlag), 1);
    EXPECT_TRUE(PickAndRun(1363, edit, [](ComponentDialog& d) {
        EXPECT_EQ(d.dialogId(), 178);
        Click(d, ctl::kOk);
    }));
    EXPECT_EQ(edit.typeCode(), 'P');
    EXPECT_EQ(edit.u8(rec::kPayload), 'G');
}

TEST_F(Selection, InterbusRunsTheFunctionSelectionThenTheFunctionsDialog) {
    ComponentRecord edit;
    WhenShown<SelectionDialog>([&](SelectionDialog& s) {
        WhenShown<QDialog>([&](QDialog& functions) {
            EXPECT_EQ(functions.windowTitle(), QStringLiteral("Interbus-S Funktion"));
            WhenShown<ComponentDialog>([](ComponentDialog& d) {
                EXPECT_EQ(d.dialogId(), 191);
                EXPECT_EQ(d.record().u8(layout::interbus::kFunction), 'R');
                Click(d, ctl::kOk);
            });
            auto* reset = functions.findChildren<QRadioButton*>().at(2);
            Click(reset);
            functions.accept();
        });
        Click(s.form().widget(1148));
    });
    EXPECT_TRUE(RunComponentSelection(nullptr, edit));
    EXPECT_EQ(edit.typeCode(), 'i');
    EXPECT_EQ(edit.u8(layout::interbus::kFunction), 'R');

    // Cancel in the function selection ends the selection with Cancel.
    ComponentRecord other;
    WhenShown<SelectionDialog>([&](SelectionDialog& s) {
        WhenShown<QDialog>([](QDialog& functions) { functions.reject(); });
        Click(s.form().widget(1148));
    });
    EXPECT_FALSE(RunComponentSelection(nullptr, other));

    // A record of no known function and an unknown letter open no editor:
    // no dialog may appear.
    other.setTypeCode('i');
    other.setU8(layout::interbus::kFunction, 'Q');
    EXPECT_EQ(OpenComponentEditor(nullptr, other), 0);
    other.setTypeCode('X');
    EXPECT_EQ(OpenComponentEditor(nullptr, other), 'X');
}

}  // namespace
}  // namespace quelvari::app::test
