// The main function of tests that need an X server with a window manager. They get their own; a
// machine without one skips them.

#include "tests/support/X11Main.h"

#include "tests/support/XServer.h"

#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>
#include <optional>
#include <string>

namespace {

std::string reason;

} // namespace

std::string whyNoXServer() {
    return reason;
}

int main(int argc, char* argv[]) {
    ::testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    const auto missing = missingCommands({"setpriv", "Xvfb", "openbox", "xdotool"});
    if (!missing.empty()) {
        reason = "not installed: " + missing;
        return RUN_ALL_TESTS();
    }
    const XServer server;
    if (server.display().empty()) {
        reason = "Xvfb did not start";
        return RUN_ALL_TESTS();
    }
    ::setenv("DISPLAY", server.display().c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    const ChildProgram windowManager({"openbox"}, -1);
    if (std::system("timeout 60 sh -c 'until xdotool get_num_desktops; do sleep 0.05; done' "
                    ">/dev/null 2>&1") != 0) {
        reason = "openbox did not start";
        return RUN_ALL_TESTS();
    }
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
