#include "platform/foundation/SharedDictionary.h"

#include <gtest/gtest.h>

#include <future>

using qf::SharedDictionary;
using qf::Value;

TEST(SharedDictionary, HoldsWhatWasSetLast) {
    SharedDictionary dictionary;
    dictionary.set("name", "first");
    dictionary.set("name", "second");
    dictionary.set("count", 2);

    EXPECT_EQ(dictionary["name"], Value("second"));
    EXPECT_EQ(dictionary["count"], Value(2));
    EXPECT_TRUE(dictionary["other"].isNone());
}

TEST(SharedDictionary, AnObjectThatItReleasesMayUseIt) {
    SharedDictionary dictionary;
    const auto countDown = [&dictionary](int* count) {
        dictionary.set("left", *count - 1);
        delete count;
    };
    dictionary.set("object", Value(Value::Object(new int(1), countDown)));
    dictionary.set("object", Value());
    EXPECT_EQ(dictionary["left"], Value(0));
}

TEST(SharedDictionary, ASnapshotDoesNotChange) {
    SharedDictionary dictionary;
    dictionary.set("name", "first");
    const auto before = dictionary.snapshot();
    dictionary.set("name", "second");
    EXPECT_EQ(before, (Value::Dictionary{{"name", "first"}}));
    EXPECT_EQ(dictionary.snapshot(), (Value::Dictionary{{"name", "second"}}));
}

TEST(SharedDictionary, ManyReadAndChangeItAtOnce) {
    constexpr int rounds = 500;
    SharedDictionary dictionary;
    {
        const auto writer = std::async(std::launch::async, [&] {
            for (int round = 0; round < rounds; ++round) {
                dictionary.set("list", Value::Array(2, Value(std::to_string(round))));
            }
        });
        const auto reader = std::async(std::launch::async, [&] {
            for (int round = 0; round < rounds; ++round) {
                const auto list = dictionary["list"];
                const auto* items = list.as<Value::Array>();
                EXPECT_TRUE(items == nullptr || items->at(0) == items->at(1));
                EXPECT_LE(dictionary.snapshot().size(), 1U);
            }
        });
    }
    EXPECT_EQ(dictionary["list"], Value(Value::Array(2, Value(std::to_string(rounds - 1)))));
}
