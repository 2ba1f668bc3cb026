#pragma once

#include "platform/foundation/Value.h"

#include <optional>
#include <string>

namespace qf {

/// The encodings of text, with the numbers that applications store and exchange.
enum class TextEncoding : unsigned { ascii = 1, utf8 = 4, isoLatin1 = 5 };

/// Returns the text that the bytes encode, or nullopt if they are invalid: ASCII has no byte above
/// 127, UTF-8 is that of RFC 3629. Also returns nullopt for a number that is not an encoding above.
std::optional<std::string> decodedText(const Data& data, TextEncoding encoding);

} // namespace qf
