#include "platform/linux/plist/PropertyListNodes.h"

#include "platform/foundation/Text.h"
#include "platform/linux/plist/PropertyListLimits.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace qf::native {

namespace {

using std::chrono::microseconds;
using std::chrono::seconds;

/// The epoch of dates in property lists: 2001-01-01 00:00:00 UTC.
constexpr Date referenceDate{std::chrono::sys_days{std::chrono::January / 1 / 2001}};

/// Returns the "C" locale, which is never freed.
locale_t pointLocale() {
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

/// Returns whether the XML form can hold the text: UTF-8 without control characters except tab and
/// line ends, and without the two noncharacters that XML excludes.
bool isExpressible(std::string_view text) {
    const auto isControl = [](char c) {
        return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
    };
    return std::none_of(text.begin(), text.end(), isControl) &&
           text.find("\xEF\xBF\xBE") == std::string_view::npos &&
           text.find("\xEF\xBF\xBF") == std::string_view::npos &&
           qf::text::validUtf8(std::string(text)) == text;
}

/// Returns whether a date is before the reference date, by the sign of its number in binary form:
/// if that is less than a second before, libplist tells only the part of the second, without a
/// sign.
bool isBeforeReferenceDate(plist_t node) {
    constexpr auto signPosition = std::string_view("bplist00").size() + 1; // After the marker.
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(node, &bytes, &length);
    const std::unique_ptr<char, decltype(&QF_PLIST_FREE)> owned(bytes, &QF_PLIST_FREE);
    return length > signPosition && (static_cast<unsigned char>(bytes[signPosition]) & 0x80U) != 0;
}

Value dateOf(plist_t node) {
    std::int32_t whole = 0;
    std::int32_t fraction = 0; // Of a second, in microseconds, away from the reference date.
    plist_get_date_val(node, &whole, &fraction);
    if (fraction < 0 || fraction >= std::micro::den) { // Of a date beyond what libplist can count.
        fraction = 0;
    }
    const bool isBefore = whole < 0 || (whole == 0 && fraction > 0 && isBeforeReferenceDate(node));
    return referenceDate + seconds(whole) + microseconds(isBefore ? -fraction : fraction);
}

Value dataOf(plist_t node) {
    std::uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(node, &length);
    Data data;
    data.bytes.resize(length);
    if (length > 0) {
        std::memcpy(data.bytes.data(), bytes, length);
    }
    return data;
}

Value stringOf(plist_t node) {
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return text == nullptr ? std::string() : std::string(text, length);
}

using Iterator = std::unique_ptr<void, decltype(&std::free)>;

Value arrayOf(plist_t node) {
    plist_array_iter created = nullptr;
    plist_array_new_iter(node, &created);
    const Iterator iterator(created, &std::free);
    Value::Array array;
    for (;;) {
        plist_t item = nullptr;
        plist_array_next_item(node, iterator.get(), &item);
        if (item == nullptr) {
            return array;
        }
        array.push_back(valueOf(item));
    }
}

Value dictionaryOf(plist_t node) {
    plist_dict_iter created = nullptr;
    plist_dict_new_iter(node, &created);
    const Iterator iterator(created, &std::free);
    Value::Dictionary dictionary;
    for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator.get(), &key, &item);
        const std::unique_ptr<char, decltype(&std::free)> owned(key, &std::free);
        if (item == nullptr || key == nullptr) {
            return dictionary;
        }
        dictionary.insert_or_assign(key, valueOf(item));
    }
}

template <class Number>
bool fits(std::int64_t number) {
    return number >= std::numeric_limits<Number>::min() &&
           number <= std::numeric_limits<Number>::max();
}

PropertyListNode node(const Value& value, std::size_t levelsLeft);

/// `make` takes an integer of either sign, as a signed or an unsigned one.
template <class Integer>
PropertyListNode integerNode(plist_t (*make)(Integer), std::int64_t number) {
    return PropertyListNode(make(static_cast<Integer>(number)));
}

PropertyListNode dateNode(Date date) {
    const auto whole = std::chrono::floor<seconds>(date - referenceDate).count();
    if (!fits<std::int32_t>(whole)) {
        return nullptr;
    }
    return PropertyListNode(plist_new_date(static_cast<std::int32_t>(whole), 0));
}

PropertyListNode dataNode(const Data& data) {
    const std::string bytes(reinterpret_cast<const char*>(data.bytes.data()), data.bytes.size());
    return PropertyListNode(plist_new_data(bytes.c_str(), bytes.size()));
}

PropertyListNode arrayNode(const Value::Array& array, std::size_t levelsLeft) {
    PropertyListNode made(plist_new_array());
    for (const auto& item : array) {
        auto child = node(item, levelsLeft);
        if (!child) {
            return nullptr;
        }
        plist_array_append_item(made.get(), child.release());
    }
    return made;
}

PropertyListNode dictionaryNode(const Value::Dictionary& dictionary, std::size_t levelsLeft) {
    PropertyListNode made(plist_new_dict());
    for (const auto& [key, item] : dictionary) {
        auto child = node(item, levelsLeft);
        if (!child || !isExpressible(key)) {
            return nullptr;
        }
        plist_dict_set_item(made.get(), key.c_str(), child.release());
    }
    return made;
}

PropertyListNode containerNode(const Value& value, std::size_t levelsLeft) {
    if (levelsLeft == 0) {
        return nullptr;
    }
    if (const auto* array = value.as<Value::Array>()) {
        return arrayNode(*array, levelsLeft - 1);
    }
    if (const auto* dictionary = value.as<Value::Dictionary>()) {
        return dictionaryNode(*dictionary, levelsLeft - 1);
    }
    return nullptr;
}

PropertyListNode node(const Value& value, std::size_t levelsLeft) {
    if (const auto* boolean = value.as<bool>()) {
        return PropertyListNode(plist_new_bool(*boolean ? 1 : 0));
    }
    if (const auto* number = value.as<std::int64_t>()) {
        return integerNode(&QF_PLIST_NEW_INTEGER, *number);
    }
    if (const auto* real = value.as<double>()) {
        return PropertyListNode(plist_new_real(*real));
    }
    if (const auto* text = value.as<std::string>()) {
        return PropertyListNode(isExpressible(*text) ? plist_new_string(text->c_str()) : nullptr);
    }
    if (const auto* data = value.as<Data>()) {
        return dataNode(*data);
    }
    if (const auto* date = value.as<Date>()) {
        return dateNode(*date);
    }
    return containerNode(value, levelsLeft);
}

} // namespace

Value valueOf(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t boolean = 0;
        plist_get_bool_val(node, &boolean);
        return boolean != 0;
    }
    case PLIST_UINT: {
        std::uint64_t number = 0;
        plist_get_uint_val(node, &number);
        return static_cast<std::int64_t>(number);
    }
    case PLIST_UID: {
        std::uint64_t number = 0;
        plist_get_uid_val(node, &number);
        return static_cast<std::int64_t>(number);
    }
    case PLIST_REAL: {
        double real = 0;
        plist_get_real_val(node, &real);
        return real;
    }
    case PLIST_STRING:
        return stringOf(node);
    case PLIST_DATE:
        return dateOf(node);
    case PLIST_DATA:
        return dataOf(node);
    case PLIST_ARRAY:
        return arrayOf(node);
    case PLIST_DICT:
        return dictionaryOf(node);
    default:
        return {};
    }
}

PropertyListNode nodeOf(const Value& value) {
    return node(value, deepestPropertyList);
}

std::optional<std::string> xmlOf(const Value& value) {
    const auto root = nodeOf(value);
    if (!root) {
        return std::nullopt;
    }
    const NumbersWithPoint numbersWithPoint;
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    const std::unique_ptr<char, decltype(&QF_PLIST_FREE)> owned(xml, &QF_PLIST_FREE);
    return owned ? std::optional(std::string(xml, length)) : std::nullopt;
}

NumbersWithPoint::NumbersWithPoint() : former_(::uselocale(pointLocale())) {
}

NumbersWithPoint::~NumbersWithPoint() {
    ::uselocale(former_);
}

} // namespace qf::native
