// Test main of the editor's tests: one QApplication on the offscreen platform
// (set here, so that test discovery at build time needs no display).
#include <gtest/gtest.h>

#include <unistd.h>
#include <QApplication>
#include <QDir>

#include <cstdlib>

int main(int argc, char** argv) {
    if (!std::getenv("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QString runtime = QDir::tempPath() + "/quelvari-gui-tests-runtime";
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    setenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit().constData(), 0);
    // Settings go to a private directory, never the user's home.
    QString config = QDir::tempPath() + QString("/quelvari-gui-tests-config-%1").arg(getpid());
    setenv("QUELVARI_CONFIG_ROOT", config.toLocal8Bit().constData(), 1);
    setenv("XDG_DATA_HOME", (config + "/data").toLocal8Bit().constData(), 1);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
