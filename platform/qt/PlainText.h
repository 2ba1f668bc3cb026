#pragma once

#include "platform/Language.h"

#include <QString>

#include <string_view>

/// Conversions of callers' texts for widgets, which would otherwise find mnemonics and markup in
/// them.
namespace qf::qt::plaintext {

/// Returns the text, each byte that is not UTF-8 replaced by U+FFFD.
QString fromUtf8(std::string_view text);

/// Returns the text in the person's language.
QString translated(const Translatable& text);

/// Returns the text as a button's title without an underlined letter.
QString withoutMnemonics(QString text);

/// Returns the text as a tool tip that is never interpreted as HTML.
QString unformatted(const QString& text);

/// Returns the text with invisible break opportunities in words that are longer than a line, such
/// as paths.
QString wrappable(const QString& text);

} // namespace qf::qt::plaintext
