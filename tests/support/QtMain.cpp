// The main function of tests with windows: they are drawn in memory, so that no test touches the
// developer's screen.

#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>
#include <string_view>

int main(int argc, char* argv[]) {
    ::testing::InitGoogleTest(&argc, argv);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    if (GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
