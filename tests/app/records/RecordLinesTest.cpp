#include "app/records/RecordLines.h"

#include "platform/foundation/Exception.h"

#include <gtest/gtest.h>

using records::LineSeal;

namespace {

std::string sealed(const records::Json& value) {
    auto line = LineSeal().sealed(value);
    line.pop_back(); // its end
    return line;
}

TEST(LineSeal, OpensWhatItHasSealed) {
    const records::Json object{{"item", "/x/a"}};
    EXPECT_EQ(LineSeal().opened(sealed(object)), object);
}

TEST(LineSeal, HasAFormatThatStays) {
    EXPECT_EQ(LineSeal().sealed({{"item", "/x/a"}}),
              "{\"item\":\"/x/a\",\"check\":\"e30e2830e19b0492\"}\n");
}

TEST(LineSeal, RefusesALineThatIsNothingButASeal) {
    const auto line = sealed({{"item", "/x/a"}});
    const auto seal = line.substr(line.find(",\"check"));

    EXPECT_THROW(LineSeal().opened(seal), qf::Exception);
}

TEST(LineSeal, RefusesWhatIsNoObjectThoughItsCheckIsRight) {
    EXPECT_THROW(LineSeal().opened(sealed("text")), qf::Exception);
}

TEST(LineSeal, RefusesAnEditedLine) {
    auto line = sealed({{"item", "/x/a"}});
    line.replace(line.find("/x/a"), 4, "/x/b");
    EXPECT_THROW(LineSeal().opened(line), qf::Exception);
}

} // namespace
