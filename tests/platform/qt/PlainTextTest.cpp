#include "platform/qt/PlainText.h"

#include <gtest/gtest.h>

#include <string>

namespace plaintext = qf::qt::plaintext;

namespace {

const QChar breakHere(0x200B);

TEST(PlainText, ShowsBytesThatAreNoTextAsReplacements) {
    EXPECT_EQ(plaintext::fromUtf8("a\xFFz"), QStringLiteral("a\uFFFDz"));
}

TEST(PlainText, KeepsTextBehindAZeroByte) {
    EXPECT_EQ(plaintext::fromUtf8(std::string_view("a\0z", 3)).size(), 3);
}

TEST(PlainText, DoublesAmpersandsOfButtons) {
    EXPECT_EQ(plaintext::withoutMnemonics("Save & &Quit"), "Save && &&Quit");
}

TEST(PlainText, LeavesOrdinaryTextWhole) {
    const QString text = "Please check you have correct permissions for the directory.";
    EXPECT_EQ(plaintext::wrappable(text), text);
}

TEST(PlainText, BreaksLongWords) {
    const auto broken = plaintext::wrappable(QString(100, u'x'));
    EXPECT_EQ(broken.count(breakHere), 4);
    EXPECT_EQ(QString(broken).remove(breakHere), QString(100, u'x'));
}

TEST(PlainText, LeavesPathsToBreakAtTheirSlashes) {
    const QString path = "/home/someone/Library/LaunchAgents/com.quillfen.Dunmarl";
    EXPECT_FALSE(plaintext::wrappable(path).contains(breakHere));
}

TEST(PlainText, NeverBreaksACharacterOfTwoUnits) {
    const QString clef = QStringLiteral("\U0001D11E");
    const auto broken = plaintext::wrappable(QStringLiteral("x") + clef.repeated(60));
    EXPECT_TRUE(broken.contains(breakHere));
    EXPECT_FALSE(broken.contains(clef.left(1) + breakHere));
}

} // namespace
