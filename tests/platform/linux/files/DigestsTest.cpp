#include "platform/linux/files/Digests.h"

#include "tests/support/Bytes.h"
#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace {

using qf::DigestAlgorithm;
using qf::DigestContext;

class DigestsTest : public testing::Test {
private:
    qf::native::Digests digests_;
    qf::ScopedService<qf::Digests> scope_{digests_};
};

std::string hexadecimal(const DigestContext& context) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const auto byte : context.finished()) {
        text += digits[std::to_integer<std::size_t>(byte >> 4U)];
        text += digits[std::to_integer<std::size_t>(byte & std::byte{15})];
    }
    return text;
}

std::string digestOf(DigestAlgorithm algorithm, std::string_view text) {
    DigestContext context(algorithm);
    context.update(bytesOf(text));
    return hexadecimal(context);
}

/// A message of the algorithms' own publications (RFC 1321, FIPS 180) and its digest.
struct PublishedDigest : NamedCase {
    DigestAlgorithm algorithm;
    std::string message;
    const char* digest;
};

const std::string alphabets = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
const std::string longAlphabets =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnop"
    "qrsmnopqrstnopqrstu";
const std::string millionLetters(1'000'000, 'a');

std::vector<PublishedDigest> publishedDigests() {
    return {
        {{"Md5OfNothing"}, DigestAlgorithm::md5, "", "d41d8cd98f00b204e9800998ecf8427e"},
        {{"Md5OfALetter"}, DigestAlgorithm::md5, "a", "0cc175b9c0f1b6a831c399e269772661"},
        {{"Md5OfThreeLetters"}, DigestAlgorithm::md5, "abc", "900150983cd24fb0d6963f7d28e17f72"},
        {{"Md5OfWords"},
         DigestAlgorithm::md5,
         "message digest",
         "f96b697d7cb7938d525a2f31aaf161d0"},
        {{"Md5OfTheAlphabet"},
         DigestAlgorithm::md5,
         "abcdefghijklmnopqrstuvwxyz",
         "c3fcd3d76192e4007dfb496cca67e13b"},
        {{"Md5OfLettersAndDigits"},
         DigestAlgorithm::md5,
         "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {{"Md5OfDigits"},
         DigestAlgorithm::md5,
         "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        {{"Sha1OfNothing"}, DigestAlgorithm::sha1, "", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {{"Sha1OfThreeLetters"},
         DigestAlgorithm::sha1,
         "abc",
         "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {{"Sha1OfAlphabets"},
         DigestAlgorithm::sha1,
         alphabets,
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {{"Sha1OfAMillionLetters"},
         DigestAlgorithm::sha1,
         millionLetters,
         "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {{"Sha256OfNothing"},
         DigestAlgorithm::sha256,
         "",
         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {{"Sha256OfThreeLetters"},
         DigestAlgorithm::sha256,
         "abc",
         "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {{"Sha256OfAlphabets"},
         DigestAlgorithm::sha256,
         alphabets,
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {{"Sha256OfAMillionLetters"},
         DigestAlgorithm::sha256,
         millionLetters,
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        {{"Sha512OfNothing"},
         DigestAlgorithm::sha512,
         "",
         "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce47d0d13c5d85f2b0ff8318d28"
         "77eec2f63b931bd47417a81a538327af927da3e"},
        {{"Sha512OfThreeLetters"},
         DigestAlgorithm::sha512,
         "abc",
         "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a"
         "3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
        {{"Sha512OfAlphabets"},
         DigestAlgorithm::sha512,
         longAlphabets,
         "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e4900f7e4331b99dec"
         "4b5433ac7d329eeb6dd26545e96e55b874be909"},
        {{"Sha512OfAMillionLetters"},
         DigestAlgorithm::sha512,
         millionLetters,
         "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973ebde0ff244877ea60a4cb0432ce"
         "577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
    };
}

class PublishedDigestsTest : public DigestsTest,
                             public testing::WithParamInterface<PublishedDigest> {};

} // namespace

TEST_P(PublishedDigestsTest, AreReturned) {
    EXPECT_EQ(digestOf(GetParam().algorithm, GetParam().message), GetParam().digest);
}

TEST_P(PublishedDigestsTest, AreReturnedInWhateverPiecesTheBytesCome) {
    for (const std::size_t size : {1U, 63U, 64U, 65U, 65536U}) {
        DigestContext context(GetParam().algorithm);
        std::string_view rest = GetParam().message;
        if (rest.size() / size > 20'000) {
            continue;
        }
        while (!rest.empty()) {
            const auto piece = rest.substr(0, size);
            context.update(bytesOf(piece));
            rest.remove_prefix(piece.size());
        }
        EXPECT_EQ(hexadecimal(context), GetParam().digest) << size;
    }
}

INSTANTIATE_TEST_SUITE_P(All, PublishedDigestsTest, testing::ValuesIn(publishedDigests()),
                         nameOfCase);

TEST_F(DigestsTest, ACopyGoesItsOwnWay) {
    DigestContext context(DigestAlgorithm::sha256);
    context.update(bytesOf("ab"));
    DigestContext copy = context;
    context.update(bytesOf("c"));
    copy.update(bytesOf("d"));

    EXPECT_EQ(hexadecimal(context), digestOf(DigestAlgorithm::sha256, "abc"));
    EXPECT_EQ(hexadecimal(copy), digestOf(DigestAlgorithm::sha256, "abd"));

    copy = context;
    EXPECT_EQ(hexadecimal(copy), hexadecimal(context));
}

TEST_F(DigestsTest, FinishingLeavesTheContextAsItWas) {
    DigestContext context(DigestAlgorithm::md5);
    context.update(bytesOf("message "));
    EXPECT_EQ(hexadecimal(context), hexadecimal(context));
    context.update(bytesOf("digest"));
    EXPECT_EQ(hexadecimal(context), "f96b697d7cb7938d525a2f31aaf161d0");
}
