#include "platform/linux/plist/PropertyListLimits.h"

#include "platform/linux/plist/PropertyLists.h"
#include "tests/platform/linux/plist/BinaryLists.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <string>

using binary_lists::arrayOf;
using binary_lists::chainOf;
using binary_lists::listOf;
using binary_lists::trueObject;
using qf::native::isWithinLimits;

namespace {

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    result.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

std::string nested(std::size_t levels) {
    return "<plist version=\"1.0\">" + repeated("<array>", levels) + repeated("</array>", levels) +
           "</plist>";
}

qf::Value parse(const std::string& bytes) {
    return qf::native::PropertyLists().parse(bytes);
}

} // namespace

TEST(PropertyListLimits, LetTheUsualFormsPass) {
    EXPECT_TRUE(isWithinLimits("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "
                               "\"-//Apple//DTD PLIST 1.0//EN\" "
                               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                               "<plist version=\"1.0\">\n<!-- > a \" comment -->\n<dict>\n"
                               "<key>a</key><array />\n<key>b</key><string>it's > \"</string>\n"
                               "</dict>\n</plist>\n"));
    EXPECT_TRUE(isWithinLimits("<?xml version='1.0' encoding='UTF-8'?><plist><true/></plist>"));
    EXPECT_TRUE(isWithinLimits(listOf({arrayOf({1, 1}), trueObject})));
}

TEST(PropertyListLimits, EndAt512Levels) {
    EXPECT_FALSE(parse(nested(512)).isNone());
    EXPECT_TRUE(parse(nested(514)).isNone());
    EXPECT_FALSE(parse(chainOf(512, 1)).isNone());
    EXPECT_TRUE(parse(chainOf(513, 1)).isNone());
}

TEST(PropertyListLimits, EndAt16Mebibytes) {
    const std::string begin = "<plist><string>";
    const std::string end = "</string></plist>";
    const std::size_t room = std::size_t{16} * 1024 * 1024 - begin.size() - end.size();

    EXPECT_FALSE(parse(begin + std::string(room, 'x') + end).isNone());
    EXPECT_TRUE(parse(begin + std::string(room + 1, 'x') + end).isNone());
}

TEST(PropertyListLimits, StopNestingThatWouldOverflowAStack) {
    EXPECT_TRUE(parse(repeated("<array>", 500000)).isNone());
    EXPECT_TRUE(parse(nested(500000)).isNone());
    EXPECT_TRUE(parse(chainOf(500000, 1)).isNone());
}

TEST(PropertyListLimits, StopListsThatUnfoldWithoutEnd) {
    EXPECT_TRUE(parse(chainOf(64, 2)).isNone());
    EXPECT_TRUE(parse(listOf({arrayOf({0})})).isNone());
}

TEST(PropertyListLimits, LetAListRepeatWhatItHolds) {
    EXPECT_FALSE(parse(chainOf(10, 2)).isNone());
}

class DeepList : public testing::TestWithParam<NamedText> {
public:
    static NamedText hiddenIn(const char* name, const std::string& begin, const std::string& end) {
        return {{name}, begin + repeated("<array>", 100000) + end};
    }
};

TEST_P(DeepList, CannotBeHiddenFromTheLimits) {
    EXPECT_FALSE(isWithinLimits(GetParam().value));
    EXPECT_TRUE(parse(GetParam().value).isNone());
}

INSTANTIATE_TEST_SUITE_P(
    , DeepList,
    testing::Values(
        DeepList::hiddenIn("DocumentTypeInQuotes", "<!DOCTYPE \"><!--\" >", "-->"),
        DeepList::hiddenIn("DocumentTypeInApostrophes", "<!DOCTYPE '><!--' >", "-->"),
        DeepList::hiddenIn("DocumentTypeWithAComment", "<!DOCTYPE plist [ <!-- ]>", "-->"),
        DeepList::hiddenIn("InstructionInQuotes", "<?x \"?><!--\" ?>", "-->"),
        DeepList::hiddenIn("InstructionInApostrophes", "<?x '?><!--' ?>", "-->"),
        DeepList::hiddenIn("InstructionWithoutName", "<?>", "?>"),
        DeepList::hiddenIn("CommentWithoutDashes", "<!-->", "-->"),
        DeepList::hiddenIn("CommentWithOneDash", "<!--->", "-->"),
        DeepList::hiddenIn("Attribute", "<plist a=\"><!--\">", "-->"),
        DeepList::hiddenIn("Text", "<plist><string><!--></string>", "<!-- -->"),
        DeepList::hiddenIn("CharacterData", "<![CDATA[", ""),
        NamedText{{"EndsOfTheList"}, "<plist>" + repeated("<array></plist>", 100000)},
        NamedText{{"EndsOfDictionaries"}, "<plist>" + repeated("<array></dict>", 100000)},
        NamedText{{"EndsThatAreNone"}, "<plist>" + repeated("<array></array/>", 100000)},
        NamedText{{"SlashesInQuotes"}, "<plist>" + repeated("<array \"/\">", 100000)}),
    nameOfCase);
