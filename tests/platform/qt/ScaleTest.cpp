#include "platform/qt/Scale.h"

#include <QApplication>
#include <QFont>
#include <QScreen>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

/// A person's type, with everything else as before when it goes.
class ScaleTest : public ::testing::Test {
protected:
    ~ScaleTest() override {
        QApplication::setFont(before);
        ::unsetenv("QT_SCALE_FACTOR");
    }

    void useType(int share) {
        auto font = before;
        const auto screen = QGuiApplication::primaryScreen()->availableGeometry();
        font.setPixelSize(screen.width() / share);
        QApplication::setFont(font);
    }

    const QFont before = QApplication::font();
};

TEST_F(ScaleTest, LeavesTypeAloneThatTheScreenHasRoomFor) {
    EXPECT_EQ(qf::qt::scaleThatFits(), 1);
}

TEST_F(ScaleTest, MakesTypeSmallerThatTheScreenHasNoRoomFor) {
    useType(16);
    EXPECT_NEAR(qf::qt::scaleThatFits(), 0.5, 0.01);
}

TEST_F(ScaleTest, ChangesTheScaleThatThePersonHasSet) {
    qf::qt::scaleWindows(0.5);
    EXPECT_STREQ(std::getenv("QT_SCALE_FACTOR"), "0.5");
    qf::qt::scaleWindows(0.5);
    EXPECT_STREQ(std::getenv("QT_SCALE_FACTOR"), "0.25");
}

} // namespace
