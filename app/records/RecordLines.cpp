#include "app/records/RecordLines.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Text.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace records {

namespace {

constexpr std::string_view checkKey = R"(,"check":")";
constexpr std::string_view lineTail = R"("})";
constexpr std::size_t checkDigits = 16;

constexpr auto isEdited = qf::translatable("Records", "it was edited");

/// Continues an FNV-1a digest, which notices edits but is no protection from forgery: nothing in a
/// record is trusted.
std::uint64_t digest(std::uint64_t start, std::string_view text) {
    constexpr std::uint64_t offset = 0xcbf29ce484222325;
    constexpr std::uint64_t prime = 0x100000001b3;
    std::uint64_t value = start ^ offset;
    for (const char byte : text) {
        value = (value ^ static_cast<unsigned char>(byte)) * prime;
    }
    return value;
}

std::string hexadecimal(std::uint64_t value) {
    std::array<char, checkDigits + 1> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(value));
    return text.data();
}

} // namespace

void throwUnusable(const std::string& reason) {
    throw qf::Exception("QFRecordUnusable", reason);
}

std::string LineSeal::sealed(const Json& object) {
    auto line = object.dump();
    line.pop_back();
    check_ = digest(check_, line);
    return line.append(checkKey).append(hexadecimal(check_)).append(lineTail) += '\n';
}

Json LineSeal::opened(std::string_view line) {
    constexpr auto tailSize = checkKey.size() + checkDigits + lineTail.size();
    if (line.size() < tailSize || !line.ends_with(lineTail) ||
        line.substr(line.size() - tailSize, checkKey.size()) != checkKey) {
        throwUnusable(qf::translatable("Records", "it is cut short"));
    }
    const auto text = line.substr(0, line.size() - tailSize);
    check_ = digest(check_, text);
    if (line.substr(line.size() - lineTail.size() - checkDigits, checkDigits) !=
        hexadecimal(check_)) {
        throwUnusable(isEdited);
    }
    auto object = Json::parse(std::string(text) + '}', nullptr, false);
    if (!object.is_object()) {
        throwUnusable(isEdited);
    }
    return object;
}

Json jsonOf(const std::string& bytes) {
    if (qf::text::validUtf8(bytes) == bytes) {
        return bytes;
    }
    std::string digits;
    for (const char byte : bytes) {
        digits += hexadecimal(static_cast<unsigned char>(byte)).substr(checkDigits - 2);
    }
    return {{"hexadecimal", digits}};
}

std::string bytesOf(const Json& json) {
    if (json.is_string()) {
        return json.get<std::string>();
    }
    constexpr int base = 16;
    std::string bytes;
    const auto digits = json.at("hexadecimal").get<std::string>();
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const auto byte = std::string_view(digits).substr(i, 2);
        unsigned value = 0;
        const auto* const end = byte.data() + byte.size();
        if (byte.size() < 2 || std::from_chars(byte.data(), end, value, base).ptr != end) {
            throwUnusable(isEdited);
        }
        bytes += static_cast<char>(value);
    }
    return bytes;
}

std::string timestamp(qf::Date date) {
    const auto seconds = std::chrono::system_clock::to_time_t(date);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text.data();
}

} // namespace records
