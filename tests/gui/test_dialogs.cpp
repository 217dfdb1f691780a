// The dialogs. First the component dialogs. Each editor dialog, driven
// through its widgets, stores exactly what the core's reader makes of the
// same inputs, and opens showing what the core's filler shows. Beyond
// storing: faults keep them open with the faulty control focused, the
// enabling and showing that follow clicks, the file choices and the code page
// of the fields; and the component selection: its groups, the presets of a
// picked type, the Interbus-S function selection, and records no editor
// takes. And every dialog from the keyboard and for assistive tools: each
// control is named by its label in the dialog's language, Tab walks the
// controls in the order shown, Return presses OK, and the help opened from a
// modal dialog is usable beside it.
//
// Then the syntax-test dialog, the pre-check, printing and the description
// dialog on the offscreen platform; and the printed pages as pictures: PDFs
// from the print-out painters, turned into images with pdftoppm, then
// searched for ink where none belongs. The transfer dialog against the
// in-process simulated instrument on the wall clock: opening connects and
// shows the memory, Start transfers on the worker thread while the window
// keeps handling events, Cancel stops and releases. The link settings
// dialog, which reads and writes the link's own settings file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QAbstractSpinBox>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPdfWriter>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>
#include <QToolButton>
#include <QWindow>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "app/check/syntax_test_dialog.h"
#include "app/components/accessible_names.h"
#include "app/components/component_dialogs.h"
#include "app/components/selection_dialog.h"
#include "app/describe/description_dialog.h"
#include "app/dialogs.h"
#include "app/link/link_settings_dialog.h"
#include "app/print/printing.h"
#include "app/transfer/transfer_dialog.h"
#include "check/print_layout.h"
#include "check/syntax_test.h"
#include "components/catalogue.h"
#include "components/editors.h"
#include "components/layouts.h"
#include "dialog_driver.h"
#include "link/instrument.h"
#include "link/simulator.h"
#include "link/transfer_job.h"
#include "model/encoding.h"
#include "model/procedure_file.h"
#include "model/record.h"
#include "render/print_render.h"
#include "render/resources.h"
#include "texts/texts.h"

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

const EditorControl* ControlOf(const Editor& e, std::uint32_t id) {
    for (const EditorControl& s : e.controls)
        if (s.id == id)
            return &s;
    return nullptr;
}

using FieldText = std::pair<std::uint32_t, std::string>;
FieldText Text(std::uint32_t id, const std::string& text) {
    return {id, text};
}

// A record as the core reader stores it from these texts, checked buttons
// and combo selections.
ComponentRecord Stored(ComponentKind kind, std::vector<FieldText> texts,
                       std::vector<std::uint32_t> checked,
                       std::vector<std::pair<std::uint32_t, int>> combos = {}) {
    MapForm f;
    for (const auto& [id, text] : texts)
        f.setText(id, text);
    for (std::uint32_t id : checked)
        f.setChecked(id, true);
    for (const auto& [id, index] : combos)
        f.setCurrentIndex(id, index);
    ComponentRecord r;
    EXPECT_EQ(EditorOf(TypeOf(kind)).read(f, r), 0);
    return r;
}

class EditorDialogs : public DialogTest {
  protected:
    // Does `s` on the dialog's widgets and, as the reader is to see it, on `f`.
    void Apply(const Step& s, ComponentDialog& d, MapForm& f, const Editor& e) {
        switch (s.kind) {
            case Step::TypeText:
                Type(d, s.id, s.text);
                f.setText(s.id, FromQt(s.text).value());
                break;
            case Step::ChooseItem: {
                auto* c = qobject_cast<QComboBox*>(Control(d, s.id));
                ASSERT_NE(c, nullptr) << s.id;
                c->setCurrentIndex(s.index);
                emit c->activated(s.index);
                f.setCurrentIndex(s.id, s.index);
                break;
            }
            case Step::PickFile:
                nextFile = s.text;
                Click(d, 1172);
                ChoosePictureFile(f, FromQt(s.text).value());
                break;
            case Step::ClickButton: {
                Click(d, s.id);
                const EditorControl* control = ControlOf(e, s.id);
                ASSERT_NE(control, nullptr) << s.id;
                if (control->kind == ControlKind::Check) {
                    f.setChecked(s.id, !f.checked(s.id));
                    break;
                }
                for (const EditorControl& other : e.controls)
                    if (other.kind == ControlKind::Radio && other.group == control->group)
                        f.setChecked(other.id, other.id == s.id);
                break;
            }
        }
    }

    // The dialog shows what the filler shows: texts, checks, selections,
    // enabling and visibility of every control the reader reads.
    static void ExpectShows(ComponentDialog& d, const Editor& e, const MapForm& shown) {
        for (const EditorControl& s : e.controls) {
            SCOPED_TRACE(s.name);
            QWidget* w = d.form().widget(s.id);
            ASSERT_NE(w, nullptr);
            if (s.kind == ControlKind::Text) {
                EXPECT_EQ(d.form().text(s.id, 1000), shown.text(s.id, 1000));
            }
            EXPECT_EQ(d.form().checked(s.id), shown.checked(s.id));
            if (s.kind == ControlKind::Combo) {
                EXPECT_EQ(d.form().currentIndex(s.id), shown.currentIndex(s.id));
                EXPECT_EQ(static_cast<QComboBox*>(w)->count(),
                          static_cast<int>(shown.items(s.id).size()));
            }
            EXPECT_EQ(w->isEnabled(), shown.enabled(s.id));
            EXPECT_EQ(!w->isHidden(), shown.visible(s.id));
        }
    }

    void ExpectSameAsReader(const ComponentRecord& start, const std::vector<Step>& steps) {
        const ComponentType* type = FindType(start);
        ASSERT_NE(type, nullptr);
        const Editor& ed = EditorOf(*type);
        MapForm shown;
        ed.fill(start, shown);
        MapForm typed = shown;
        ComponentRecord edit = start;
        WhenShown<ComponentDialog>([&](ComponentDialog& d) {
            ExpectShows(d, ed, shown);
            for (const Step& s : steps)
                Apply(s, d, typed, ed);
            Click(d, ctl::kOk);
        });
        EXPECT_EQ(OpenComponentEditor(nullptr, edit), 1);
        ComponentRecord expected = start;
        ASSERT_EQ(ed.read(typed, expected), 0) << "the inputs of a case must be valid";
        const auto [dialog, reader] =
            std::mismatch(edit.bytes.begin(), edit.bytes.end(), expected.bytes.begin());
        EXPECT_TRUE(dialog == edit.bytes.end())
            << "byte " << dialog - edit.bytes.begin() << ": dialog " << int(*dialog) << ", reader "
            << int(*reader);
        EXPECT_EQ(edit.typeCode(), static_cast<std::uint8_t>(type->code));
        for (const auto& m : messages)
            ADD_FAILURE() << "unexpected message: " << m.second.toStdString();
    }
};

TEST_F(EditorDialogs, EveryEditorStoresWhatTheReaderMakesOfTheInputs) {
    // Measuring, stored in mode S with a linked second trigger, is changed to
    // mode M, and changed in its selections.
    const ComponentRecord measuring = Stored(
        ComponentKind::Measuring,
        {Text(ctl::kEntryCondition, "B1"), Text(1013, "P1P2"), Text(1016, "0.5"), Text(1017, "100"),
         Text(1018, "P1"), Text(1019, ">"), Text(1020, "2.5"), Text(1023, "P2"), Text(1024, "\xAB"),
         Text(1025, "1"), Text(ctl::kBranchCondition, "B2"), Text(ctl::kTarget, "5")},
        {1005}, {{2177, 1}, {2179, 3}});
    const std::vector<std::pair<ComponentRecord, std::vector<Step>>> cases = {
        {measuring,
         {Step::type(ctl::kEntryCondition, "E3"), Step::click(1004), Step::type(1013, "SA3T1"),
          Step::click(1451), Step::type(1019, "="), Step::type(1020, "12.5"),
          Step::type(ctl::kBranchCondition, ""), Step::type(ctl::kTarget, "")}},
        {measuring,
         {Step::type(1013, "P1, T2"), Step::choose(2179, 5), Step::choose(2177, 2),
          Step::type(1024, QString::fromUtf8("\u00bb"))}},
        {Stored(ComponentKind::Time, {{ctl::kDescription, "Warten"}}, {1161}),
         {Step::click(1160), Step::type(1162, "0000100")}},
        {Stored(ComponentKind::Interrupt, {{1198, "100"}}, {1178, 1182, 1190}, {{1202, 0}}),
         {Step::click(1179), Step::click(1185), Step::click(1193), Step::click(1180),
          Step::type(1200, "30"), Step::choose(1204, 1), Step::type(1198, "250")}},
        {Stored(ComponentKind::Break, {{1322, "Z1"}, {1323, "B2"}}, {}),
         {Step::type(1322, "S12"), Step::type(1323, "B7")}},
        {Stored(ComponentKind::Section, {{1322, "Z5"}, {2278, "Teil A"}, {1323, "B3"}}, {2280}),
         {Step::click(2281), Step::type(2278, QString::fromUtf8("Prüfung ÄÖÜ")),
          Step::type(1323, "B9")}},
        {Stored(ComponentKind::Module, {{1206, "MODA"}}, {}), {Step::type(1206, "MODB")}},
        {Stored(ComponentKind::Command, {{1324, "SAVE -m1 -S1"}, {1326, "SAVE -irx2 -S2"}}, {1057}),
         {Step::click(1056), Step::type(1325, "SAVE -m123 -Sxx"), Step::type(1324, "")}},
        {Stored(
             ComponentKind::Picture,
             {{1173, "/bilder/logo.bmp"}, {1174, "10"}, {1175, "10"}, {1176, "50"}, {1177, "50"}},
             {1170, 1057}),
         {Step::click(1171), Step::click(2180), Step::click(2163), Step::type(1174, "12abc"),
          Step::type(1176, "90"), Step::pickFile("/bilder/LOGO.BMP")}}};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        ExpectSameAsReader(cases[i].first, cases[i].second);
    }
}

TEST_F(EditorDialogs, GenericDialogEditsTheHeadAndKeepsEveryPayloadByte) {
    ComponentRecord logic = Typed('B');
    for (std::size_t i = rec::kPayload; i < rec::kRecordSize; i += 7)
        logic.setU8(i, static_cast<std::uint8_t>(i & 0xFF));
    ExpectSameAsReader(
        logic, {Step::type(ctl::kEntryCondition, "B1"), Step::type(ctl::kBranchCondition, "B2"),
                Step::type(ctl::kTarget, "3")});

    // The payload is shown read-only at record offsets, sixteen bytes a line.
    ComponentRecord edit = logic;
    edit.setU8(rec::kPayload, 0xA5);
    WhenShown<ComponentDialog>([](ComponentDialog& d) {
        auto* dump = d.findChild<QPlainTextEdit*>(QStringLiteral("payload"));
        ASSERT_NE(dump, nullptr);
        EXPECT_TRUE(dump->isReadOnly());
        const QStringList lines = dump->toPlainText().split(QLatin1Char('\n'));
        EXPECT_EQ(lines.size(), 45);
        EXPECT_TRUE(lines.first().startsWith(QStringLiteral("088  a5 00 00 00 00 00 00 5f 00")));
        EXPECT_TRUE(lines.last().startsWith(QStringLiteral("792 ")));
    });
    OpenComponentEditor(nullptr, edit);
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

// The dialog's own controls that take Tab (not the inner parts of fields).
std::vector<QWidget*> TabControls(QWidget* dialog) {
    std::vector<QWidget*> out;
    for (QWidget* w : dialog->findChildren<QWidget*>()) {
        if (!(w->focusPolicy() & Qt::TabFocus) || w->isHidden())
            continue;
        bool inner = false;
        for (QWidget* p = w->parentWidget(); p && p != dialog; p = p->parentWidget())
            inner = inner || qobject_cast<QComboBox*>(p) || qobject_cast<QAbstractSpinBox*>(p);
        if (!inner)
            out.push_back(w);
    }
    return out;
}

// Where each control comes when Tab is pressed from the first one on.
std::vector<QWidget*> TabChain(QWidget* first, std::size_t length) {
    std::vector<QWidget*> chain;
    QWidget* w = first;
    for (std::size_t guard = 0; w && guard < 1000 && chain.size() < length; ++guard) {
        if ((w->focusPolicy() & Qt::TabFocus) && !w->isHidden())
            chain.push_back(w);
        w = w->nextInFocusChain();
        if (w == first)
            break;
    }
    return chain;
}

// Names and tab order: every control named (without its mnemonic mark), the
// first field by its label in the dialog's language, and Tab reaching every
// control once with the fixed parts in the order shown: head fields, the
// type's own controls, branch, target, then the buttons.
void ExpectNamedInTabOrder(ComponentDialog& d, bool german) {
    const std::vector<QWidget*> controls = TabControls(&d);
    for (QWidget* w : controls) {
        if (qobject_cast<QPlainTextEdit*>(w)) {  // the payload of a plain type
            EXPECT_EQ(w->accessibleName(), d.windowTitle());
        }
        EXPECT_FALSE(w->accessibleName().isEmpty())
            << w->metaObject()->className() << " " << ControlIdOf(w);
        EXPECT_FALSE(w->accessibleName().contains(QLatin1Char('&')));
    }
    QWidget* entry = d.form().widget(ctl::kEntryCondition);
    ASSERT_NE(entry, nullptr);
    auto* label = qobject_cast<QLabel*>(d.form().widget(2000));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(entry->accessibleName(), label->text().remove(QLatin1Char('&')));
    EXPECT_EQ(entry->accessibleName().startsWith(QStringLiteral("Eingangsbed")), german);

    const std::vector<QWidget*> chain = TabChain(entry, controls.size());
    EXPECT_EQ(chain.size(), controls.size());
    for (QWidget* w : chain)
        EXPECT_NE(std::find(controls.begin(), controls.end(), w), controls.end())
            << w->metaObject()->className() << " " << w->objectName().toStdString();
    const auto at = [&chain](QWidget* w) {
        return std::find(chain.begin(), chain.end(), w) - chain.begin();
    };
    std::vector<std::ptrdiff_t> fixed;
    for (std::uint32_t id :
         {ctl::kEntryCondition, ctl::kDescription, ctl::kBranchCondition, ctl::kTarget, ctl::kOk})
        fixed.push_back(at(d.form().widget(id)));
    EXPECT_TRUE(std::is_sorted(fixed.begin(), fixed.end()));
    EXPECT_LT(fixed.back(), static_cast<std::ptrdiff_t>(chain.size()));
    for (QWidget* w : controls) {
        const std::uint32_t id = ControlIdOf(w);
        if (qobject_cast<QLineEdit*>(w) && id != ctl::kEntryCondition && id != ctl::kDescription &&
            id != ctl::kBranchCondition && id != ctl::kTarget) {
            EXPECT_GT(at(w), fixed[1]) << id;
            EXPECT_LT(at(w), fixed[2]) << id;
        }
    }
}

// The caption, then the texts of a label, a radio button, a group and a push
// button.
QString Captions(ComponentDialog& d) {
    QString out = d.windowTitle();
    for (std::uint32_t id : {2000u, 1004u, 2025u, 2u}) {
        QWidget* w = d.form().widget(id);
        if (auto* l = qobject_cast<QLabel*>(w))
            out += "|" + l->text();
        else if (auto* b = qobject_cast<QAbstractButton*>(w))
            out += "|" + b->text();
        else if (auto* g = qobject_cast<QGroupBox*>(w))
            out += "|" + g->title();
    }
    return out;
}

// OK, the button box's accepting button where there is one, is the
// dialog's default; no push button but Cancel takes Return when it has the
// focus. Returns OK.
QPushButton* ExpectOkIsTheDefault(QDialog& d) {
    SCOPED_TRACE(d.windowTitle().toStdString());
    QPushButton* ok = nullptr;
    for (QDialogButtonBox* box : d.findChildren<QDialogButtonBox*>())
        for (QAbstractButton* b : box->buttons())
            if (box->buttonRole(b) == QDialogButtonBox::AcceptRole)
                ok = qobject_cast<QPushButton*>(b);
    if (ok) {
        EXPECT_TRUE(ok->isDefault());
    }
    for (QPushButton* b : d.findChildren<QPushButton*>()) {
        auto* box = qobject_cast<QDialogButtonBox*>(b->parentWidget());
        const bool cancel = box && box->buttonRole(b) == QDialogButtonBox::RejectRole;
        if (b != ok && !cancel) {
            EXPECT_FALSE(b->autoDefault() || b->isDefault()) << b->text().toStdString();
        }
    }
    return ok;
}

class DialogKeys : public DialogTest {};

TEST_F(DialogKeys, EveryComponentDialogIsNamedTabsInOrderAndTakesReturnForOk) {
    // Every editor dialog, the three Interbus-S functions included, new as
    // the selection presets them, each opened as its type letter and byte 88
    // say. With the focus on each other button in turn (a file chooser,
    // Help), Return presses OK: the new record is refused with a message, so
    // the dialog stays open for the next button.
    std::vector<ComponentRecord> records;
    for (const ComponentType& type : kCatalogue) {
        ComponentRecord r;
        PresetNewRecord(r, type);
        r.setTypeCode(static_cast<std::uint8_t>(type.code));
        if (type.kind == ComponentKind::GraphicPrint)
            r.setU8(rec::kPayload, kGraphicPrintMark);
        if (type.kind == ComponentKind::Interbus) {
            for (std::uint8_t f : {'Z', 'I', 'R'}) {
                r.setU8(rec::kPayload, f);
                records.push_back(r);
            }
        } else {
            records.push_back(r);
        }
    }
    for (std::uint32_t language : {kGerman, kEnglish}) {
        setLanguage(language);
        std::map<char, QString> captions;
        int dialogs = 0, presses = 0;
        for (const ComponentRecord& start : records) {
            ComponentRecord r = start;
            WhenShown<ComponentDialog>([&](ComponentDialog& d) {
                SCOPED_TRACE(d.windowTitle().toStdString());
                ++dialogs;
                EXPECT_EQ(d.dialogId(), EditorDialogId(r));
                ExpectNamedInTabOrder(d, language == kGerman);
                captions[static_cast<char>(r.typeCode())] = Captions(d);
                QPushButton* ok = ExpectOkIsTheDefault(d);
                ASSERT_TRUE(ok && ok == d.form().widget(ctl::kOk));
                int okClicks = 0, pressed = 0;
                QObject::connect(ok, &QPushButton::clicked, [&okClicks] { ++okClicks; });
                for (QPushButton* b : d.findChildren<QPushButton*>()) {
                    if (b == ok || b == d.form().widget(ctl::kCancel) || !d.isVisible())
                        continue;
                    b->setFocus();
                    QTest::keyClick(b, Qt::Key_Return);
                    ++pressed;
                }
                EXPECT_EQ(okClicks, pressed);
                presses += pressed;
            });
            OpenComponentEditor(nullptr, r);
        }
        EXPECT_EQ(dialogs, static_cast<int>(records.size()));
        EXPECT_GE(presses, dialogs);  // at least Help in each
        // German captions are built in, others come from the tables; the
        // section caption has no English text and shows its id.
        if (language == kGerman) {
            EXPECT_EQ(captions['M'], QString::fromUtf8("Messbaustein|Eingangsbedingung:|Messen und "
                                                       "Warten auf Übertragung|Speichern in "
                                                       "Datei?|Abbrechen"));
            EXPECT_EQ(captions['u'].section('|', 0, 0), QStringLiteral("Unterbrechungsbaustein"));
        } else {
            EXPECT_EQ(captions['M'], QStringLiteral("Measuring component|Input interface:|Measure "
                                                    "and wait on transfer|Save in file?|Cancel"));
            EXPECT_EQ(captions['C'].section('|', 0, 0), QStringLiteral("?221?"));
        }
    }
    EXPECT_TRUE(filters.empty()) << "a file chooser opened";
    EXPECT_TRUE(helpContexts.empty()) << "help opened";
}

TEST_F(DialogKeys, OkIsTheDefaultOfTheOtherDialogsAndTheirControlsAreNamed) {
    NameControlsOfEveryDialog();
    Configuration config;
    GoToDialog go(3, [](const QString&) { return true; });
    SettingsDialog settings(config);
    LanguageDialog languages(config, [] {});
    AboutDialog about;
    SyntaxTestDialog syntax("", {});
    DescriptionDialog description("/nonexistent/T.TXT", {});
    VariableDialog variable(QStringLiteral("V1"), QString());
    for (QDialog* d : std::vector<QDialog*>{&go, &settings, &languages, &about, &syntax,
                                            &description, &variable})
        ExpectOkIsTheDefault(*d);
    go.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&go));
    auto* number = go.findChild<QLineEdit*>(QStringLiteral("number"));
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(number->accessibleName(), QStringLiteral("Baustein Nr:"));
    for (QWidget* w : TabControls(&go))
        EXPECT_FALSE(w->accessibleName().isEmpty()) << w->metaObject()->className();
}

// Presses `helpButton` of the modal dialog `d` and checks that the help
// window it opens is usable while `d` is open. Returns the clicks the help's
// tool bar received.
int ClickHelpBeside(MainWindow& w, QDialog& d, QWidget* helpButton) {
    SCOPED_TRACE(d.windowTitle().toStdString());
    if (!QTest::qWaitForWindowExposed(&d))
        return -1;
    Click(helpButton);
    HelpWindow* help = w.helpWindow();
    if (!help || !QTest::qWaitForWindowExposed(help))
        return -1;
    // Qt blocks every window but the modal dialog's own: the help must be
    // one of them.
    bool underDialog = false;
    for (QWindow* p = help->windowHandle(); p; p = p->transientParent())
        underDialog = underDialog || p == d.windowHandle();
    EXPECT_TRUE(underDialog);
    // A click on the help's tool bar reaches it while the dialog is open: a
    // window blocked by the modal dialog would drop it.
    QToolButton* home = nullptr;
    for (QToolButton* b : help->findChild<QToolBar*>()->findChildren<QToolButton*>())
        if (b->defaultAction() && b->defaultAction()->text() == QStringLiteral("\u2302"))
            home = b;
    if (!home)
        return -1;
    int clicks = 0;
    QObject::connect(home, &QToolButton::clicked, [&clicks] { ++clicks; });
    // Through the help's window, as the window system delivers a click:
    // a window the modal dialog blocks drops it.
    QTest::mouseClick(help->windowHandle(), Qt::LeftButton, {},
                      home->mapTo(help, home->rect().center()));
    return clicks;
}

class DialogHelp : public WindowTest {};

TEST_F(DialogHelp, HelpFromAModalDialogIsUsableBesideIt) {
    MainWindow& w = shown(QString());
    ComponentRecord r;
    r.setTypeCode('Z');
    int editorClicks = 0, selectionClicks = 0;
    WhenShown<ComponentDialog>([&](ComponentDialog& d) {
        editorClicks = ClickHelpBeside(w, d, d.form().widget(ctl::kHelp));
    });
    OpenComponentEditor(&w, r);
    EXPECT_EQ(editorClicks, 1);
    // The dialog closed; the help stays open, a window of the main window.
    ASSERT_NE(w.helpWindow(), nullptr);
    EXPECT_TRUE(w.helpWindow()->isVisible());
    EXPECT_EQ(w.helpWindow()->parentWidget(), &w);

    // The selection dialog's Help, with the help window already open.
    WhenShown<SelectionDialog>([&](SelectionDialog& d) {
        selectionClicks = ClickHelpBeside(w, d, d.form().widget(ctl::kHelp));
        d.reject();
    });
    RunComponentSelection(&w, r);
    EXPECT_EQ(selectionClicks, 1);
    EXPECT_EQ(w.helpWindow()->parentWidget(), &w);
    w.helpWindow()->close();
}

ComponentRecord timeStep(const std::string& branch = "", std::uint16_t target = 0) {
    ComponentRecord r;
    r.setFormatMark(kCurrentFormatMark);
    r.setRecordMark(kRecordMarkMemory);
    r.setTypeCode('Z');
    r.setU8(layout::time::kWaitKind, layout::time::kKindTime);
    r.setU16(layout::time::kTimeFactor, 10);
    storeInputCondition(r, "B12");
    storeBranchCondition(r, branch);
    r.setGotoTarget(target);
    return r;
}

std::string fileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// The protocol shows exactly the lines of the core's test (those the
// command-line check prints).
void ExpectProtocol(QListWidget* shown, const SyntaxTestResult& expected) {
    ASSERT_EQ(shown->count(), static_cast<int>(expected.lines.size()));
    for (int i = 0; i < shown->count(); ++i)
        EXPECT_EQ(shown->item(i)->text(), QString::fromStdString(cp1252ToUtf8(expected.lines[i])));
}

// The row of the protocol's finding on step 2, or -1.
int FindingOnStep2(QListWidget* shown) {
    for (int i = 0; i < shown->count(); ++i)
        if (shown->item(i)->text().startsWith(QStringLiteral("       2:")))
            return i;
    return -1;
}

class PrintDialogs : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        setLanguage(kEnglish);
    }
    void TearDown() override {
        SetPrintDialogSeam({});
        setLanguage(kGerman);
    }
    std::string path(const char* name) const { return dir.filePath(name).toStdString(); }
    // Writes `list` as `name` and opens it under that name; returns the path.
    std::string save(ProcedureList& list, const char* name) {
        list.documentPath = path(name);
        list.documentOpen = 1;
        EXPECT_TRUE(writeProcedure(list.documentPath, list).ok());
        return list.documentPath;
    }

    // Prints to `pdf` instead of asking, or cancels.
    void printTo(const QString& pdf, QPageLayout::Orientation orientation, bool cancel = false) {
        SetPrintDialogSeam([pdf, orientation, cancel](QPrinter& printer) {
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(pdf);
            printer.setPageOrientation(orientation);
            return !cancel;
        });
    }

    QTemporaryDir dir;
};

TEST_F(PrintDialogs, SyntaxTestListsTheCoreProtocolAndLeadsToSteps) {
    ProcedureList list;
    // The second step has a GOTO to a step that does not exist.
    for (const ComponentRecord& r : {timeStep(), timeStep("B1", 9), timeStep()})
        list.appendRecord(r);
    const std::string pad = save(list, "T.PAD");

    SyntaxTestDialog dialog(pad, {});
    // Localised, Print waits for a run.
    EXPECT_EQ(dialog.startButton()->text(), QStringLiteral("Start syntax check"));
    EXPECT_FALSE(dialog.printButton()->isEnabled());
    dialog.modeButton(kCheckPv6410)->setChecked(true);
    dialog.startButton()->click();
    EXPECT_TRUE(dialog.printButton()->isEnabled());
    EXPECT_EQ(LastCheckMode(), kCheckPv6410);

    ExpectProtocol(dialog.protocol(), RunSyntaxTest(pad, kCheckPv6410));

    // A double click on the head does nothing; on the GOTO finding it closes
    // the dialog with the file and the step.
    dialog.openLine(0);
    EXPECT_FALSE(dialog.chosen());
    const int gotoRow = FindingOnStep2(dialog.protocol());
    ASSERT_GE(gotoRow, 0);
    dialog.openLine(gotoRow);
    ASSERT_TRUE(dialog.chosen());
    EXPECT_EQ(dialog.chosen()->path, pad);
    EXPECT_EQ(dialog.chosen()->step, 2);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);

    // A cancelled file choice opens nothing.
    bool opened = false;
    RunSyntaxTestDialog(
        nullptr, [&](const std::string&, int) { opened = true; },
        [] { return std::optional<std::string>(); });
    EXPECT_FALSE(opened);
}

TEST_F(PrintDialogs, PreCheckRunsOnTheProcedureInMemory) {
    ProcedureList list;
    list.appendRecord(timeStep());
    list.appendRecord(timeStep());
    const std::string pad = save(list, "P.PAD");
    // An unsaved change: the last step now jumps nowhere.
    ComponentRecord& last = list.tail()->record;
    storeBranchCondition(last, "B1");
    last.setGotoTarget(7);
    list.modified = 1;
    SetLastCheckMode(kCheckTarvisel);

    std::vector<int> wentTo;
    QWidget parent;
    PreCheckDialog* dialog = RunPreCheck(&parent, list, [&](int step) { wentTo.push_back(step); });
    ASSERT_NE(dialog, nullptr);
    ExpectProtocol(dialog->protocol(), RunSyntaxTestInMemory(list, pad, kCheckTarvisel));
    const int row = FindingOnStep2(dialog->protocol());
    ASSERT_GE(row, 0);
    dialog->openLine(0);
    dialog->openLine(row);
    EXPECT_EQ(wentTo, std::vector<int>{2});
    // The procedure file was not saved for it.
    RecordFile onDisk;
    ASSERT_TRUE(readRecordFile(pad, onDisk).ok());
    EXPECT_FALSE(onDisk.records.back().hasBranch());
    // A second run reuses the window.
    EXPECT_EQ(RunPreCheck(&parent, list, {}), dialog);
}

TEST_F(PrintDialogs, PrintoutsReachThePrinter) {
    ProcedureList list;
    for (int i = 0; i < 13; ++i)
        list.appendRecord(timeStep());
    list.documentPath = path("P13.PAD");
    // Each returns the pages it printed; the pages in a PDF, from the same
    // painters, are tested through the command-line print.
    const QString pdf = dir.filePath("out.pdf"), protocol = dir.filePath("protocol.pdf");
    printTo(pdf, QPageLayout::Landscape);
    EXPECT_EQ(PrintProcedure(nullptr, list, kPrintNormal), 2);
    EXPECT_GT(QFileInfo(pdf).size(), 0);
    EXPECT_EQ(SharedPrinter().docName(), QStringLiteral("Quelvari- Document"));

    // The protocol goes to the same printer under its own document name; the
    // page arithmetic itself is the core's.
    printTo(protocol, QPageLayout::Portrait);
    const std::vector<std::string> lines = {"line 1", "line 2"};
    EXPECT_EQ(PrintProtocol(nullptr, lines), 1);
    EXPECT_GT(QFileInfo(protocol).size(), 0);
    EXPECT_EQ(SharedPrinter().docName(), QStringLiteral("QuelvariDoc"));

    // Cancel prints nothing.
    QFile::remove(pdf);
    printTo(pdf, QPageLayout::Portrait, true);
    EXPECT_EQ(PrintProtocol(nullptr, lines), 0);
    EXPECT_EQ(PrintProcedure(nullptr, list, kPrintNormal), 0);
    EXPECT_FALSE(QFile::exists(pdf));
}

TEST_F(PrintDialogs, DescriptionDialogEditsTheSideFile) {
    ProcedureList list;
    list.appendRecord(timeStep());
    const std::string pad = save(list, "D.PAD");
    EXPECT_TRUE(DescriptionAvailable(list));
    ProcedureList unsaved;
    unsaved.documentOpen = 1;
    unsaved.documentPath = path("NoName.PAD");
    EXPECT_FALSE(DescriptionAvailable(unsaved));
    EXPECT_FALSE(RunDescriptionDialog(nullptr, unsaved));
    // A side file that is no regular file (a FIFO would block its reader) is
    // reported with the loader's reason, whose other kinds are its own tests.
    save(list, "S.PAD");
    ASSERT_EQ(::mkfifo(path("S.TXT").c_str(), 0600), 0);
    QString shown;
    test::ReadNextBox(shown);
    EXPECT_FALSE(RunDescriptionDialog(nullptr, list));
    EXPECT_TRUE(shown.contains(QLatin1String("is not a regular file"))) << shown.toStdString();
    list.documentPath = pad;

    const std::string side = path("D.TXT");
    std::ofstream(side, std::ios::binary)
        << "[COMMENT]\r\nOld\r\n[TEXT]\r\nA\r\nB\r\n[VAR]\r\nZ3     (3)      Counter\r\n";
    DescriptionDialog dialog(side, {list.procedureHead.record});
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Description of the test procedure"));
    EXPECT_EQ(dialog.commentField()->text(), QStringLiteral("Old"));
    EXPECT_EQ(dialog.textField()->toPlainText(), QStringLiteral("A\nB"));
    // Description pane first: the list and its buttons hidden.
    EXPECT_TRUE(dialog.descriptionPane()->isChecked());
    EXPECT_TRUE(dialog.variableList()->isHidden());
    EXPECT_TRUE(dialog.button(describe_ids::kNew)->isHidden());
    dialog.showVariablesPane();
    EXPECT_TRUE(dialog.textField()->isHidden());
    EXPECT_FALSE(dialog.button(describe_ids::kNew)->isHidden());
    EXPECT_FALSE(dialog.button(describe_ids::kAutomatic)->isHidden());
    // Change and Delete only while a line is selected.
    EXPECT_TRUE(dialog.button(describe_ids::kChange)->isHidden());
    dialog.variableList()->setCurrentRow(0);
    EXPECT_FALSE(dialog.button(describe_ids::kChange)->isHidden());
    EXPECT_FALSE(dialog.button(describe_ids::kDelete)->isHidden());

    // The buttons run the core's Change, New, Automatic and Delete on the list.
    dialog.setVariableEditor([](std::string& name, std::string& description) {
        name = name.empty() ? "A1" : "Z4";
        description = "Cycles";
        return true;
    });
    dialog.changeVariable();
    EXPECT_EQ(dialog.variables().lines(), (std::vector<std::string>{"Z4     (?)      Cycles"}));
    dialog.newVariable();
    dialog.generateVariables();
    ASSERT_EQ(dialog.variables().size(), 3u);
    dialog.variableList()->setCurrentRow(0);
    dialog.deleteVariable();
    EXPECT_EQ(dialog.variableList()->currentRow(), 0);
    EXPECT_EQ(dialog.variableList()->item(0)->text(), QStringLiteral("B12    (12)     "));

    dialog.commentField()->setText(QStringLiteral("Neu geprüft"));
    dialog.textField()->setPlainText(QStringLiteral("L1\nL2"));
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(fileText(side),
              "[COMMENT]\r\nNeu gepr\xfc"
              "ft\r\n[TEXT]\r\nL1\r\nL2\r\n[VAR]\r\n"
              "B12    (12)     \r\nZ4     (?)      Cycles\r\n");
}

TEST_F(PrintDialogs, DescriptionDialogKeepsTheFileWhenTheTextDoesNotFitOrItIsReadOnly) {
    const std::string side = path("L.TXT");
    const std::string old = "[COMMENT]\r\n\r\n[TEXT]\r\n\r\n[VAR]\r\nB1     (1)      x\r\n";
    std::ofstream(side, std::ios::binary) << old;
    DescriptionDialog dialog(side, {});
    // 30 bytes of markers and 19 of the variable line leave 19,951.
    EXPECT_EQ(dialog.roomLabel()->text(), QStringLiteral("19951 characters left"));
    // Each line break takes two bytes of the file.
    dialog.textField()->setPlainText(QString(19940, QLatin1Char('t')) +
                                     QStringLiteral("\n\n\n\n\n\n"));
    EXPECT_EQ(dialog.roomLabel()->text(), QStringLiteral("-1 characters left"));
    QString shown;
    test::ReadNextBox(shown);
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(shown, QStringLiteral("The description is 1 characters too long to be read back "
                                    "whole (a line break counts as 2)."));
    EXPECT_EQ(fileText(side), old);
    // One character less fits and loads back whole.
    dialog.textField()->setPlainText(QString(19939, QLatin1Char('t')) +
                                     QStringLiteral("\n\n\n\n\n\n"));
    dialog.accept();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ(fileText(side).size(), 20000u);
    EXPECT_EQ(LoadSideFile(side).content.variables.size(), 1u);

    // Read-only: the editing buttons are off and OK writes nothing. Root
    // writes past permission bits: the file is made immutable instead.
    const std::string full = fileText(side);
    const bool root = ::geteuid() == 0;
    if (root ? std::system(("chattr +i '" + side + "' 2>/dev/null").c_str()) != 0
             : ::chmod(side.c_str(), 0444) != 0)
        GTEST_SKIP() << "cannot make a file read-only here";
    {
        DescriptionDialog readOnly(side, {});
        for (std::uint32_t id :
             {1u, describe_ids::kNew, describe_ids::kChange, describe_ids::kDelete})
            EXPECT_FALSE(readOnly.button(id)->isEnabled()) << id;
        EXPECT_TRUE(readOnly.button(describe_ids::kAutomatic)->isEnabled());
        readOnly.commentField()->setText(QStringLiteral("Changed"));
        readOnly.accept();
        EXPECT_NE(readOnly.result(), QDialog::Accepted);
    }
    if (root) {
        EXPECT_EQ(std::system(("chattr -i '" + side + "'").c_str()), 0);
    }
    EXPECT_EQ(fileText(side), full);
}

namespace fs = std::filesystem;

class TransferDialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"CLEAN.PAD", "CLEAN.IR1", "LEAKAGE.PAM"})
            fs::copy_file(fs::path(QUELVARI_EXAMPLES) / "check-clean" / name, dir / name);
        // Checked: the system file the transfer needs is there.
        ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    }

    std::unique_ptr<TransferDialog> open(const link::SimSettings& settings) {
        auto d = std::make_unique<TransferDialog>(nullptr, pad, [this, settings](link::Link& l) {
            sims = link::AttachSimulatedUsb(l, settings);
        });
        d->showMessage = [this](const QString&, const QString& text) { messages << text; };
        QSignalSpy done(d.get(), &TransferDialog::finishedWork);
        d->show();
        EXPECT_TRUE(done.wait(5000));
        return d;
    }
    link::SimSettings settings() const {
        link::SimSettings s = link::DefaultSimSettings();
        s.cardDir = card;
        return s;
    }

    QTemporaryDir tmp;
    fs::path dir = tmp.path().toStdString();
    std::string pad = (dir / "CLEAN.PAD").string(), card = (dir / "card").string();
    std::vector<std::shared_ptr<link::SimulatedInstrument>> sims;
    QStringList messages;
};

TEST_F(TransferDialogTest, OpensConnectedTransfersAndCancelStopsTheNextTransfer) {
    auto d = open(settings());
    EXPECT_TRUE(messages.isEmpty()) << messages.join("|").toStdString();
    EXPECT_TRUE(d->fastPictures()->isChecked());
    EXPECT_EQ(d->memoryField(link::kFieldTotal)->text(), "    1024 MB");
    EXPECT_EQ(d->numberField()->value(), 1);
    EXPECT_NE(d->needField(0)->text(), "???");
    ASSERT_TRUE(d->startButton()->isEnabled());
    EXPECT_FALSE(d->progressBar()->isVisible());

    QSignalSpy done(d.get(), &TransferDialog::finishedWork);
    d->numberField()->setValue(4);
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    EXPECT_TRUE(d->busy());
    EXPECT_FALSE(d->startButton()->isEnabled());
    // The window handles events while the worker sends: the progress shows.
    EXPECT_TRUE(QTest::qWaitFor([&] { return d->progressBar()->isVisible(); }, 5000));
    ASSERT_TRUE(done.size() > 0 || done.wait(20000));
    EXPECT_EQ(done.front().at(0).toInt(), 0);
    EXPECT_TRUE(fs::exists(fs::path(card) / "P004.PAD"));
    EXPECT_TRUE(fs::exists(fs::path(card) / "P004.IR1"));
    // Completion in the status line; Cancel now closes.
    EXPECT_EQ(d->statusLine()->text(), QString::fromUtf8("Übertragung beendet."));
    EXPECT_TRUE(d->statusLine()->isVisible());
    EXPECT_FALSE(d->progressBar()->isVisible());
    EXPECT_EQ(d->cancelButton()->text(), QString::fromUtf8("Schließen"));
    EXPECT_EQ(d->numberField()->value(), 5);  // the instrument's next free place
    ASSERT_TRUE(d->startButton()->isEnabled());

    // A longer procedure, checked again. Cancel during its transfer only
    // stops it: no message, the dialog stays open, the instrument is released.
    std::string longer = fileText(pad);
    for (int i = 0; i < 40; ++i)
        longer += longer.substr(longer.size() - 800);
    std::ofstream(pad, std::ios::binary) << longer;
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    EXPECT_EQ(d->cancelButton()->text(), QStringLiteral("Abbrechen"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return d->progressBar()->value() >= 5; }, 5000));
    QTest::mouseClick(d->cancelButton(), Qt::LeftButton);
    ASSERT_TRUE(done.wait(5000));
    EXPECT_TRUE(done.back().at(1).toBool());
    EXPECT_TRUE(messages.isEmpty()) << messages.join("|").toStdString();
    EXPECT_TRUE(d->isVisible());
    EXPECT_FALSE(sims[0]->selected());
    EXPECT_FALSE(fs::exists(fs::path(card) / "P005.PAD"));
}

TEST_F(TransferDialogTest, LostFullOrRefusingInstrumentsAreToldAndKeepStartDisabled) {
    auto d = open(settings());
    // The instrument goes away after the connect and "pI" (4 requests), "pI",
    // the header and two blocks.
    sims[0]->settings().faults.goneAfter = 8;
    QSignalSpy done(d.get(), &TransferDialog::finishedWork);
    QTest::mouseClick(d->startButton(), Qt::LeftButton);
    ASSERT_TRUE(done.wait(10000));
    EXPECT_EQ(done.back().at(0).toInt(), 79);
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages.front().contains("FEHLER 79")) << messages.join("|").toStdString();
    EXPECT_TRUE(messages.front().contains("No such device")) << messages.front().toStdString();

    // A refused selection: the connect fails, and "pI" is sent all the same.
    messages.clear();
    link::SimSettings s = settings();
    s.faults.refuseSelection = true;
    d = open(s);
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages.front().contains("81")) << messages.front().toStdString();
    EXPECT_GT(sims[0]->counts().count("pI"), 0u);
    EXPECT_FALSE(d->startButton()->isEnabled());

    // Full (procedure number 0), and a model that takes no transfer.
    s = settings();
    s.memory.procedureNumber = 0;
    d = open(s);
    EXPECT_EQ(d->memoryField(link::kFieldNumber)->text(), " voll");
    EXPECT_FALSE(d->startButton()->isEnabled());
    // Nothing stays selected when the dialog goes.
    EXPECT_TRUE(sims[0]->selected());
    d.reset();
    EXPECT_FALSE(sims[0]->selected());
    s = settings();
    s.identity.model = link::kModel3310;
    d = open(s);
    EXPECT_FALSE(d->startButton()->isEnabled());
}

TEST(GuiLinkSettings, ShowsSavesAndRefusesBadIds) {
    const QString path = QDir::tempPath() + "/quelvari-gui-link.conf";
    QFile::remove(path);
    {
        LinkSettingsDialog dialog(nullptr, path);
        auto* kind = dialog.findChild<QComboBox*>("kind");
        auto* device = dialog.findChild<QComboBox*>("device");
        ASSERT_TRUE(kind && device);
        EXPECT_EQ(kind->currentData().toInt(), int(link::LinkConfig::Kind::kUsb));  // no file
        EXPECT_FALSE(device->isEnabled());
        kind->setCurrentIndex(1);
        EXPECT_TRUE(device->isEnabled());
        device->setCurrentText("/dev/pts/7");  // typed, not listed
        dialog.findChild<QComboBox*>("baud")->setCurrentIndex(3);
        dialog.findChild<QCheckBox*>("slow")->setChecked(true);

        dialog.findChild<QLineEdit*>("usbIds")->setText("12:34");
        link::LinkConfig config;
        QString error;
        EXPECT_FALSE(dialog.readControls(config, error));
        EXPECT_FALSE(error.isEmpty());
        dialog.findChild<QLineEdit*>("usbIds")->setText("1209:0001,abcd:0002");
        dialog.accept();
        EXPECT_EQ(dialog.result(), QDialog::Accepted);
    }
    const link::LinkConfig saved = link::ReadLinkConfig(path.toStdString());
    EXPECT_EQ(
        std::tuple(saved.kind, saved.device, saved.baudIndex, saved.slow, saved.usbIds.size()),
        std::tuple(link::LinkConfig::Kind::kSerial, "/dev/pts/7", 3, true, 2u));

    // A setting the dialog does not show survives its save; the labels are the
    // program's own texts in the current language.
    ASSERT_TRUE(link::UpdateLinkConfig(path.toStdString(), [](link::LinkConfig& c) {
                    c.usbMap.request = 7;
                }).ok());
    LinkSettingsDialog again(nullptr, path);
    EXPECT_EQ(again.windowTitle(), QString::fromUtf8("Verbindung zum Messgerät"));
    EXPECT_EQ(again.findChild<QComboBox*>("device")->currentText(), "/dev/pts/7");
    EXPECT_EQ(again.findChild<QComboBox*>("kind")->currentText(),
              QString::fromUtf8("Serielle Schnittstelle"));
    again.accept();
    EXPECT_EQ(link::ReadLinkConfig(path.toStdString()).usbMap.request, 7);
    QFile::remove(path);
}

constexpr int kPdfDpi = 300;
constexpr int kImageDpi = 150;
constexpr double kToImage = double(kImageDpi) / kPdfDpi;

// Page 1 of what `paint` prints on A4 paper of this orientation and margin,
// as a grey image at kImageDpi.
QImage Printed(QPageLayout::Orientation orientation, double marginMm,
               const std::function<void(QPdfWriter&)>& paint) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("page.pdf"));
    {
        QPdfWriter pdf(path);
        pdf.setResolution(kPdfDpi);
        pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), orientation,
                                      QMarginsF(marginMm, marginMm, marginMm, marginMm),
                                      QPageLayout::Millimeter));
        paint(pdf);
    }
    const std::string cmd = "pdftoppm -r " + std::to_string(kImageDpi) +
                            " -gray -png -f 1 -l 1 -singlefile '" + path.toStdString() + "' '" +
                            path.toStdString() + "'";
    if (std::system(cmd.c_str()) != 0)
        return {};
    return QImage(path + QStringLiteral(".png")).convertToFormat(QImage::Format_Grayscale8);
}

// Dark pixels (text, not the grey rules) in the image columns [x0, x1) and
// rows [y0, y1).
int Ink(const QImage& page, int x0, int x1, int y0, int y1, int below = 100) {
    int n = 0;
    for (int y = std::max(0, y0); y < std::min(page.height(), y1); ++y)
        for (int x = std::max(0, x0); x < std::min(page.width(), x1); ++x)
            n += qGray(page.pixel(x, y)) < below;
    return n;
}

TEST(PrintPages, CellsAreCutInsideTheirMarginAndRuledApart) {
    // Every cell's command lines and comment are far longer than the cell:
    // without the cut they run over the edge into the next cell.
    std::vector<ComponentRecord> records(12);
    for (ComponentRecord& r : records) {
        r.setTypeCode('D');
        r.setText(rec::kComment, std::string(50, 'W'));
        r.setText(152, std::string(70, 'M'));
        r.setText(152 + 80, std::string(70, 'M'));
    }
    const double marginMm = 10;
    double width = 0, height = 0;
    const QImage page = Printed(QPageLayout::Landscape, marginMm, [&](QPdfWriter& pdf) {
        width = pdf.width();
        height = pdf.height();
        EXPECT_EQ(PrintProcedureToDevice(pdf, records, kPrintNormal, "T.PAD"), 1);
    });
    ASSERT_FALSE(page.isNull());

    // The grid is the one the page arithmetic gives: 3 x 4 on landscape.
    const ProcedurePlan plan = PlanProcedurePrint(records.size(), width, height, kPrintNormal, "T");
    ASSERT_EQ(plan.pages.at(0).cells.size(), 12u);
    const double origin = marginMm / 25.4 * kImageDpi;
    const auto ix = [&](double x) { return static_cast<int>(origin + x * kToImage); };
    int inkedCells = 0, ruledEdges = 0;
    for (const ProcedureCell& cell : plan.pages[0].cells) {
        const Rect& r = cell.rect;
        const int left = ix(r.x), right = ix(r.x + r.width);
        const int top = ix(r.y), bottom = ix(r.y + r.height);
        inkedCells += Ink(page, left, right, top, bottom) > 0;
        // A band of two pixels on each side of the right edge stays clear of
        // text; between two cells the edge carries a rule.
        if (r.x + r.width < width * 0.9) {
            EXPECT_EQ(Ink(page, right - 3, right + 3, top, bottom), 0) << "step " << cell.step;
            ruledEdges += Ink(page, right - 1, right + 2, top + 10, top + 11, 250) > 0;
        }
    }
    EXPECT_EQ(inkedCells, 12);
    EXPECT_EQ(ruledEdges, 9);
}

TEST(PrintPages, ProtocolLinesStayInsideTheColumn) {
    // Lines far longer than the column: they end at its right edge x1 (with
    // an ellipsis), never beyond it; short lines are printed whole.
    std::vector<std::string> lines(6, std::string(240, 'X'));
    lines.push_back("*** PAD ***");
    ProtocolMetrics m;
    const QImage page = Printed(QPageLayout::Portrait, 0, [&](QPdfWriter& pdf) {
        m = ProtocolPrintMetrics(pdf);
        EXPECT_EQ(PaintProtocolPrint(pdf, lines), 1);
    });
    ASSERT_FALSE(page.isNull());
    const ProtocolPlan plan =
        PlanProtocolPrint(lines.size(), m.pageWidth, m.pageHeight, m.lineHeight);

    const int x0 = static_cast<int>(plan.x0 * kToImage);
    const int x1 = static_cast<int>(plan.x1 * kToImage);
    const int firstRow = static_cast<int>(plan.pages[0].lines.front().y * kToImage);
    const int rowHeight = static_cast<int>(m.lineHeight * kToImage);
    const int bodyEnd = firstRow + 7 * rowHeight;
    EXPECT_EQ(Ink(page, x1 + 2, page.width(), 0, page.height()), 0);
    // The long lines fill the column up to its edge.
    EXPECT_GT(Ink(page, x1 - rowHeight, x1 + 2, firstRow, firstRow + 6 * rowHeight), 0);
    EXPECT_GT(Ink(page, x0, x0 + rowHeight, firstRow + 6 * rowHeight, bodyEnd), 0);
}

}  // namespace
}  // namespace quelvari::app::test
