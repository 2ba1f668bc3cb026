#pragma once

#include "platform/Language.h"

#include <algorithm>
#include <string>

/// A language that is English in capital letters.
class UpperCaseLanguage final : public qf::Language {
public:
    std::string translated(const qf::Translatable& text) override {
        std::string capitals = text.english;
        std::ranges::transform(capitals, capitals.begin(), [](char letter) {
            return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
        });
        return capitals;
    }
};
