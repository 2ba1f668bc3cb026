// The helper's protocol by itself.

#include "platform/linux/authorization/helper/HelperProtocol.h"

#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <random>

using namespace qf::native::helper;
using namespace std::string_literals;

// NOLINTNEXTLINE(readability-identifier-naming): libFuzzer's name
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

namespace {

void parse(const std::string& message) {
    std::vector<unsigned char> bytes(message.begin(), message.end());
    EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()), 0);
}

} // namespace

TEST(HelperProtocol, ReadsWhatItHasWritten) {
    const std::vector<std::string> arguments{"-f", "", "line\nbreak", "\xff\xfe"};
    const auto message = encodeRequest("/bin/rm", arguments);
    ASSERT_TRUE(message);
    Request request;
    ASSERT_EQ(parseRequest(*message, request), Status::started);
    EXPECT_EQ(request.tool, "/bin/rm");
    EXPECT_EQ(std::vector<std::string>(request.arguments.begin(), request.arguments.end()),
              arguments);
}

class HelperProtocolContent : public testing::TestWithParam<NamedText> {};

TEST_P(HelperProtocolContent, IsReadWithTheRequest) {
    const auto message = encodeRequest("/usr/sbin/chown", {"root:wheel", "/a"}, GetParam().value);
    ASSERT_TRUE(message);
    Request request;
    ASSERT_EQ(parseRequest(*message, request), Status::started);
    EXPECT_EQ(request.content, GetParam().value);
    EXPECT_EQ(request.tool, "/usr/sbin/chown");
    EXPECT_EQ(request.arguments.size(), 2U);
    ASSERT_EQ(parseRequest(*encodeRequest("/bin/true", {}), request), Status::started);
    EXPECT_EQ(request.content, std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(, HelperProtocolContent,
                         testing::Values(NamedText{{"Empty"}, ""},
                                         NamedText{{"List"}, "<plist/>\n"}),
                         nameOfCase);

class HelperProtocolContentAlone : public testing::TestWithParam<NamedText> {};

TEST_P(HelperProtocolContentAlone, IsNoRequest) {
    Request request;
    EXPECT_EQ(parseRequest(GetParam().value, request), Status::requestMalformed);
}

INSTANTIATE_TEST_SUITE_P(, HelperProtocolContentAlone,
                         testing::Values(NamedText{{"Empty"}, "\0\0"s},
                                         NamedText{{"WithAnEnd"}, "\0content\0"s},
                                         NamedText{{"WithTwoEnds"}, "\0content\0\0"s},
                                         NamedText{{"WithoutEnd"}, "\0content"s}),
                         nameOfCase);

TEST(HelperProtocol, WritesNoRequestThatNoHelperWouldTake) {
    using namespace std::string_literals;
    EXPECT_FALSE(encodeRequest("/bin/rm\0x"s, {}));
    EXPECT_FALSE(encodeRequest("/bin/rm", {"a\0b"s}));
    EXPECT_FALSE(encodeRequest("/bin/rm", std::vector<std::string>(maximumArguments + 1)));
    EXPECT_FALSE(encodeRequest("/bin/rm", {std::string(maximumRequestSize, 'x')}));
    EXPECT_FALSE(encodeRequest("/bin/rm", {}, std::string(maximumRequestSize, 'x')));
    EXPECT_FALSE(encodeRequest("/bin/rm", {}, "a\0b"s));
    EXPECT_FALSE(encodeRequest("/bin/rm", {std::string(2U << 20U, 'x')}));
    EXPECT_TRUE(encodeRequest("/bin/rm", std::vector<std::string>(maximumArguments)));
}

TEST(HelperProtocol, SurvivesEveryCutAndEveryChangedByteOfARequest) {
    const std::string message = *encodeRequest("/bin/mv", {"-f", "/a", "/b"}, "x");
    for (std::size_t length = 0; length <= message.size(); ++length) {
        parse(message.substr(0, length));
        parse(message.substr(length));
    }
    for (std::size_t index = 0; index < message.size(); ++index) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = message;
            changed[index] = static_cast<char>(byte);
            parse(changed);
        }
    }
}

TEST(HelperProtocol, SurvivesNoise) {
    std::minstd_rand random(20260101); // the same noise every time
    for (int round = 0; round < 20'000; ++round) {
        std::string message(random() % 600, '\0');
        for (char& character : message) {
            character = random() % 3 == 0 ? '\0' : static_cast<char>(random());
        }
        parse(message);
    }
}
