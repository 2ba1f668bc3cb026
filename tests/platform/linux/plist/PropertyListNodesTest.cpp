#include "platform/linux/plist/PropertyListNodes.h"

#include "tests/platform/linux/plist/BinaryLists.h"
#include "tests/platform/linux/plist/NumbersWithComma.h"

#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <clocale>
#include <cstdlib>

using qf::Date;
using qf::Value;
using qf::native::nodeOf;
using qf::native::NumbersWithPoint;
using qf::native::PropertyListNode;
using qf::native::valueOf;
using qf::native::xmlOf;

namespace {

/// As bits of a floating-point number.
constexpr auto tenToThe300 = std::bit_cast<std::uint64_t>(1e300);

Value nestedArrays(int levels) {
    Value value = 1;
    for (int level = 0; level < levels; ++level) {
        value = Value::Array{std::move(value)};
    }
    return value;
}

Value nestedDictionaries(int levels) {
    Value value = 1;
    for (int level = 0; level < levels; ++level) {
        Value::Dictionary outer;
        outer["key"] = std::move(value);
        value = std::move(outer);
    }
    return value;
}

TEST(PropertyListNodes, HoldAValueWithAllThatIsInIt) {
    const Value value = Value::Dictionary{{"list", Value::Array{true, -5, 1.5, "ü"}},
                                          {"data", qf::Data{{std::byte{0}, std::byte{255}}}},
                                          {"none of it", Value::Dictionary{}}};

    EXPECT_EQ(valueOf(nodeOf(value).get()), value);
}

TEST(PropertyListNodes, CountIntegersWithSixtyFourBitsAndASign) {
    const PropertyListNode largest(plist_new_uint(~std::uint64_t{0}));

    EXPECT_EQ(valueOf(largest.get()), Value(-1));
}

TEST(PropertyListNodes, KeepPartsOfASecondOnBothSidesOfTheReferenceDate) {
    using std::chrono::microseconds;
    const Date reference{std::chrono::sys_days{std::chrono::January / 1 / 2001}};
    const PropertyListNode after(plist_new_date(2, 500'000));
    const PropertyListNode before(plist_new_date(-2, 500'000));

    EXPECT_EQ(valueOf(after.get()), Value(Date(reference + microseconds(2'500'000))));
    EXPECT_EQ(valueOf(before.get()), Value(Date(reference - microseconds(1'500'000))));
}

TEST(PropertyListNodes, TellTheSecondBeforeTheReferenceDateFromTheOneAfter) {
    using std::chrono::microseconds;
    const Date reference{std::chrono::sys_days{std::chrono::January / 1 / 2001}};
    const PropertyListNode list(plist_new_array());
    plist_array_append_item(list.get(), plist_new_date(-1, 750'000));
    plist_array_append_item(list.get(), plist_new_date(0, 250'000));

    EXPECT_EQ(valueOf(list.get()), Value(Value::Array{Date(reference - microseconds(250'000)),
                                                      Date(reference + microseconds(250'000))}));
}

TEST(PropertyListNodes, HaveNoPartOfASecondBeyondWhatCanBeCounted) {
    using std::chrono::seconds;
    const auto huge = binary_lists::listOf({"\x33" + binary_lists::bigEndian(tenToThe300, 8)});
    plist_t made = nullptr;
    plist_from_bin(huge.data(), static_cast<std::uint32_t>(huge.size()), &made);
    const PropertyListNode node(made);

    const auto value = valueOf(node.get());

    const auto* date = value.as<Date>();
    ASSERT_NE(date, nullptr);
    EXPECT_EQ(*date, std::chrono::floor<seconds>(*date));
}

TEST(PropertyListNodes, AreNoneForNullAndForWhatHasNoCounterpart) {
    EXPECT_TRUE(valueOf(nullptr).isNone());
    EXPECT_FALSE(nodeOf(Value()));
    EXPECT_FALSE(nodeOf(Value::Array{Value::Object(std::make_shared<int>(1))}));
    EXPECT_FALSE(nodeOf(Value::Dictionary{{"no\xFFtext", 1}}));
    EXPECT_FALSE(nodeOf(Date(std::chrono::sys_days{std::chrono::January / 1 / 2100})));
}

TEST(PropertyListNodes, NestNoDeeperThanIsRead) {
    EXPECT_TRUE(nodeOf(nestedArrays(512)));
    EXPECT_FALSE(nodeOf(nestedArrays(513)));
    EXPECT_TRUE(nodeOf(nestedDictionaries(512)));
    EXPECT_FALSE(nodeOf(nestedDictionaries(513)));
}

TEST(PropertyListNodes, AreWrittenInXml) {
    const auto xml = xmlOf(Value::Dictionary{{"a & b", Value::Array{1, "<c>"}}});

    ASSERT_TRUE(xml);
    EXPECT_TRUE(xml->starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n")) << *xml;
    EXPECT_NE(xml->find("<key>a &amp; b</key>"), std::string::npos) << *xml;
    EXPECT_NE(xml->find("<string>&lt;c&gt;</string>"), std::string::npos) << *xml;
    EXPECT_FALSE(xmlOf("bell\a"));
}

TEST(PropertyListNodes, LeaveTheThreadsLanguageAsItWas) {
    ::uselocale(LC_GLOBAL_LOCALE);

    static_cast<void>(xmlOf(1.5));

    EXPECT_EQ(::uselocale(nullptr), LC_GLOBAL_LOCALE);
}

TEST(PropertyListNodes, HaveNumbersWithAPointInEveryLanguageOnThisThread) {
    const NumbersWithComma language;
    if (!NumbersWithComma::areHere()) {
        GTEST_SKIP() << NumbersWithComma::noLanguage;
    }
    {
        const NumbersWithPoint numbersWithPoint;
        EXPECT_EQ(std::strtod("1.5", nullptr), 1.5);
    }
    EXPECT_EQ(std::strtod("1,5", nullptr), 1.5);
}

} // namespace
