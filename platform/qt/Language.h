#pragma once

#include "platform/Language.h"

#include <QStringList>
#include <QTranslator>

namespace qf::qt {

/// The first of the person's languages that the program has a translation for. Translations are
/// resources of the program: ":/translations/de.qm" is the German one. Those of a country, such as
/// "de_AT.qm", come before.
class Language final : public qf::Language {
public:
    /// Has the interface files that are loaded from now on shown in the first language that has a
    /// translation, or in English if English comes before; for example "de-AT", "fr". Main thread
    /// only, after the QApplication was made.
    explicit Language(const QStringList& languages);

    std::string translated(const Translatable& text) override;

private:
    QTranslator translator_;
};

} // namespace qf::qt
