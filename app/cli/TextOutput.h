#pragma once

#include <string_view>

namespace cli {

/// Where a person reads the result of a run.
class TextOutput {
public:
    virtual ~TextOutput() = default;

    /// Writes text that may be wrapped between words; if it begins with spaces, every line begins
    /// with as many.
    virtual void paragraph(std::string_view text) = 0;

    /// Writes one line that is never wrapped, such as a path.
    virtual void line(std::string_view text) = 0;

    /// Writes an empty line.
    virtual void gap() = 0;
};

} // namespace cli
