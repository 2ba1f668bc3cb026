#pragma once

#include <cstddef>
#include <string_view>

namespace platform::native {

/// The most bytes that a property list is ever meant to have, and the deepest nesting.
constexpr std::size_t largestPropertyList = std::size_t{16} * 1024 * 1024;
constexpr std::size_t deepestPropertyList = 512;

/// How a file in binary form begins.
constexpr std::string_view binaryPropertyListMagic = "bplist00";

/// Whether a property-list parser may be let loose on the bytes: they are no more than the largest
/// size, nested no deeper than the deepest level, and, in binary form, unfold to no more than the
/// largest size and never into themselves.
///
/// The test is a cheap walk over the structure, stricter than a parser: where two parsers could
/// disagree on what is markup and what is text, the answer is no, so that nothing can be hidden
/// from it. It does not tell whether the bytes are a property list.
bool isWithinLimits(std::string_view bytes);

} // namespace platform::native
