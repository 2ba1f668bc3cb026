#pragma once

#include <cstddef>
#include <string_view>

namespace qf::native {

/// The largest size in bytes, and the deepest nesting, of a property list.
constexpr std::size_t largestPropertyList = std::size_t{16} * 1024 * 1024;
constexpr std::size_t deepestPropertyList = 512;

/// The first bytes of a file in binary form.
constexpr std::string_view binaryPropertyListMagic = "bplist00";

/// Returns whether the bytes are safe for a property-list parser: they do not exceed the largest
/// size and the deepest nesting and, in binary form, unfold to no more than the largest size and
/// never into themselves.
///
/// The test is a cheap walk over the structure, stricter than a parser: if two parsers could
/// disagree on what is markup and what is text, it returns false, so that nothing can be hidden
/// from it. It does not check whether the bytes are a property list.
bool isWithinLimits(std::string_view bytes);

} // namespace qf::native
