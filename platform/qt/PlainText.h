#pragma once

#include <QString>

#include <string_view>

/// Callers' texts on their way into widgets, which would otherwise find mnemonics and markup in
/// them.
namespace platform::qt::plaintext {

/// The text, each byte that is no UTF-8 replaced by U+FFFD.
QString fromUtf8(std::string_view text);

/// The text as a button's title that underlines no letter.
QString withoutMnemonics(QString text);

/// The text as a tool tip, which would otherwise be taken for HTML when it looks like it.
QString unformatted(const QString& text);

/// The text with invisible places to break in its words that are longer than a line may be, such as
/// paths.
QString wrappable(const QString& text);

} // namespace platform::qt::plaintext
