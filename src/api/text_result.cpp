#include "api/text_result.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>

#include "api/result_pages.h"

namespace vireo2 {

namespace {

constexpr size_t kInitialCapacity = 4096;
// Texts up to this size live in ordinary blocks that are kept; larger ones
// get pages of their own, given back after use.
constexpr size_t kLargestKeptText = 1024 * 1024;

// One thread's result buffer. A host may still hold the pointer of an earlier
// result when the next one arrives, and expects it to show the newer text. A
// text that outgrows the buffer therefore moves to a larger block while the
// earlier blocks stay allocated and keep receiving as much of each new text
// as fits: an old pointer never dangles and always reads zero-terminated text.
//
// A text beyond kLargestKeptText (a large reply) goes into its own pages.
// Once a later, smaller text has replaced it, those pages are given back to
// the system except the first one, which stays and shows the start of the
// newer text like any earlier block: the pointer still reads valid text,
// but the memory of the large reply is not kept for ever.
class ResultBuffer {
public:
    const char* assign(const char* utf8, size_t size)
    {
        const size_t needed = size + 1;
        Block* target = needed > kLargestKeptText ? &largeBlockFor(needed) : &smallBlockFor(needed);
        if (target != largeInUse_ && largeInUse_) {
            largeInUse_->release();
            largeInUse_ = nullptr;
        }
        for (Block& block : blocks_)
            if (&block != target)
                copyTruncated(utf8, size, block);
        std::memcpy(target->bytes(), utf8, size);
        target->bytes()[size] = '\0';
        return target->bytes();
    }

private:
    // Ordinary memory, or pages that can be given back.
    class Block {
    public:
        explicit Block(size_t capacity) : heap_(new char[capacity]), capacity_(capacity) { heap_[0] = '\0'; }
        explicit Block(ResultPages pages) : pages_(std::move(pages)), capacity_(pages_.size()) {}

        char* bytes() { return heap_ ? heap_.get() : pages_.data(); }
        size_t capacity() const { return capacity_; }
        bool pages() const { return !heap_; }
        size_t reserved() const { return heap_ ? capacity_ : pages_.size(); }
        void use()
        {
            pages_.commit();
            capacity_ = pages_.size();
        }
        void release()
        {
            pages_.releaseAllButFirst();
            capacity_ = std::min(capacity_, ResultPages::pageSize());
        }

    private:
        std::unique_ptr<char[]> heap_;
        ResultPages pages_;
        size_t capacity_;
    };

    Block& smallBlockFor(size_t needed)
    {
        if (!small_ || needed > small_->capacity()) {
            const size_t capacity =
                std::min(std::max({needed, small_ ? small_->capacity() * 2 : 0, kInitialCapacity}), kLargestKeptText);
            blocks_.emplace_back(capacity);
            small_ = &blocks_.back();
        }
        return *small_;
    }

    // The pages of the last large text when they hold this one, or new ones
    // (at least twice as many, so that growing texts map few regions).
    Block& largeBlockFor(size_t needed)
    {
        if (!large_ || needed > large_->reserved()) {
            if (large_)
                large_->release();
            const size_t previous = large_ ? large_->reserved() : 0;
            blocks_.emplace_back(ResultPages(std::max(needed, previous * 2)));
            large_ = &blocks_.back();
        }
        large_->use();
        largeInUse_ = large_;
        return *large_;
    }

    // The cut never splits a UTF-8 sequence.
    static void copyTruncated(const char* utf8, size_t size, Block& block)
    {
        size_t length = std::min(size, block.capacity() - 1);
        while (length > 0 && length < size && (uchar(utf8[length]) & 0xC0) == 0x80)
            --length;
        std::memcpy(block.bytes(), utf8, length);
        block.bytes()[length] = '\0';
    }

    // A deque keeps the blocks where they are as it grows.
    std::deque<Block> blocks_;
    Block* small_ = nullptr;
    Block* large_ = nullptr;
    Block* largeInUse_ = nullptr;
};

ResultBuffer& threadBuffer()
{
    thread_local ResultBuffer buffer;
    return buffer;
}

} // namespace

const char* textResult(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    return threadBuffer().assign(utf8.constData(), size_t(utf8.size()));
}

const char* textResult(const QByteArray& utf8, int offset)
{
    return threadBuffer().assign(utf8.constData() + offset, size_t(utf8.size() - offset));
}

} // namespace vireo2
