#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>
#include <string>
#include <thread>

#include "api/text_result.h"
#include "transport/reply_destination.h"

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

// How many of the pages of [begin, begin + length) are in memory.
static size_t residentPages(const char* begin, size_t length)
{
    const size_t page = size_t(sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> resident((length + page - 1) / page);
    if (mincore(const_cast<char*>(begin), length, resident.data()) != 0)
        return size_t(-1);
    return size_t(std::count_if(resident.begin(), resident.end(), [](unsigned char r) { return r & 1; }));
}

// A large reply's memory is given back once a later text replaced it (a
// 60 MiB reply used to stay for the life of the thread); its pointer still
// reads valid text, the start of the newer one. Larger replies reuse the
// pages while they fit.
TEST(TextResult, ALargeTextsMemoryIsGivenBackAfterTheNextText)
{
    std::thread thread([] {
        const size_t page = size_t(sysconf(_SC_PAGESIZE));
        const QByteArray large(8 * 1024 * 1024, 'r');
        const char* first = textResult(large);
        ASSERT_EQ(std::strlen(first), size_t(large.size()));
        EXPECT_EQ(residentPages(first + page, size_t(large.size()) - page), size_t(large.size()) / page - 1);

        const char* small = textResult(QStringLiteral("M0"));
        EXPECT_NE(small, first);
        EXPECT_STREQ(first, "M0");
        EXPECT_EQ(residentPages(first + page, size_t(large.size()) - page), 0u) << "the pages were not given back";

        // Fits in the same pages again; then one that does not.
        EXPECT_EQ(textResult(QByteArray(4 * 1024 * 1024, 's')), first);
        const QByteArray larger(20 * 1024 * 1024, 't');
        const char* third = textResult(larger);
        EXPECT_NE(third, first);
        EXPECT_EQ(std::strlen(third), size_t(larger.size()));
        EXPECT_EQ(std::string(first), std::string(page - 1, 't')) << "cut to the page it kept";
        EXPECT_EQ(residentPages(first + page, 4 * 1024 * 1024 - page), 0u);
        EXPECT_STREQ(small, std::string(std::strlen(small), 't').c_str());
        textResult(QStringLiteral("done"));
        EXPECT_STREQ(third, "done");
        EXPECT_STREQ(first, "done");
    });
    thread.join();
}

// A large reply read into the memory the buffer offers is handed back where
// it lies: the status words an Execute answer leaves out are skipped by
// pointing past them, and once a pointer has been handed out the next reply
// is read where its text will be in place. A text that cannot be is moved to
// the block's place, so every kept pointer shows it.
TEST(TextResult, AReplyReadIntoTheOfferedMemoryIsNotCopied)
{
    std::thread thread([] {
        const QByteArray reply = "BLOB 0x00 " + QByteArray(3 * 1024 * 1024, 'v');
        auto readReply = [&](const QByteArray& bytes) {
            char* memory = vireo2::resultDestination()->reserve(bytes.size() + 1);
            EXPECT_NE(memory, nullptr);
            std::memcpy(memory, bytes.constData(), size_t(bytes.size()));
            return QByteArray::fromRawData(memory, bytes.size());
        };
        QByteArray view = readReply(reply);
        const char* executeText = textResult(view, 10);
        EXPECT_EQ(executeText, view.constData() + 10) << "no copy";
        EXPECT_EQ(std::strlen(executeText), size_t(reply.size() - 10));

        view = readReply(reply);
        EXPECT_EQ(textResult(view, 10), executeText) << "read where the text is in place";

        // The whole reply: moved the first time, then read in place.
        view = readReply(reply);
        EXPECT_EQ(textResult(view), executeText);
        view = readReply(reply);
        const char* whole = textResult(view);
        EXPECT_EQ(whole, view.constData()) << "a whole reply lands in place too";
        EXPECT_EQ(whole, executeText);
        EXPECT_EQ(std::string(whole, 20), std::string(reply.constData(), 20));

        // A text starting further in than the block's place is moved there.
        const QByteArray longerLead = QByteArray(3000, 's') + reply;
        view = readReply(longerLead);
        EXPECT_EQ(textResult(view, 3000), executeText);
        EXPECT_EQ(std::string(executeText, 20), std::string(reply.constData(), 20));
        EXPECT_EQ(std::strlen(executeText), size_t(reply.size()));

        textResult(QStringLiteral("M0"));
        EXPECT_STREQ(executeText, "M0");
    });
    thread.join();
}
