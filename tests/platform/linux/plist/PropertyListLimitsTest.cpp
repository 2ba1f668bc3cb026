#include "platform/linux/plist/PropertyListLimits.h"

#include "platform/linux/plist/PropertyLists.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using platform::native::isWithinLimits;

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

std::string bigEndian(std::uint64_t number, int width) {
    std::string bytes;
    for (int i = width - 1; i >= 0; --i) {
        bytes += static_cast<char>(number >> (8 * i) & 0xFF);
    }
    return bytes;
}

/// Returns a list in binary form of these objects, the first of which is the root. References in
/// them and offsets have four bytes.
std::string binary(const std::vector<std::string>& objects) {
    std::string bytes = "bplist00";
    std::string table;
    for (const auto& object : objects) {
        table += bigEndian(bytes.size(), 4);
        bytes += object;
    }
    const auto tableOffset = bytes.size();
    return bytes + table + std::string(6, '\0') + "\x04\x04" + bigEndian(objects.size(), 8) +
           bigEndian(0, 8) + bigEndian(tableOffset, 8);
}

std::string arrayOf(const std::vector<std::uint64_t>& references) {
    std::string bytes(1, static_cast<char>(0xA0 + references.size()));
    for (const auto reference : references) {
        bytes += bigEndian(reference, 4);
    }
    return bytes;
}

const std::string trueObject = "\x09";

/// Returns nested arrays, each of which refers to the next one `width` times.
std::string binaryChain(std::size_t levels, std::size_t width) {
    std::vector<std::string> objects;
    for (std::size_t level = 0; level < levels; ++level) {
        objects.push_back(arrayOf(std::vector<std::uint64_t>(width, level + 1)));
    }
    objects.push_back(trueObject);
    return binary(objects);
}

platform::Value parse(const std::string& bytes) {
    return platform::native::PropertyLists().parse(bytes);
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
    EXPECT_TRUE(isWithinLimits(binary({arrayOf({1, 1}), trueObject})));
}

TEST(PropertyListLimits, EndAt512Levels) {
    EXPECT_FALSE(parse(nested(512)).isNone());
    EXPECT_TRUE(parse(nested(514)).isNone());
    EXPECT_FALSE(parse(binaryChain(512, 1)).isNone());
    EXPECT_TRUE(parse(binaryChain(513, 1)).isNone());
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
    EXPECT_TRUE(parse(binaryChain(500000, 1)).isNone());
}

TEST(PropertyListLimits, StopListsThatUnfoldWithoutEnd) {
    EXPECT_TRUE(parse(binaryChain(64, 2)).isNone());
    EXPECT_TRUE(parse(binary({arrayOf({0})})).isNone());
    EXPECT_TRUE(parse(binary({arrayOf({1}), arrayOf({2}), arrayOf({1})})).isNone());
}

TEST(PropertyListLimits, LetAListRepeatWhatItHolds) {
    EXPECT_FALSE(parse(binaryChain(10, 2)).isNone());
}

TEST(PropertyListLimits, CannotBeHiddenFrom) {
    const auto deep = repeated("<array>", 100000);
    for (const std::string& hiding :
         {"<!DOCTYPE \"><!--\" >" + deep + "-->", "<!DOCTYPE '><!--' >" + deep + "-->",
          "<!DOCTYPE plist [ <!-- ]>" + deep + "-->", "<?x \"?><!--\" ?>" + deep + "-->",
          "<?x '?><!--' ?>" + deep + "-->", "<?>" + deep + "?>", "<!-->" + deep + "-->",
          "<!--->" + deep + "-->", "<plist a=\"><!--\">" + deep + "-->",
          "<plist><string><!--></string>" + deep + "<!-- -->",
          "<plist>" + repeated("<array></plist>", 100000),
          "<plist>" + repeated("<array></dict>", 100000),
          "<plist>" + repeated("<array></array/>", 100000),
          "<plist>" + repeated("<array \"/\">", 100000), "<![CDATA[" + deep}) {
        EXPECT_FALSE(isWithinLimits(hiding)) << hiding.substr(0, 60);
        EXPECT_TRUE(parse(hiding).isNone());
    }
}

TEST(PropertyListLimits, RefuseTextWithTheCharacterZero) {
    EXPECT_TRUE(isWithinLimits(binary({"\x51"
                                       "a"})));
    EXPECT_TRUE(isWithinLimits(binary({std::string("\x62\0a\1\0", 5)})));
    EXPECT_FALSE(isWithinLimits(binary({std::string("\x51\0", 2)})));
    EXPECT_FALSE(isWithinLimits(binary({std::string("\x62\0a\0\0", 5)})));
}

TEST(PropertyListLimits, RefuseBinaryListsThatPointOutside) {
    const auto good = binary({arrayOf({1}), trueObject});
    const auto trailer = good.size() - 32;
    const auto with = [&](std::size_t position, const std::string& bytes) {
        auto changed = good;
        return changed.replace(position, bytes.size(), bytes);
    };
    EXPECT_TRUE(isWithinLimits(good));
    EXPECT_FALSE(isWithinLimits(with(trailer + 6, std::string(1, '\0'))));
    EXPECT_FALSE(isWithinLimits(with(trailer + 6, "\x09")));
    EXPECT_FALSE(isWithinLimits(with(trailer + 7, std::string(1, '\0'))));
    EXPECT_FALSE(isWithinLimits(with(trailer + 8, std::string(8, '\xFF'))));
    EXPECT_FALSE(isWithinLimits(with(trailer + 16, bigEndian(2, 8))));
    EXPECT_FALSE(isWithinLimits(with(trailer + 24, std::string(8, '\xFF'))));
    EXPECT_FALSE(isWithinLimits(binary({arrayOf({2}), trueObject})));
    EXPECT_FALSE(isWithinLimits(binary({std::string("\xAF\x13") + std::string(8, '\xFF')})));
    EXPECT_FALSE(isWithinLimits(binary({std::string("\x4F\x14") + std::string(16, '\x01')})));
    EXPECT_FALSE(isWithinLimits(binary({"\x5E"})));
    EXPECT_FALSE(isWithinLimits(binary({"\xC1"})));
}
