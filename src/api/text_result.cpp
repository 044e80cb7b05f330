#include "api/text_result.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace vireo2 {

namespace {

constexpr size_t kInitialCapacity = 4096;

// One thread's result buffer. A host may still hold the pointer of an earlier
// result when the next one arrives, and expects it to show the newer text. A
// text that outgrows the buffer therefore moves to a larger block while the
// earlier blocks stay allocated and keep receiving as much of each new text
// as fits: an old pointer never dangles and always reads zero-terminated text.
class ResultBuffer {
public:
    const char* assign(const QByteArray& utf8)
    {
        const size_t needed = size_t(utf8.size()) + 1;
        if (blocks_.empty() || needed > capacity_)
            grow(needed);
        for (size_t i = 0; i + 1 < blocks_.size(); ++i)
            copyTruncated(utf8, blocks_[i]);
        std::memcpy(blocks_.back().bytes.get(), utf8.constData(), needed);
        return blocks_.back().bytes.get();
    }

private:
    struct Block {
        std::unique_ptr<char[]> bytes;
        size_t capacity;
    };

    void grow(size_t needed)
    {
        capacity_ = std::max({needed, capacity_ * 2, kInitialCapacity});
        blocks_.push_back(Block{std::make_unique<char[]>(capacity_), capacity_});
    }

    // The cut never splits a UTF-8 sequence.
    static void copyTruncated(const QByteArray& utf8, Block& block)
    {
        size_t length = std::min(size_t(utf8.size()), block.capacity - 1);
        while (length > 0 && length < size_t(utf8.size()) && (uchar(utf8.at(int(length))) & 0xC0) == 0x80)
            --length;
        std::memcpy(block.bytes.get(), utf8.constData(), length);
        block.bytes[length] = '\0';
    }

    std::vector<Block> blocks_;
    size_t capacity_ = 0;
};

ResultBuffer& threadBuffer()
{
    thread_local ResultBuffer buffer;
    return buffer;
}

} // namespace

const char* textResult(const QString& text)
{
    return threadBuffer().assign(text.toUtf8());
}

const char* textResult(const QByteArray& utf8)
{
    return threadBuffer().assign(utf8);
}

} // namespace vireo2
