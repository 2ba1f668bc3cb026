#include "platform/foundation/Result.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

using qf::Error;
using qf::Exception;
using qf::Result;
using qf::Unexpected;

namespace {

Result<std::string> nameOf(bool isKnown) {
    if (!isKnown) {
        return Unexpected(Error{"NSPOSIXErrorDomain", ENOENT, "It doesn’t exist."});
    }
    return "Quillfen";
}

Result<void> rename(bool isAllowed) {
    if (!isAllowed) {
        return Unexpected(Error{"NSPOSIXErrorDomain", EACCES, "You don’t have permission."});
    }
    return {};
}

} // namespace

TEST(Result, HoldsTheValueOfASuccess) {
    const auto result = nameOf(true);

    EXPECT_TRUE(result);
    EXPECT_TRUE(result.ok());
    EXPECT_TRUE(result.has_value());
    EXPECT_EQ(*result, "Quillfen");
    EXPECT_EQ(result.value(), "Quillfen");
    EXPECT_EQ(result->size(), 8);
}

TEST(Result, HoldsTheErrorOfAFailure) {
    const auto result = nameOf(false);

    EXPECT_FALSE(result);
    EXPECT_FALSE(result.ok());
    EXPECT_FALSE(result.has_value());
    EXPECT_EQ(result.error().code, ENOENT);
}

TEST(Result, OfNoValueTellsSuccessFromFailure) {
    const Result<void> success = rename(true);
    const Result<void> failure = rename(false);

    EXPECT_TRUE(success);
    EXPECT_TRUE(success.ok());
    EXPECT_TRUE(success.has_value());
    EXPECT_FALSE(failure);
    EXPECT_FALSE(failure.ok());
    EXPECT_FALSE(failure.has_value());
    EXPECT_EQ(failure.error().localizedDescription, "You don’t have permission.");
}

TEST(Result, IsNeverTakenForAnotherTruthValue) {
    EXPECT_FALSE((std::is_convertible_v<Result<std::string>, bool>));
    EXPECT_FALSE((std::is_convertible_v<Result<void>, bool>));
    EXPECT_FALSE((std::is_convertible_v<Result<void>, int>));
}

TEST(Result, FallsBackOnAnotherValue) {
    EXPECT_EQ(nameOf(true).value_or("nobody"), "Quillfen");
    EXPECT_EQ(nameOf(false).value_or("nobody"), "nobody");
    const auto failure = nameOf(false);
    EXPECT_EQ(failure.value_or("nobody"), "nobody");
}

TEST(Result, RaisesAnExceptionForTheValueOfAFailure) {
    try {
        static_cast<void>(nameOf(false).value());
        FAIL() << "no exception";
    } catch (const Exception& exception) {
        EXPECT_EQ(exception.name(), "NSInternalInconsistencyException");
    }
    EXPECT_THROW(rename(false).value(), Exception);
    EXPECT_NO_THROW(rename(true).value());
}

TEST(Result, HandsOverAValueThatCannotBeCopied) {
    Result<std::unique_ptr<int>> result = std::make_unique<int>(5);

    const std::unique_ptr<int> taken = *std::move(result);

    EXPECT_EQ(*taken, 5);
}

TEST(Result, TellsAValueFromAnErrorOfTheSameType) {
    const Result<int, int> success = 5;
    const Result<int, int> failure = Unexpected(5);

    EXPECT_TRUE(success.ok());
    EXPECT_FALSE(failure.ok());
    EXPECT_EQ(failure.error(), 5);
}

TEST(Result, OfABooleanSucceedsWithEitherValue) {
    const Result<bool> result = false;

    EXPECT_TRUE(result.ok());
    EXPECT_FALSE(*result);
}
