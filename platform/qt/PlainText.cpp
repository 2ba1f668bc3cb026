#include "platform/qt/PlainText.h"

namespace qf::qt::plaintext {

namespace {

constexpr int longestUnbroken = 24;
constexpr QChar zeroWidthSpace(0x200B);

} // namespace

QString fromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString translated(const Translatable& text) {
    return fromUtf8(qf::translated(text));
}

QString withoutMnemonics(QString text) {
    return text.replace(u'&', QStringLiteral("&&"));
}

QString unformatted(const QString& text) {
    return QStringLiteral("<span>%1</span>").arg(text.toHtmlEscaped());
}

QString wrappable(const QString& text) {
    QString result;
    int unbroken = 0;
    for (const QChar unit : text) {
        if (unbroken >= longestUnbroken && !unit.isLowSurrogate() && !unit.isMark()) {
            result += zeroWidthSpace;
            unbroken = 0;
        }
        result += unit;
        unbroken = unit.isSpace() || unit == u'/' ? 0 : unbroken + 1;
    }
    return result;
}

} // namespace qf::qt::plaintext
