#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "api/text_result.h"

using vireo2::textResult;

TEST(TextResult, IsUtf8AndZeroTerminated)
{
    const char* text = textResult(QStringLiteral("Grün 50%"));
    EXPECT_STREQ(text, "Gr\xC3\xBCn 50%");
    EXPECT_STREQ(textResult(QString()), "");
}

TEST(TextResult, EachThreadKeepsItsOwnBuffer)
{
    const char* mine = textResult(QStringLiteral("main"));
    std::thread other([] { textResult(QStringLiteral("other thread")); });
    other.join();
    EXPECT_STREQ(mine, "main");
}

// A host that kept the first pointer reads the newest text through it, even
// when that text needed a larger buffer: the pointer never dangles.
TEST(TextResult, EarlierPointerShowsTheNextTextEvenWhenItOutgrowsTheBuffer)
{
    const char* first = textResult(QStringLiteral("M0"));
    const QString longText(10000, QLatin1Char('x'));
    const char* second = textResult(longText);
    EXPECT_STREQ(second, longText.toUtf8().constData());
    const size_t kept = std::strlen(first);
    ASSERT_GT(kept, 2u);
    EXPECT_EQ(std::string(first), std::string(kept, 'x')) << "the first pointer shows the start of the new text";

    const char* third = textResult(QStringLiteral("M3"));
    EXPECT_EQ(third, second) << "the larger buffer is reused";
    EXPECT_STREQ(first, "M3");
    EXPECT_STREQ(second, "M3");
}

TEST(TextResult, ACutThroughAnOldBufferKeepsWholeCharacters)
{
    const char* first = textResult(QStringLiteral("a"));
    // "ü" is two bytes; the old buffer's room ends inside one of them.
    const QString longText = QStringLiteral("a") + QString(6000, QChar(0x00FC));
    textResult(longText);
    const QString seen = QString::fromUtf8(first);
    EXPECT_FALSE(seen.contains(QChar::ReplacementCharacter));
    EXPECT_TRUE(longText.startsWith(seen));
    EXPECT_GT(seen.size(), 1);
}
