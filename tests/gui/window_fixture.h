// The main window under test: German, no settings or recovery copy left from
// an earlier test, and the window gone before the files it had open.
#pragma once

#include <QFile>
#include <optional>

#include "app/main_window.h"
#include "commands/editor_settings.h"
#include "dialog_driver.h"
#include "model/config.h"

namespace quelvari::app::test {

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
