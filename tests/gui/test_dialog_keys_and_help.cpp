// Return and the default button in every dialog, and the help opened from a
// modal dialog being usable beside it.
#include <QAction>
#include <QDialogButtonBox>
#include <QFile>
#include <QPushButton>
#include <QToolBar>
#include <QToolButton>
#include <QWindow>

#include "app/check/syntax_test_dialog.h"
#include "app/components/component_dialogs.h"
#include "app/components/selection_dialog.h"
#include "app/describe/description_dialog.h"
#include "app/dialogs.h"
#include "app/main_window.h"
#include "components/catalogue.h"
#include "dialog_driver.h"
#include "model/config.h"

namespace quelvari::app::test {
namespace {

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

TEST_F(DialogKeys, ReturnPressesOkInEveryComponentDialog) {
    // Every editor dialog, the three Interbus-S functions included. With the
    // focus on each other button in turn (a file chooser, Help), Return
    // presses OK: the empty new record is refused with a message, so the
    // dialog stays open for the next button.
    std::vector<ComponentRecord> records;
    for (const ComponentType& type : kCatalogue) {
        ComponentRecord r;
        r.setTypeCode(static_cast<std::uint8_t>(type.code));
        if (type.kind == ComponentKind::Interbus) {
            for (std::uint8_t f : {'Z', 'I', 'R'}) {
                r.setU8(rec::kPayload, f);
                records.push_back(r);
            }
        } else {
            records.push_back(r);
        }
    }
    int dialogs = 0, presses = 0;
    for (ComponentRecord& r : records) {
        WhenShown<ComponentDialog>([&](ComponentDialog& d) {
            ++dialogs;
            QPushButton* ok = qobject_cast<QPushButton*>(d.form().widget(ctl::kOk));
            ASSERT_NE(ok, nullptr);
            ExpectOkIsTheDefault(d, ok);
            int okClicks = 0;
            QObject::connect(ok, &QPushButton::clicked, [&okClicks] { ++okClicks; });
            int pressed = 0;
            for (QPushButton* b : d.findChildren<QPushButton*>()) {
                if (b == ok || b == d.form().widget(ctl::kCancel) || !d.isVisible())
                    continue;
                b->setFocus();
                QTest::keyClick(b, Qt::Key_Return);
                ++pressed;
            }
            EXPECT_EQ(okClicks, pressed) << d.windowTitle().toStdString();
            presses += pressed;
        });
        OpenComponentEditor(nullptr, r);
    }
    EXPECT_EQ(dialogs, static_cast<int>(records.size()));
    EXPECT_GE(presses, dialogs);  // at least Help in each
    EXPECT_TRUE(filters.empty()) << "a file chooser opened";
    EXPECT_TRUE(helpContexts.empty()) << "help opened";
}

TEST_F(DialogKeys, OkIsTheDefaultOfTheOtherDialogs) {
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

    // The selection dialog has no OK: Return on Help opens no help.
    ComponentRecord r;
    WhenShown<SelectionDialog>([&](SelectionDialog& d) {
        ExpectOkIsTheDefault(d, nullptr);
        auto* help = qobject_cast<QPushButton*>(d.form().widget(ctl::kHelp));
        ASSERT_NE(help, nullptr);
        help->setFocus();
        QTest::keyClick(help, Qt::Key_Return);
    });
    RunComponentSelection(nullptr, r);
    EXPECT_TRUE(helpContexts.empty());
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

TEST(DialogHelp, HelpFromAModalDialogIsUsableBesideIt) {
    QFile::remove(QString::fromStdString(GetConfigPaths().file));
    setLanguage(kGerman);
    MainWindow w;
    w.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
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
