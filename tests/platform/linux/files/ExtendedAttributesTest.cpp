#include "platform/linux/files/ExtendedAttributes.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

namespace {

class ExtendedAttributesOnDisk : public testing::Test {
protected:
    void SetUp() override {
        if (!attributes.set(file, "probe", "x")) {
            GTEST_SKIP() << "the temporary folder's volume keeps no extended attributes";
        }
    }

    std::string read(const std::string& path, const std::string& name) {
        const auto result = attributes.read(path, name, buffer);
        return result ? std::string(reinterpret_cast<const char*>(buffer.data()), *result)
                      : "error " + std::to_string(result.error().code);
    }

    TemporaryDirectory directory;
    const std::string file = directory.write("file");
    qf::native::ExtendedAttributes attributes;
    std::array<std::byte, 8> buffer{};
};

} // namespace

TEST_F(ExtendedAttributesOnDisk, AValueThatIsSetIsRead) {
    EXPECT_TRUE(attributes.set(file, "com.quillfen.key", "value"));
    EXPECT_EQ(attributes.size(file, "com.quillfen.key").value(), 5U);
    EXPECT_EQ(read(file, "com.quillfen.key"), "value");
    EXPECT_TRUE(attributes.set(file, "com.quillfen.key", "other"));
    EXPECT_EQ(read(file, "com.quillfen.key"), "other");
    EXPECT_EQ(read(file, "probe"), "x");
}

TEST_F(ExtendedAttributesOnDisk, NamesAreThoseOfUsersAttributes) {
    EXPECT_EQ(qf::native::attributeName("com.quillfen.key"), "user.com.quillfen.key");
    EXPECT_EQ(::getxattr(file.c_str(), "user.probe", nullptr, 0), 1);
}

TEST_F(ExtendedAttributesOnDisk, ZerosAndEmptyValuesAreValues) {
    EXPECT_TRUE(attributes.set(file, "zero", std::string_view("a\0b", 3)));
    EXPECT_EQ(read(file, "zero"), std::string("a\0b", 3));
    EXPECT_TRUE(attributes.set(file, "empty", ""));
    EXPECT_EQ(attributes.size(file, "empty").value(), 0U);
}

TEST_F(ExtendedAttributesOnDisk, ALongerValueIsNotReadAndTheBufferStays) {
    ASSERT_TRUE(attributes.set(file, "long", "123456789"));
    buffer.fill(std::byte{7});
    EXPECT_EQ(read(file, "long"), "error " + std::to_string(ERANGE));
    EXPECT_EQ(buffer[0], std::byte{7});
    ASSERT_TRUE(attributes.set(file, "fits", "12345678"));
    EXPECT_EQ(read(file, "fits"), "12345678");
}

TEST_F(ExtendedAttributesOnDisk, WhatIsMissingHasItsErrorNumber) {
    EXPECT_EQ(attributes.size(file, "missing").error().code, ENODATA);
    EXPECT_EQ(read(file, "missing"), "error " + std::to_string(ENODATA));
    EXPECT_EQ(attributes.size(directory / "missing", "probe").error().code, ENOENT);
    EXPECT_EQ(attributes.set(directory / "missing", "probe", "x").error().code, ENOENT);
    EXPECT_EQ(attributes.set(file, std::string(256, 'x'), "x").error().code, ERANGE);
    EXPECT_EQ(attributes.set("", "probe", "x").error().code, ENOENT);
}

TEST_F(ExtendedAttributesOnDisk, LinksAreFollowed) {
    const auto link = directory / "link";
    ASSERT_EQ(::symlink(file.c_str(), link.c_str()), 0);
    EXPECT_EQ(read(link, "probe"), "x");
    EXPECT_TRUE(attributes.set(link, "probe", "y"));
    EXPECT_EQ(read(file, "probe"), "y");
}
