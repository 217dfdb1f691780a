#include <gtest/gtest.h>

#include <QMainWindow>

TEST(GuiStart, ApplicationRunsOffscreen) {
    QMainWindow window;
    window.resize(200, 100);
    window.show();
    EXPECT_TRUE(window.isVisible());
}
