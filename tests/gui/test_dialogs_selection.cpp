// The component selection: its groups, the presets of a picked type, the
// Interbus-S function selection, and records no editor takes.
#include <QGroupBox>
#include <QRadioButton>
#include <QToolButton>

#include "app/components/component_dialogs.h"
#include "app/components/selection_dialog.h"
#include "components/catalogue.h"
#include "components/layouts.h"
#include "dialog_driver.h"

namespace quelvari::app::test {
namespace {

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
        EXPECT_EQ(s.windowTitle(), QStringLiteral("Auswahl Baustein"));
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
        EXPECT_TRUE(s.form().widget(ctl::kHelp)->toolTip().isEmpty());
        EXPECT_EQ(s.form().widget(ctl::kOk), nullptr);
        Click(s.form().widget(ctl::kHelp));
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
