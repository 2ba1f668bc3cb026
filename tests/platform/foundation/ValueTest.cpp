#include "platform/foundation/Value.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

using qf::Value;

TEST(Value, IsNoneUntilItHoldsSomething) {
    EXPECT_TRUE(Value().isNone());
    EXPECT_FALSE(Value(false).isNone());
}

TEST(Value, HoldsOneTypeAndNoOther) {
    const Value integer(1);
    ASSERT_NE(integer.as<std::int64_t>(), nullptr);
    EXPECT_EQ(*integer.as<std::int64_t>(), 1);
    EXPECT_EQ(integer.as<bool>(), nullptr);
    EXPECT_EQ(integer.as<double>(), nullptr);
    EXPECT_NE(Value(true).as<bool>(), nullptr);
    EXPECT_NE(Value("text").as<std::string>(), nullptr);
    EXPECT_EQ(Value("1"), Value(std::string("1")));
    EXPECT_NE(Value("1"), Value(1));
}

TEST(Value, APointerIsNoBoolean) {
    EXPECT_FALSE((std::is_constructible_v<Value, int*>));
    EXPECT_FALSE((std::is_constructible_v<Value, const Value*>));
}

TEST(Value, ReturnsTheValueOfAKey) {
    const Value dictionary(Value::Dictionary{{"name", "value"}, {"list", Value::Array{1, 2}}});
    EXPECT_EQ(dictionary["name"], Value("value"));
    EXPECT_EQ(dictionary["list"].as<Value::Array>()->size(), 2U);
}

TEST(Value, ReturnsNoneForAMissingKeyAndForAnythingThatIsNoDictionary) {
    EXPECT_TRUE(Value(Value::Dictionary{})["name"].isNone());
    EXPECT_TRUE(Value("text")["name"].isNone());
    EXPECT_TRUE(Value()["a"]["b"].isNone());
}

TEST(Value, IsChangedInPlace) {
    Value dictionary(Value::Dictionary{});
    (*dictionary.as<Value::Dictionary>())["key"] = 5;
    EXPECT_EQ(dictionary["key"], Value(5));
}

TEST(Value, SharesAnObject) {
    const auto object = std::make_shared<int>(7);
    const Value value{Value::Object(object)};
    EXPECT_EQ(*value.as<Value::Object>(), object);
}
