// Drives the component dialogs as a user would: typing into fields and
// clicking buttons of the modal dialog once it is shown, while the desktop
// hooks (message box, file dialog, help) record what the dialog asked for.
// And the main window under test: German, no settings or recovery copy left
// from an earlier test, and the window gone before the files it had open.
#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QTest>
#include <QTimer>
#include <functional>
#include <optional>
#include <vector>

#include "app/components/component_dialog.h"
#include "app/components/desktop_hooks.h"
#include "app/main_window.h"
#include "app/qt_text.h"
#include "commands/editor_settings.h"
#include "components/editor.h"
#include "model/config.h"
#include "texts/texts.h"

namespace quelvari::app::test {

// Calls `act` with the modal dialog of type D as soon as it is shown. A
// dialog the act leaves open is cancelled, so a failing check never hangs
// the run.
template <class D>
void WhenShown(std::function<void(D&)> act) {
    QTimer::singleShot(0, [act] {
        QWidget* modal = QApplication::activeModalWidget();
        auto* d = qobject_cast<D*>(modal);
        EXPECT_NE(d, nullptr) << "expected dialog is not shown";
        if (d)
            act(*d);
        if (d && d->isVisible())
            d->reject();
        else if (!d && modal)
            modal->close();
    });
}

// Runs `step` on the next modal widget once it is up (its exec() blocks the
// caller until then).
inline void WhenModal(std::function<void(QWidget*)> step) {
    auto* timer = new QTimer;
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, step] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        timer->stop();
        timer->deleteLater();
        step(modal);
    });
    timer->start();
}

// Keeps the text of the next message box in `text` and accepts the box.
inline void ReadNextBox(QString& text) {
    WhenModal([&text](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        ASSERT_NE(box, nullptr);
        text = box->text();
        box->accept();
    });
}

inline QWidget* Control(ComponentDialog& d, std::uint32_t id) {
    QWidget* w = d.form().widget(id);
    EXPECT_NE(w, nullptr) << "no control " << id;
    return w;
}

inline void Type(ComponentDialog& d, std::uint32_t id, const QString& text) {
    auto* e = qobject_cast<QLineEdit*>(Control(d, id));
    ASSERT_NE(e, nullptr) << "control " << id << " is not a field";
    e->setFocus();
    e->selectAll();
    QTest::keyClick(e, Qt::Key_Delete);
    // Key by key; letters beyond ASCII arrive as key events carrying text.
    for (const QChar c : text) {
        if (c.unicode() < 0x80)
            QTest::keyClick(e, static_cast<char>(c.unicode()));
        else
            QTest::sendKeyEvent(QTest::Click, e, Qt::Key_unknown, QString(c), Qt::NoModifier);
    }
}

inline void Click(QWidget* w) {
    ASSERT_NE(w, nullptr);
    // Radio buttons and check boxes take clicks on their box and label only,
    // not on the rest of a stretched row.
    const bool boxed = w->inherits("QRadioButton") || w->inherits("QCheckBox");
    const QPoint at = boxed ? QPoint(w->height() / 2, w->height() / 2) : w->rect().center();
    QTest::mouseClick(w, Qt::LeftButton, {}, at);
}

inline void Click(ComponentDialog& d, std::uint32_t id) {
    Click(Control(d, id));
}

// One user action, done the same way on the real dialog and on a MapForm.
struct Step {
    enum Kind { TypeText, ClickButton, ChooseItem, PickFile } kind;
    std::uint32_t id;
    QString text = {};
    int index = 0;
    static Step type(std::uint32_t id, const QString& text) { return {TypeText, id, text}; }
    static Step click(std::uint32_t id) { return {ClickButton, id}; }
    static Step choose(std::uint32_t id, int index) { return {ChooseItem, id, {}, index}; }
    static Step pickFile(const QString& path) { return {PickFile, 1172, path}; }
};

// Fixture: German, hooks that record instead of showing boxes.
class DialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        setLanguage(kGerman);
        uiHooks().message = [this](QWidget*, const QString& caption, const QString& text) {
            messages.emplace_back(caption, text);
        };
        uiHooks().openFile = [this](QWidget*, const QString& filter) {
            filters.push_back(filter);
            return nextFile;
        };
        uiHooks().help = [this](QWidget*, std::uint32_t context) {
            helpContexts.push_back(context);
        };
    }
    void TearDown() override {
        ResetUiHooks();
        setLanguage(kGerman);
    }

    std::vector<std::pair<QString, QString>> messages;
    std::vector<QString> filters;
    std::vector<std::uint32_t> helpContexts;
    QString nextFile;
};

inline const QString kSample = QStringLiteral(QUELVARI_EXAMPLES "/sample.PAD");

// Presses the message box button whose role answers the question.
inline void Answer(QWidget* modal, QMessageBox::StandardButton which) {
    auto* box = qobject_cast<QMessageBox*>(modal);
    ASSERT_NE(box, nullptr);
    box->button(which)->click();
}

inline QByteArray FileBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

class WindowTest : public ::testing::Test {
  protected:
    void SetUp() override {
        Clean();
        setLanguage(kGerman);
    }
    void TearDown() override {
        window.reset();
        Clean();
        setLanguage(kGerman);
    }
    static void Clean() {
        QFile::remove(QString::fromStdString(GetConfigPaths().file));
        QFile::remove(QString::fromStdString(EditorSettingsPath()));
        RemoveRecovery();
    }
    // A shown window of `size` (if given) with `path` open (if given).
    MainWindow& shown(const QString& path = kSample, QSize size = {}) {
        window.emplace();
        if (size.isValid())
            window->resize(size);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&*window));
        if (!path.isEmpty())
            window->openPath(path);
        return *window;
    }
    std::optional<MainWindow> window;
};

}  // namespace quelvari::app::test
