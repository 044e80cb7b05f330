// Reading statuses and values out of instrument replies.
#include <gtest/gtest.h>

#include "transport/reply_parser.h"

using vireo2::ParseStatus;
using vireo2::ResponseValue;

namespace {

TEST(ParseStatus, ReadsHexAfterTheKeywordOrGivesMinusOne)
{
    const std::pair<QByteArray, qint32> cases[] = {
        {"MEAS 0x07", 7},
        {"CAL 0x1A OK 24", 0x1A},
        {"  MEAS\t 0xff", 0xFF},
        {"MEAS 0x05 500 20000", 5},
        {"", -1},
        {"MEAS OK", -1},
        {"MEAS 0X05", -1},  // the "0x" is literal, lower case
        {"MEAS 0x", -1},
        {QByteArray("MEAS\0 0x05", 10), -1},  // the text ends at a zero byte
        {"MEAS 0x123456789ABCDEF", -1},        // saturates instead of wrapping
    };
    for (const auto& [text, status] : cases)
        EXPECT_EQ(ParseStatus(text), status) << text.constData();
}

TEST(ResponseValue, IsEverythingAfterTheSecondBlank)
{
    const std::pair<QByteArray, const char*> cases[] = {
        {"CAL 0x00 OK 24", "OK 24"},
        {"X 0x00  two  blanks ", " two  blanks "},
        {"MEAS 0x00", "NO VALUE FOUND"},
        {"MEAS 0x00 ", "NO VALUE FOUND"},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(ResponseValue(text), QString::fromUtf8(value)) << text.constData();
}

} // namespace
