#pragma once

#include "platform/Services.h"
#include "platform/foundation/Text.h"

#include <string>
#include <string_view>

namespace qf {

/// A text for the person that can be translated, with %1, %2 ... where values belong.
struct Translatable {
    const char* context; ///< The part of the program that shows it, for translators.
    const char* english; ///< The text itself.
};

/// Returns a text that can be translated. Both arguments are literals, since scripts/translations
/// finds the texts by the calls of this function.
constexpr Translatable translatable(const char* context, const char* english) {
    return {context, english};
}

/// The language of the person. Any thread may call every member.
class Language {
public:
    static constexpr const char* portName = "Language";
    virtual ~Language() = default;

    /// Returns the text in the person's language, or in English if there is no translation.
    virtual std::string translated(const Translatable& text) = 0;
};

/// Returns a text in the person's language, with the values in the places of %1, %2 ... The text is
/// English where no language is installed, as on the terminal. Any thread may call it.
template <class... Values>
std::string translated(const Translatable& text, const Values&... values) {
    auto* language = installedService<Language>();
    return text::filled(language == nullptr ? text.english : language->translated(text),
                        {std::string_view(values)...});
}

} // namespace qf
