#include "tests/fuzz/FormatFuzzing.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

namespace {

/// What formats are made of, whole and broken.
constexpr std::array pieces{"%",        "%%",
                            "%@",       "%s",
                            "%d",       "%n",
                            "%*s",      "%999999999d",
                            "%4096",    "%.4096f",
                            "%-+ #0",   "ll",
                            "%c",       "%#x",
                            "%+.3e",    "%g",
                            "text",     "\xFF",
                            "\xE2\x82", "\n",
                            "%1$@",     "\xF0\x9F\x98\x80",
                            "%08.3F",   "%-12@"};

void fuzz(const std::string& bytes) {
    fuzzFormat(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

std::string randomBytes(std::mt19937& random, std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) {
        bytes += static_cast<char>(random());
    }
    return bytes;
}

} // namespace

TEST(FormatFuzzing, SurvivesFormatsMadeOfTheirOwnParts) {
    std::mt19937 random(20261116);
    for (int round = 0; round < 20000; ++round) {
        auto bytes = randomBytes(random, 2 + random() % 40);
        for (auto count = random() % 12; count > 0; --count) {
            bytes += pieces.at(random() % pieces.size());
        }
        fuzz(bytes);
    }
}

TEST(FormatFuzzing, SurvivesArbitraryBytes) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        fuzz(randomBytes(random, random() % 200));
    }
}

TEST(FormatFuzzing, SurvivesAMegabyteOfOnePiece) {
    for (const std::string piece : pieces) {
        std::string bytes(8, '\xFF');
        while (bytes.size() < 1000000) {
            bytes += piece;
        }
        fuzz(bytes);
    }
}
