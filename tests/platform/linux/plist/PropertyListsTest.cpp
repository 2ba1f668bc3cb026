#include "platform/linux/plist/PropertyLists.h"

#include "tests/platform/linux/plist/NumbersWithComma.h"
#include "tests/support/NamedCase.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <limits>

using qf::Data;
using qf::Date;
using qf::Value;
using std::chrono::sys_days;

namespace fs = std::filesystem;

namespace {

qf::native::PropertyLists propertyLists;

Data data(std::initializer_list<int> bytes) {
    Data made;
    for (const int byte : bytes) {
        made.bytes.push_back(static_cast<std::byte>(byte));
    }
    return made;
}

Value inXml(const std::string& content) {
    return propertyLists.parse("<plist version=\"1.0\">" + content + "</plist>");
}

/// A value with every type that a property list has.
Value everything() {
    return Value::Dictionary{
        {"true", true},
        {"false", false},
        {"zero", 0},
        {"negative", -5},
        {"smallest", std::numeric_limits<std::int64_t>::min()},
        {"largest", std::numeric_limits<std::int64_t>::max()},
        {"third", 1.0 / 3},
        {"huge", 1e300},
        {"text", "<tag> & \"ümläut\" ]]> 😀"},
        {"blanks", "  first\n\tsecond  "},
        {"empty text", ""},
        {"<key> & ü", "value"},
        {"", "empty key"},
        {"data", data({0, 1, 254, 255})},
        {"empty data", Data{}},
        {"reference date", Date(sys_days{std::chrono::January / 1 / 2001})},
        {"before", Date(sys_days{std::chrono::March / 4 / 1950})},
        {"after", Date(sys_days{std::chrono::November / 16 / 2026} + std::chrono::seconds(23994))},
        {"list", Value::Array{1, "two", Value::Array{}, Value::Dictionary{{"inner", 3.5}}}},
    };
}

/// What Python makes of everything().
constexpr const char* everythingInPython = R"({
    "true": True, "false": False, "zero": 0, "negative": -5,
    "smallest": -2**63, "largest": 2**63 - 1, "third": 1.0 / 3, "huge": 1e300,
    "text": "<tag> & \"ümläut\" ]]> 😀", "blanks": "  first\n\tsecond  ", "empty text": "",
    "<key> & ü": "value", "": "empty key",
    "data": bytes([0, 1, 254, 255]), "empty data": b"",
    "reference date": datetime.datetime(2001, 1, 1), "before": datetime.datetime(1950, 3, 4),
    "after": datetime.datetime(2026, 11, 16, 6, 39, 54),
    "list": [1, "two", [], {"inner": 3.5}]})";

Outcome python(const std::string& program, const std::string& path) {
    return run({"python3", "-c",
                "import sys, plistlib, datetime\neverything = " + std::string(everythingInPython) +
                    "\n" + program,
                path},
               {"PYTHONUTF8=1"});
}

} // namespace

TEST(PropertyLists, ReadWhatTheyWrote) {
    const TemporaryDirectory directory;

    ASSERT_TRUE(propertyLists.writeAtomically(everything(), directory / "a.plist"));

    EXPECT_EQ(propertyLists.read(directory / "a.plist"), everything());
}

TEST(PropertyLists, WriteTheXmlThatTheyReturn) {
    const TemporaryDirectory directory;
    ASSERT_TRUE(propertyLists.writeAtomically(everything(), directory / "a.plist"));
    EXPECT_EQ(propertyLists.xml(everything()), contentOf(directory / "a.plist"));
    EXPECT_EQ(propertyLists.xml(Value("text")), std::nullopt);
    EXPECT_EQ(propertyLists.xml(Value(Value::Dictionary{{"none", Value()}})), std::nullopt);
}

TEST(PropertyLists, AreReadByOthers) {
    const TemporaryDirectory directory;
    ASSERT_TRUE(propertyLists.writeAtomically(everything(), directory / "a.plist"));

    const auto outcome = python("assert plistlib.load(open(sys.argv[1], 'rb')) == everything",
                                directory / "a.plist");

    EXPECT_EQ(outcome.status, 0) << outcome.output;
}

class PropertyListsOfOthers : public testing::TestWithParam<NamedText> {};

TEST_P(PropertyListsOfOthers, AreRead) {
    const TemporaryDirectory directory;
    const auto outcome = python("plistlib.dump(everything, open(sys.argv[1], 'wb'), fmt=plistlib." +
                                    GetParam().value + ")",
                                directory / "a.plist");
    ASSERT_EQ(outcome.status, 0) << outcome.output;

    EXPECT_EQ(propertyLists.read(directory / "a.plist"), everything());
}

INSTANTIATE_TEST_SUITE_P(, PropertyListsOfOthers,
                         testing::Values(NamedText{{"Xml"}, "FMT_XML"},
                                         NamedText{{"Binary"}, "FMT_BINARY"}),
                         nameOfCase);

TEST(PropertyLists, ReadEntitiesCommentsAndCharacterData) {
    EXPECT_EQ(inXml("<!-- a > b --><string>a&amp;&#252;<![CDATA[<b>]]></string>"), Value("a&ü<b>"));
}

TEST(PropertyLists, ReadAndWriteRealNumbersInEveryLanguage) {
    const TemporaryDirectory directory;
    const NumbersWithComma language;
    if (!NumbersWithComma::areHere()) {
        GTEST_SKIP() << NumbersWithComma::noLanguage;
    }
    EXPECT_EQ(inXml("<real>-1.5e3</real>"), Value(-1500.0));

    ASSERT_TRUE(propertyLists.writeAtomically(Value::Array{1.5}, directory / "a.plist"));

    EXPECT_NE(contentOf(directory / "a.plist").find("<real>1.5"), std::string::npos);
    EXPECT_EQ(propertyLists.read(directory / "a.plist"), Value(Value::Array{1.5}));
}

class NoPropertyList : public testing::TestWithParam<NamedText> {};

TEST_P(NoPropertyList, HasNoValue) {
    EXPECT_TRUE(propertyLists.parse(GetParam().value).isNone());
}

INSTANTIATE_TEST_SUITE_P(
    , NoPropertyList,
    testing::Values(NamedText{{"Empty"}, ""}, NamedText{{"Blank"}, " "},
                    NamedText{{"Garbage"}, "\xFF garbage <not"}, NamedText{{"Cut"}, "<plist>"},
                    NamedText{{"OtherMarkup"}, "<html></html>"},
                    NamedText{{"CutBinary"}, "bplist00"},
                    NamedText{{"OtherBinary"}, "bplist15xxxxxxxx"},
                    NamedText{{"OtherForm"}, "{ key = value; }"},
                    NamedText{{"BinaryGarbage"}, "bplist00" + std::string(40, '\xFF')}),
    nameOfCase);

void parseEveryTruncationAndEveryFlippedByte(const std::string& whole) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
        static_cast<void>(propertyLists.parse(std::string(whole, 0, i)));
        auto flipped = whole;
        for (const int mask : {0x01, 0x0F, 0x80, 0xFF}) {
            flipped[i] = static_cast<char>(whole[i] ^ mask);
            static_cast<void>(propertyLists.parse(flipped));
        }
    }
}

TEST(PropertyLists, SurviveEveryTruncationAndEveryFlippedByteOfXml) {
    const auto whole = propertyLists.xml(everything());
    ASSERT_TRUE(whole);
    parseEveryTruncationAndEveryFlippedByte(*whole);
    EXPECT_EQ(propertyLists.parse(*whole), everything());
}

TEST(PropertyLists, SurviveEveryTruncationAndEveryFlippedByteOfABinaryList) {
    const TemporaryDirectory directory;
    ASSERT_EQ(python("plistlib.dump(everything, open(sys.argv[1], 'wb'), fmt=plistlib.FMT_BINARY)",
                     directory / "b.plist")
                  .status,
              0);
    const auto whole = contentOf(directory / "b.plist");
    parseEveryTruncationAndEveryFlippedByte(whole);
    EXPECT_EQ(propertyLists.parse(whole), everything());
}

class ValueThatOthersCannotRead : public testing::TestWithParam<NamedValue<Value>> {};

TEST_P(ValueThatOthersCannotRead, IsNotWritten) {
    const TemporaryDirectory directory;
    const auto path = directory.write("a.plist", "former");
    const auto written = propertyLists.writeAtomically(Value::Array{GetParam().value}, path);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().localizedDescription,
              "“a.plist” couldn’t be saved because it would hold what a property list cannot "
              "express.");
    EXPECT_EQ(contentOf(path), "former");
}

INSTANTIATE_TEST_SUITE_P(
    , ValueThatOthersCannotRead,
    testing::Values(
        NamedValue<Value>{{"ZeroByte"}, Value(std::string(1, '\0'))},
        NamedValue<Value>{{"Control"}, "bell\a"}, NamedValue<Value>{{"NoText"}, "no\xFFtext"},
        NamedValue<Value>{{"NoCharacter"}, "\xEF\xBF\xBF"}, NamedValue<Value>{{"None"}, Value()},
        NamedValue<Value>{{"Object"}, Value::Object(std::make_shared<int>(1))},
        NamedValue<Value>{{"DateTooLate"}, Date(sys_days{std::chrono::January / 1 / 2100})}),
    nameOfCase);

TEST(PropertyLists, WriteNothingThatOthersCouldNotRead) {
    const TemporaryDirectory directory;
    const auto path = directory.write("a.plist", "former");
    EXPECT_FALSE(propertyLists.writeAtomically(Value::Dictionary{{"no\xFFtext", 1}}, path));
    EXPECT_FALSE(propertyLists.writeAtomically(Value("text alone"), path));
    EXPECT_EQ(contentOf(path), "former");
}

TEST(PropertyLists, WriteNothingNestedTooDeepToBeRead) {
    const TemporaryDirectory directory;
    Value nested = 1;
    for (int level = 0; level < 512; ++level) {
        nested = Value::Array{std::move(nested)};
    }
    ASSERT_TRUE(propertyLists.writeAtomically(nested, directory / "a.plist"));
    EXPECT_EQ(propertyLists.read(directory / "a.plist"), nested);

    EXPECT_FALSE(propertyLists.writeAtomically(Value::Array{nested}, directory / "a.plist"));
    EXPECT_EQ(propertyLists.read(directory / "a.plist"), nested);
}

TEST(PropertyLists, ReplaceTheFileAsAWhole) {
    const TemporaryDirectory directory;
    directory.write("old.plist", "former");
    fs::create_hard_link(directory / "old.plist", directory / "second name");
    const auto mask = ::umask(022);

    EXPECT_TRUE(propertyLists.writeAtomically(Value::Array{}, directory / "old.plist"));

    ::umask(mask);
    EXPECT_EQ(contentOf(directory / "second name"), "former");
    EXPECT_EQ(propertyLists.read(directory / "old.plist"), Value(Value::Array{}));
    EXPECT_EQ(fs::status(directory / "old.plist").permissions(), fs::perms(0644));
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 2);
}

TEST(PropertyLists, LeaveNothingBehindWhenTheyCannotBeWritten) {
    const TemporaryDirectory directory;
    directory.makeDirectory("a.plist/full");

    const auto written = propertyLists.writeAtomically(Value::Array{}, directory / "a.plist");

    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().localizedDescription,
              "“a.plist” couldn’t be saved because it is a folder.");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 1);
    EXPECT_EQ(
        propertyLists.writeAtomically(Value::Array{}, directory / "missing/a.plist").error().code,
        ENOENT);
}

TEST(PropertyLists, AreNoneWithoutAFileToRead) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
    const auto huge = directory.write("huge", "<plist><true/></plist>");
    fs::resize_file(huge, std::uintmax_t{100} * 1024 * 1024);

    EXPECT_TRUE(propertyLists.read(directory / "missing").isNone());
    EXPECT_TRUE(propertyLists.read(directory.path()).isNone());
    EXPECT_TRUE(propertyLists.read(directory / "fifo").isNone());
    EXPECT_TRUE(propertyLists.read("/dev/zero").isNone());
    EXPECT_TRUE(propertyLists.read(huge).isNone());
}
