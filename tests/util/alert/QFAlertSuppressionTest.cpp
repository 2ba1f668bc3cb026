#include "util/alert/QFAlert.h"

#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/system/Preferences.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UserInterface.h"
#include "tests/util/alert/AlertTexts.h"

#include <QCheckBox>

#include <optional>
#include <string>

namespace {

constexpr const char* key = "hide-message";

/// Shows an alert with the checkbox, clicks that `clicks` times, and presses the button. Returns
/// whether the box was ticked at first.
bool wasTicked(const std::function<void(const std::function<void()>&)>& run, int clicks) {
    bool ticked = false;
    whenShown(message, [&](QWidget& window) {
        auto* box = window.findChild<QCheckBox*>();
        ASSERT_NE(box, nullptr);
        ticked = box->isChecked();
        for (int click = 0; click < clicks; ++click) {
            box->click();
        }
        press(window, "OK");
    });
    run([] {
        QFAlert::alertSheetWithMessageText(message, std::nullopt, std::nullopt, std::nullopt,
                                           std::nullopt, nullptr, nullptr, std::nullopt,
                                           qf::Block::yes, nullptr, key);
    });
    return ticked;
}

class QFAlertSuppressionTest : public UserInterface {
protected:
    bool ask(int clicks) {
        return wasTicked([this](const auto& work) { runOnMainThread(work); }, clicks);
    }
};

TEST_F(QFAlertSuppressionTest, StoresTheTickWithoutAnyCodeOfTheCaller) {
    EXPECT_FALSE(ask(1));
    EXPECT_EQ(preferences.value(key), qf::Value(true));
}

TEST_F(QFAlertSuppressionTest, ShowsTheTickThatIsStored) {
    preferences.setValue(key, true);
    EXPECT_TRUE(ask(0));
}

TEST_F(QFAlertSuppressionTest, TakesTheTickBack) {
    preferences.setValue(key, true);
    EXPECT_TRUE(ask(1));
    EXPECT_EQ(preferences.value(key), qf::Value(false));
}

TEST_F(QFAlertSuppressionTest, StoresNothingWhenTheBoxIsLeftAlone) {
    EXPECT_FALSE(ask(0));
    EXPECT_TRUE(preferences.value(key).isNone());
}

TEST_F(QFAlertSuppressionTest, StoresTheTickInTheUsersPreferencesOnDisk) {
    const TemporaryDirectory home;
    FakeAccount account;
    account.home = home.path();
    qf::native::PropertyLists propertyLists;
    qf::native::Preferences onDisk("com.quillfen.test", account, propertyLists);
    const qf::ScopedService<qf::Preferences> inPlace(onDisk);
    EXPECT_FALSE(ask(1));
    qf::native::Preferences later("com.quillfen.test", account, propertyLists);
    EXPECT_EQ(later.value(key), qf::Value(true));
}

} // namespace
