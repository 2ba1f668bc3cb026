#pragma once

#include "tests/support/RunCommand.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <clocale>
#include <string>

/// For a scope, the C library writes numbers with a comma, as many languages do.
class NumbersWithComma {
public:
    static constexpr const char* noLanguage =
        "no language with a comma in numbers: neither de_DE.UTF-8 is here nor what localedef needs "
        "to make one";

    NumbersWithComma() {
        if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr) {
            makeLanguage();
        }
    }
    ~NumbersWithComma() { std::setlocale(LC_NUMERIC, former_.c_str()); }
    NumbersWithComma(const NumbersWithComma&) = delete;
    NumbersWithComma& operator=(const NumbersWithComma&) = delete;
    NumbersWithComma(NumbersWithComma&&) = delete;
    NumbersWithComma& operator=(NumbersWithComma&&) = delete;

    static bool areHere() { return std::localeconv()->decimal_point == std::string(","); }

private:
    static void makeLanguage() {
        const TemporaryDirectory directory;
        const auto source = directory.write("source", "LC_NUMERIC\ndecimal_point \",\"\n"
                                                      "thousands_sep \".\"\ngrouping 3\n"
                                                      "END LC_NUMERIC\n");
        run({"localedef", "--force", "-i", source, directory / "comma"});
        const ScopedEnvironment languages("LOCPATH", directory.path());
        std::setlocale(LC_NUMERIC, "comma");
    }

    const std::string former_ = std::setlocale(LC_NUMERIC, nullptr);
};
