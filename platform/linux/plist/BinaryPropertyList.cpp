#include "platform/linux/plist/BinaryPropertyList.h"

#include <algorithm>

namespace qf::native {

namespace {

constexpr std::uint64_t trailerSize = 32;
constexpr std::uint64_t widestNumber = 8;

/// The least that an object counts for: a parser's memory for one is more than its bytes.
constexpr std::uint64_t leastObjectSize = 16;

/// The kinds of object, as encoded in the upper half of the first byte.
enum Kind : unsigned {
    singleton = 0x0,
    integer = 0x1,
    real = 0x2,
    date = 0x3,
    data = 0x4,
    text = 0x5,
    utf16Text = 0x6,
    identifier = 0x8,
    array = 0xA,
    dictionary = 0xD,
};

/// Returns whether text contains a zero character, which may confuse a parser that terminates texts
/// with one.
bool holdsZero(unsigned kind, std::string_view bytes) {
    if (kind == text) {
        return bytes.find('\0') != std::string_view::npos;
    }
    for (std::size_t i = 0; kind == utf16Text && i < bytes.size(); i += 2) {
        if (bytes[i] == '\0' && bytes[i + 1] == '\0') {
            return true;
        }
    }
    return false;
}

} // namespace

bool BinaryPropertyList::unfoldsWithin(const Limits& limits) {
    limits_ = limits;
    return readTrailer() && measure(root_);
}

bool BinaryPropertyList::readTrailer() {
    if (bytes_.size() < trailerSize) {
        return false;
    }
    const std::uint64_t trailer = bytes_.size() - trailerSize;
    offsetWidth_ = numberAt(trailer + 6, 1);
    referenceWidth_ = numberAt(trailer + 7, 1);
    const auto objectCount = numberAt(trailer + 8, 8);
    root_ = numberAt(trailer + 16, 8);
    tableOffset_ = numberAt(trailer + 24, 8);
    const auto isWidth = [](std::uint64_t width) { return width >= 1 && width <= widestNumber; };
    if (!isWidth(offsetWidth_) || !isWidth(referenceWidth_) || tableOffset_ > trailer ||
        objectCount > (trailer - tableOffset_) / offsetWidth_ ||
        objectCount > limits_.size / leastObjectSize) {
        return false;
    }
    extents_.assign(objectCount, {});
    return true;
}

std::optional<BinaryPropertyList::Object> BinaryPropertyList::object(std::uint64_t number) const {
    auto offset = numberAt(tableOffset_ + number * offsetWidth_, offsetWidth_);
    if (!holds(offset, 1)) {
        return std::nullopt;
    }
    const auto marker = numberAt(offset++, 1);
    const std::uint64_t detail = marker & 0xFU;
    std::uint64_t size = 0; ///< For an object without references.
    switch (const auto kind = static_cast<unsigned>(marker >> 4U)) {
    case singleton:
        break;
    case integer:
    case real:
    case date:
        size = 1ULL << detail;
        break;
    case identifier:
        size = detail + 1;
        break;
    case data:
    case text:
    case utf16Text:
    case array:
    case dictionary:
        return countedObject(kind, detail, offset);
    default:
        return std::nullopt;
    }
    return holds(offset, size) ? std::optional(Object{leastObjectSize}) : std::nullopt;
}

std::optional<BinaryPropertyList::Object>
BinaryPropertyList::countedObject(unsigned kind, std::uint64_t count, std::uint64_t offset) const {
    if (count == 0xF) { // The count is too large for the marker and follows as an integer.
        const auto marker = holds(offset, 1) ? numberAt(offset++, 1) : 0;
        const std::uint64_t width = 1ULL << (marker & 0xFU);
        if (marker >> 4U != integer || width > widestNumber || !holds(offset, width)) {
            return std::nullopt;
        }
        count = numberAt(offset, width);
        offset += width;
    }
    if (count > bytes_.size()) {
        return std::nullopt;
    }
    count *= kind == utf16Text || kind == dictionary ? 2 : 1;
    const bool isContainer = kind == array || kind == dictionary;
    const auto size = count * (isContainer ? referenceWidth_ : 1);
    if (!holds(offset, size) || holdsZero(kind, bytes_.substr(offset, size))) {
        return std::nullopt;
    }
    return Object{leastObjectSize + count, offset, isContainer ? count : 0, isContainer};
}

bool BinaryPropertyList::measure(std::uint64_t number) {
    if (number >= extents_.size()) {
        return false;
    }
    Extent& extent = extents_[number];
    if (extent.size != 0) {
        return !extent.isOpen && level_ + extent.levels <= limits_.levels;
    }
    const auto found = object(number);
    if (!found || level_ + (found->isContainer ? 1 : 0) > limits_.levels) {
        return false;
    }
    extent = {found->size, found->isContainer ? std::size_t{1} : 0, true};
    ++level_;
    const bool measured = measureReferences(*found, extent);
    --level_;
    extent.isOpen = false;
    return measured;
}

bool BinaryPropertyList::measureReferences(const Object& object, Extent& extent) {
    for (std::uint64_t i = 0; i < object.referenceCount; ++i) {
        const auto child = numberAt(object.references + i * referenceWidth_, referenceWidth_);
        if (!measure(child)) {
            return false;
        }
        extent.size += extents_[child].size;
        extent.levels = std::max(extent.levels, extents_[child].levels + 1);
        if (extent.size > limits_.size) {
            return false;
        }
    }
    return extent.size <= limits_.size;
}

std::uint64_t BinaryPropertyList::numberAt(std::uint64_t offset, std::uint64_t width) const {
    std::uint64_t number = 0;
    for (const char byte : bytes_.substr(offset, width)) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

} // namespace qf::native
