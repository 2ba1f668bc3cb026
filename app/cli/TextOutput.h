#pragma once

#include <string_view>

namespace cli {

/// Where a person reads what has become of a run.
class TextOutput {
public:
    virtual ~TextOutput() = default;

    /// Writes text that may be broken between words; the lines of one that begins with spaces begin
    /// with as many.
    virtual void paragraph(std::string_view text) = 0;

    /// Writes one line that is not broken, such as one with a path.
    virtual void line(std::string_view text) = 0;

    /// Writes an empty line.
    virtual void gap() = 0;
};

} // namespace cli
