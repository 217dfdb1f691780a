// Every dialog from the keyboard and for assistive tools: each control is
// named by its label in the dialog's language, Tab walks the controls in the
// order shown, Return presses OK, and the help opened from a modal dialog is
// usable beside it.
#include <QAbstractSpinBox>
#include <QAction>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QToolBar>
#include <QToolButton>
#include <QWindow>

#include <algorithm>
#include <map>

#include "app/check/syntax_test_dialog.h"
#include "app/components/accessible_names.h"
#include "app/components/component_dialogs.h"
#include "app/components/selection_dialog.h"
#include "app/describe/description_dialog.h"
#include "app/dialogs.h"
#include "components/catalogue.h"
#include "window_fixture.h"

namespace quelvari::app::test {
namespace {

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

// OK is the dialog's default; no push button but Cancel takes Return when
// it has the focus.
void ExpectOkIsTheDefault(QDialog& d, QPushButton* ok) {
    SCOPED_TRACE(d.windowTitle().toStdString());
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
}

QPushButton* OkOf(QDialog& d) {
    for (QDialogButtonBox* box : d.findChildren<QDialogButtonBox*>())
        for (QAbstractButton* b : box->buttons())
            if (box->buttonRole(b) == QDialogButtonBox::AcceptRole)
                return qobject_cast<QPushButton*>(b);
    return nullptr;
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
                QPushButton* ok = qobject_cast<QPushButton*>(d.form().widget(ctl::kOk));
                ASSERT_NE(ok, nullptr);
                ExpectOkIsTheDefault(d, ok);
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
        ExpectOkIsTheDefault(*d, OkOf(*d));
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

}  // namespace
}  // namespace quelvari::app::test
