#pragma once

#include "platform/foundation/Value.h"

#include <optional>
#include <string>

namespace platform {

/// The encodings of text that bytes may be in, by the numbers that applications store and exchange.
enum class TextEncoding : unsigned { ascii = 1, utf8 = 4, isoLatin1 = 5 };

/// The text that the bytes are in that encoding. Nothing when they are none: ASCII has no byte
/// above 127, UTF-8 is RFC 3629's. Nothing either for a number that names no encoding above.
std::optional<std::string> decodedText(const Data& data, TextEncoding encoding);

} // namespace platform
