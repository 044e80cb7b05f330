#include <gtest/gtest.h>

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
