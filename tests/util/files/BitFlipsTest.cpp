// Whatever bits a medium flips, the copy tells exactly which destinations differ and what they
// hold: a plain digest of each destination's content is the judge.

#include "tests/util/files/VerifiedCopyTest.h"

#include <random>

namespace {

class BitFlips : public VerifiedCopyTest, public testing::WithParamInterface<qf::VerificationType> {
protected:
    static constexpr int rounds = 10'000;

    std::uint64_t below(std::uint64_t bound) {
        return std::uniform_int_distribution<std::uint64_t>(0, bound - 1)(random_);
    }

    /// Mostly small, now and then of several chunks, and often right at a chunk's end.
    std::size_t size() {
        constexpr std::size_t small = 3000;
        constexpr std::size_t oneIn = 40;
        return below(oneIn) == 0 ? chunk * (1 + below(3)) + below(3) : 1 + below(small);
    }

    std::string noise(std::size_t length) {
        std::string content(length, '\0');
        for (auto& character : content) {
            character = static_cast<char>(random_());
        }
        return content;
    }

    /// A medium that flips one bit; where it is written a second time, it stays flipped.
    std::function<void(std::uint64_t, std::string&)> flipping(std::uint64_t bit) {
        constexpr std::uint64_t bitsOfByte = 8;
        return [byte = bit / bitsOfByte, mask = static_cast<char>(1U << (bit % bitsOfByte))](
                   std::uint64_t position, std::string& written) {
            if (byte >= position && byte - position < written.size()) {
                written[byte - position] = static_cast<char>(written[byte - position] ^ mask);
            }
        };
    }

private:
    std::mt19937 random_{20'261'116}; // NOLINT: the same in every run, on purpose
};

std::string nameOf(const testing::TestParamInfo<qf::VerificationType>& info) {
    return "type" + std::to_string(static_cast<int>(info.param));
}

} // namespace

TEST_P(BitFlips, AreAlwaysReportedWithTheDigestOfWhatIsThere) {
    const std::vector<std::string> paths{"/to/a", "/to/b", "/to/c"};
    for (int round = 0; round < rounds; ++round) {
        const auto content = noise(size());
        makeSource(content);
        const std::vector destinations(paths.begin(),
                                       paths.begin() + 1 + static_cast<int>(below(3)));
        const auto& flipped = destinations[below(destinations.size())];
        for (const auto& path : destinations) {
            streams.files[path].alter = nullptr;
        }
        streams.files[flipped].alter = flipping(below(content.size() * 8));

        std::vector<std::pair<std::string, qf::Value>> failures;
        qf::Value digests;
        qf::Value sourceDigest;
        auto delegate = std::make_shared<qf::FileCopyDelegate>();
        delegate->fileCopyVerificationFailed = [&](const auto& settings, const auto& file) {
            failures.emplace_back(file, (*settings)["destChecksum"]);
        };
        delegate->fileCopyFinished = [&](const auto& settings) {
            digests = (*settings)["destChecksums"];
            sourceDigest = (*settings)["sourceChecksum"];
        };
        ASSERT_TRUE(copy(destinations, GetParam(), delegate));

        qf::Value::Array expected;
        for (const auto& path : destinations) {
            expected.emplace_back(*digestOf(GetParam(), contentOf(path)));
        }
        ASSERT_FALSE(contentOf(flipped) == content);
        ASSERT_EQ(sourceDigest, qf::Value(*digestOf(GetParam(), content)));
        ASSERT_EQ(digests, qf::Value(expected));
        ASSERT_EQ(failures.size(), 1U);
        ASSERT_EQ(failures[0].first, flipped);
        ASSERT_EQ(failures[0].second, qf::Value(*digestOf(GetParam(), contentOf(flipped))));
    }
}

INSTANTIATE_TEST_SUITE_P(EveryDigest, BitFlips,
                         testing::Values(qf::VerificationType::md5, qf::VerificationType::sha1,
                                         qf::VerificationType::sha256,
                                         qf::VerificationType::sha512),
                         nameOf);
