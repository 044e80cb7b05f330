// Reading statuses and values out of instrument replies.
#include <gtest/gtest.h>

#include <QList>

#include "transport/reply_parser.h"

using vireo2::ParseStatus;
using vireo2::ResponseValue;
namespace reply = vireo2::reply;

namespace {

TEST(ParseStatus, ReadsHexadecimalStatusAfterKeyword)
{
    EXPECT_EQ(ParseStatus("MEAS 0x00"), 0);
    EXPECT_EQ(ParseStatus("MEAS 0x07"), 7);
    EXPECT_EQ(ParseStatus("CAL 0x1A OK 24"), 0x1A);
    EXPECT_EQ(ParseStatus("SCAN 0x12"), 0x12);
    EXPECT_EQ(ParseStatus("  MEAS\t 0xff"), 0xFF);
    EXPECT_EQ(ParseStatus("MEAS 0x05 500 20000"), 5);
}

TEST(ParseStatus, MinusOneWhenNoStatusIsRead)
{
    EXPECT_EQ(ParseStatus(""), -1);
    EXPECT_EQ(ParseStatus("MEAS"), -1);
    EXPECT_EQ(ParseStatus("MEAS OK"), -1);
    EXPECT_EQ(ParseStatus("MEAS 0X05"), -1);  // the "0x" is literal, lower case
    EXPECT_EQ(ParseStatus("MEAS 0x"), -1);
    EXPECT_EQ(ParseStatus(QByteArray("MEAS\0 0x05", 10)), -1);  // text ends at a zero byte
}

TEST(ParseStatus, OverlongNumberSaturatesInsteadOfWrapping)
{
    EXPECT_EQ(ParseStatus("MEAS 0x123456789ABCDEF"), -1);  // 0xFFFFFFFF
    EXPECT_EQ(ParseStatus("MEAS 0x-1"), -1);
}

TEST(ParseProgress, CountsTheFieldsRead)
{
    qint32 status = 0;
    qint32 delay = 0;
    qint32 wait = 0;
    EXPECT_EQ(reply::parseProgress("MEAS 0x05 500 20000", &status, &delay, &wait), 3);
    EXPECT_EQ(status, 5);
    EXPECT_EQ(delay, 500);
    EXPECT_EQ(wait, 20000);
    EXPECT_EQ(reply::parseProgress("MEAS 0x05 500", &status, &delay, &wait), 2);
    EXPECT_EQ(reply::parseProgress("MEAS 0x05", &status, &delay, &wait), 1);
    EXPECT_EQ(reply::parseProgress("MEAS 0x05 x 1", &status, &delay, &wait), 1);
    EXPECT_EQ(reply::parseProgress("MEAS", &status, &delay, &wait), 0);
}

TEST(UsbStatusWord, ReadsDigitsAfterPrefixAsDecimal)
{
    EXPECT_EQ(reply::decimalStatusWord(QByteArray("MEAS 0x05 500 20000").split(' ')), 5);
    EXPECT_EQ(reply::decimalStatusWord(QByteArray("MEAS 0x12").split(' ')), 12);
    EXPECT_EQ(reply::decimalStatusWord(QByteArray("MEAS 0x1A").split(' ')), 0);
    EXPECT_EQ(reply::decimalStatusWord(QByteArray("MEAS").split(' ')), 0);
}

TEST(ResponseValue, IsEverythingAfterTheSecondBlank)
{
    EXPECT_EQ(ResponseValue("CAL 0x00 OK 24"), QStringLiteral("OK 24"));
    EXPECT_EQ(ResponseValue("X 0x00  two  blanks "), QStringLiteral(" two  blanks "));
    EXPECT_EQ(ResponseValue("MEAS 0x00"), QStringLiteral("NO VALUE FOUND"));
    EXPECT_EQ(ResponseValue("MEAS 0x00 "), QStringLiteral("NO VALUE FOUND"));
    EXPECT_EQ(ResponseValue(""), QStringLiteral("NO VALUE FOUND"));
}

} // namespace
