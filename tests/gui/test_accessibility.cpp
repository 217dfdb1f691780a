// Every control of every component dialog carries the text of its label as
// its accessible name, in the language of the dialog, and Tab walks the
// controls in the order the dialog shows them.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>

#include <algorithm>
#include <vector>

#include "app/components/accessible_names.h"
#include "app/components/component_dialogs.h"
#include "app/components/dialog_defs.h"
#include "app/dialogs.h"
#include "app/qt_text.h"
#include "components/catalogue.h"
#include "components/form.h"
#include "texts/texts.h"

namespace quelvari::app {
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

TEST(Accessibility, EveryComponentDialogNamesItsControlsAndTabsInOrder) {
    for (std::uint32_t language : {kGerman, kEnglish}) {
        setLanguage(language);
        for (const ComponentType& type : kCatalogue) {
            SCOPED_TRACE(type.key);
            ComponentRecord r;
            PresetNewRecord(r, type);
            ComponentDialog d(nullptr, r, DialogFor(type, type.dialogId));
            d.show();
            const std::vector<QWidget*> controls = TabControls(&d);
            for (QWidget* w : controls) {
                if (qobject_cast<QPlainTextEdit*>(w)) {  // the payload of a plain type
                    EXPECT_EQ(w->accessibleName(), d.windowTitle());
                }
                EXPECT_FALSE(w->accessibleName().isEmpty())
                    << w->metaObject()->className() << " " << ControlIdOf(w);
                EXPECT_FALSE(w->accessibleName().contains(QLatin1Char('&')));
            }
            // The first field is named by its label, in the dialog's language.
            QWidget* entry = d.form().widget(ctl::kEntryCondition);
            ASSERT_NE(entry, nullptr);
            auto* label = qobject_cast<QLabel*>(d.form().widget(2000));
            ASSERT_NE(label, nullptr);
            EXPECT_EQ(entry->accessibleName(), label->text().remove(QLatin1Char('&')));
            EXPECT_EQ(entry->accessibleName().startsWith(QStringLiteral("Eingangsbed")),
                      language == kGerman);

            // Tab reaches every control once, and the fixed parts of every
            // dialog come in the order shown: head fields, the type's own
            // controls, branch, target, then the buttons.
            const std::vector<QWidget*> chain = TabChain(entry, controls.size());
            EXPECT_EQ(chain.size(), controls.size());
            for (QWidget* w : chain)
                EXPECT_NE(std::find(controls.begin(), controls.end(), w), controls.end())
                    << w->metaObject()->className() << " " << w->objectName().toStdString();
            std::vector<std::ptrdiff_t> at;
            for (std::uint32_t id : {ctl::kEntryCondition, ctl::kDescription, ctl::kBranchCondition,
                                     ctl::kTarget, ctl::kOk})
                at.push_back(std::find(chain.begin(), chain.end(), d.form().widget(id)) -
                             chain.begin());
            EXPECT_TRUE(std::is_sorted(at.begin(), at.end()));
            EXPECT_LT(at.back(), static_cast<std::ptrdiff_t>(chain.size()));
            // The type's own fields stand between description and branch.
            for (QWidget* w : controls)
                if (qobject_cast<QLineEdit*>(w) && ControlIdOf(w) != ctl::kEntryCondition &&
                    ControlIdOf(w) != ctl::kDescription &&
                    ControlIdOf(w) != ctl::kBranchCondition && ControlIdOf(w) != ctl::kTarget) {
                    const auto pos = std::find(chain.begin(), chain.end(), w) - chain.begin();
                    EXPECT_GT(pos, at[1]) << ControlIdOf(w);
                    EXPECT_LT(pos, at[2]) << ControlIdOf(w);
                }
        }
    }
    setLanguage(kGerman);
}

TEST(Accessibility, TheProgramsOtherDialogsAreNamedWhenShown) {
    NameControlsOfEveryDialog();
    setLanguage(kGerman);
    GoToDialog d(12, [](const QString&) { return true; });
    d.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&d));
    auto* number = d.findChild<QLineEdit*>(QStringLiteral("number"));
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(number->accessibleName(), QStringLiteral("Baustein Nr:"));
    for (QWidget* w : TabControls(&d))
        EXPECT_FALSE(w->accessibleName().isEmpty()) << w->metaObject()->className();
}

}  // namespace
}  // namespace quelvari::app
