#include "platform/qt/Language.h"

#include <QCoreApplication>

namespace qf::qt {

namespace {

constexpr const char* translations = ":/translations";

bool isEnglish(const QString& language) {
    return language.section(u'-', 0, 0) == QStringLiteral("en");
}

} // namespace

Language::Language(const QStringList& languages) {
    for (auto language : languages) {
        // load() tries "de_AT.qm", then "de.qm".
        if (isEnglish(language) || translator_.load(language.replace(u'-', u'_'), translations)) {
            break;
        }
    }
    QCoreApplication::installTranslator(&translator_);
}

/// Asks the translator itself, since threads may still ask when there is no QApplication any more.
std::string Language::translated(const Translatable& text) {
    const auto translation = translator_.translate(text.context, text.english);
    return translation.isEmpty() ? text.english : translation.toStdString();
}

} // namespace qf::qt
