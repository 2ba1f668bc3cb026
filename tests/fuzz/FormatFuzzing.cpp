#include "tests/fuzz/FormatFuzzing.h"

#include "platform/foundation/Format.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t mostForOneArgument = 24576;

/// Takes values off the front of the bytes.
class Source {
public:
    explicit Source(std::string_view bytes) : bytes_(bytes) {}

    template <class Number>
    Number number() {
        Number value{};
        const auto size = std::min(sizeof(value), bytes_.size());
        std::memcpy(&value, bytes_.data(), size);
        bytes_.remove_prefix(size);
        return value;
    }
    std::string_view text() { return take(number<std::uint8_t>()); }
    std::string_view rest() const { return bytes_; }

private:
    std::string_view take(std::size_t size) {
        const auto taken = bytes_.substr(0, size);
        bytes_.remove_prefix(taken.size());
        return taken;
    }

    std::string_view bytes_;
};

qf::FormatArgument argument(unsigned type, Source& source) {
    switch (type % 8) {
    case 0:
        return source.number<std::int64_t>();
    case 1:
        return source.number<std::uint64_t>();
    case 2:
        return source.number<double>();
    case 3:
        return source.number<std::int8_t>();
    case 4:
        return std::nullopt;
    default:
        return source.text();
    }
}

std::size_t lengthOf(const qf::FormatArgument& argument) {
    const auto* text = std::get_if<std::string_view>(&argument.content());
    return mostForOneArgument + (text != nullptr ? text->size() : 0);
}

} // namespace

void fuzzFormat(const std::uint8_t* bytes, std::size_t size) {
    Source source({reinterpret_cast<const char*>(bytes), size});
    const auto types = source.number<std::uint16_t>();
    const auto first = argument(types, source);
    const auto second = argument(types >> 3U, source);
    const auto third = argument(types >> 6U, source);
    const auto fourth = argument(types >> 9U, source);
    const auto format = source.rest();

    const auto result = qf::format(format, {first, second, third, fourth});
    const auto longest =
        format.size() + lengthOf(first) + lengthOf(second) + lengthOf(third) + lengthOf(fourth);
    if (result.size() > longest) {
        std::abort();
    }
    if (qf::text::utf16Length(result) > result.size() ||
        qf::text::trimmed(result).size() > result.size() ||
        qf::text::printable(result).size() > 4 * result.size()) {
        std::abort();
    }
}
