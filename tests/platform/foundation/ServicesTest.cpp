#include "platform/Services.h"

#include <gtest/gtest.h>

namespace {

class Bell {
public:
    static constexpr const char* portName = "Bell";
    virtual ~Bell() = default;
    virtual int ring() = 0;
};

class Whistle {
public:
    static constexpr const char* portName = "Whistle";
    virtual ~Whistle() = default;
    virtual int blow() = 0;
};

class Counting final : public Bell {
public:
    int ring() override { return ++rings_; }

private:
    int rings_ = 0;
};

} // namespace

TEST(Services, FailsClosedAndNamesThePortWithNothingBehindIt) {
    EXPECT_EQ(qf::installedService<Whistle>(), nullptr);
    try {
        qf::service<Whistle>();
        FAIL() << "nothing was thrown";
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.name(), "QFServiceUnavailable");
        EXPECT_EQ(exception.reason(), "no implementation of Whistle is installed");
    }
}

TEST(Services, ReturnsTheInstalledImplementationForAScope) {
    Counting outer;
    Counting inner;
    const qf::ScopedService<Bell> outerScope(outer);
    {
        const qf::ScopedService<Bell> innerScope(inner);
        EXPECT_EQ(&qf::service<Bell>(), &inner);
        EXPECT_EQ(qf::service<Bell>().ring(), 1);
        EXPECT_EQ(qf::installedService<Whistle>(), nullptr);
    }
    EXPECT_EQ(&qf::service<Bell>(), &outer);
}

TEST(Services, OneSlotBelongsToAName) {
    EXPECT_EQ(&qf::serviceSlot("Bell"), &qf::serviceSlot("Bell"));
    EXPECT_NE(&qf::serviceSlot("Bell"), &qf::serviceSlot("Whistle"));
}
