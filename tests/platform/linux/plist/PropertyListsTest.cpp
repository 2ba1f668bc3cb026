#include "platform/linux/plist/PropertyLists.h"

#include "tests/platform/linux/plist/NumbersWithComma.h"
#include "tests/support/RunCommand.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <limits>

using platform::Data;
using platform::Date;
using platform::Value;
using std::chrono::sys_days;

namespace fs = std::filesystem;

namespace {

platform::native::PropertyLists propertyLists;

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

TEST(PropertyLists, ReadBothFormsThatOthersWrite) {
    const TemporaryDirectory directory;
    for (const auto* form : {"FMT_XML", "FMT_BINARY"}) {
        const auto outcome =
            python(std::string("plistlib.dump(everything, open(sys.argv[1], 'wb'), "
                               "fmt=plistlib.") +
                       form + ")",
                   directory / "a.plist");
        ASSERT_EQ(outcome.status, 0) << outcome.output;

        EXPECT_EQ(propertyLists.read(directory / "a.plist"), everything()) << form;
    }
}

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

TEST(PropertyLists, AreNoneForWhatIsNone) {
    const std::string garbage = "\xFF garbage <not";
    for (const std::string& bytes :
         {std::string(), std::string(" "), garbage, std::string("<plist>"),
          std::string("<html></html>"), std::string("bplist00"), std::string("bplist15xxxxxxxx"),
          std::string("{ key = value; }"), "bplist00" + std::string(40, '\xFF')}) {
        EXPECT_TRUE(propertyLists.parse(bytes).isNone()) << bytes;
    }
}

TEST(PropertyLists, SurviveEveryTruncationAndEveryFlippedByte) {
    const TemporaryDirectory directory;
    ASSERT_EQ(python("plistlib.dump(everything, open(sys.argv[1], 'wb'), fmt=plistlib.FMT_BINARY)",
                     directory / "b.plist")
                  .status,
              0);
    ASSERT_TRUE(propertyLists.writeAtomically(everything(), directory / "a.plist"));
    for (const auto* name : {"a.plist", "b.plist"}) {
        const auto whole = contentOf(directory / name);
        for (std::size_t i = 0; i < whole.size(); ++i) {
            static_cast<void>(propertyLists.parse(std::string(whole, 0, i)));
            auto flipped = whole;
            for (const int mask : {0x01, 0x0F, 0x80, 0xFF}) {
                flipped[i] = static_cast<char>(whole[i] ^ mask);
                static_cast<void>(propertyLists.parse(flipped));
            }
        }
        EXPECT_EQ(propertyLists.parse(whole), everything());
    }
}

TEST(PropertyLists, WriteNothingThatOthersCouldNotRead) {
    const TemporaryDirectory directory;
    const auto path = directory.write("a.plist", "former");
    for (const Value& bad :
         {Value(std::string(1, '\0')), Value("bell\a"), Value("no\xFFtext"), Value("\xEF\xBF\xBF"),
          Value(), Value(Value::Object(std::make_shared<int>(1))),
          Value(Date(sys_days{std::chrono::January / 1 / 2100}))}) {
        const auto written = propertyLists.writeAtomically(Value::Array{bad}, path);
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().localizedDescription,
                  "“a.plist” couldn’t be saved because it would hold what a property list cannot "
                  "express.");
    }
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

TEST(PropertyLists, AreNoneWhereThereIsNoFileToRead) {
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
