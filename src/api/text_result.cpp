#include "api/text_result.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <new>

#include "api/result_pages.h"
#include "transport/reply_destination.h"

namespace vireo2 {

namespace {

constexpr size_t kInitialCapacity = 4096;
// Texts up to this size live in ordinary blocks that are kept; larger ones
// get pages of their own, given back after use.
constexpr size_t kLargestKeptText = 1024 * 1024;
// How far into fresh pages a large reply is read (more than the status words
// before an Execute answer take).
constexpr size_t kLandingSlack = 256;

// One block of a thread's result buffer: ordinary memory, or pages that can
// be given back. Once a pointer into it has been handed out, its text always
// starts at the same place, so that every pointer a host kept shows the
// block's newest text.
class Block {
public:
    explicit Block(size_t capacity) : heap_(new char[capacity]), capacity_(capacity) { heap_[0] = '\0'; }
    explicit Block(ResultPages pages) : pages_(std::move(pages)), capacity_(pages_.size()) {}

    char* bytes() { return heap_ ? heap_.get() : pages_.data(); }
    bool pages() const { return !heap_; }
    size_t reserved() const { return heap_ ? capacity_ : pages_.size(); }
    bool handedOut() const { return handedOut_; }
    size_t textAt() const { return textAt_; }
    bool holds(const char* utf8) { return utf8 >= bytes() && utf8 < bytes() + reserved(); }
    // Whether `size` bytes of text (and their zero) fit where this block
    // puts its text, or where they lie already in a block not handed out.
    bool fits(const char* utf8, size_t size)
    {
        const size_t at = handedOut_ ? textAt_ : holds(utf8) ? size_t(utf8 - bytes()) : 0;
        return at + size + 1 <= capacity_;
    }

    // Puts the text at the block's place (moved there if it lies elsewhere
    // in the block, copied in otherwise) and returns where it starts. The
    // first text decides the place: where it lies already, if that is near
    // the start, so that a reply read into the block is not moved.
    char* place(const char* utf8, size_t size)
    {
        if (!handedOut_) {
            const bool nearStart = holds(utf8) && size_t(utf8 - bytes()) < ResultPages::pageSize() / 2;
            textAt_ = nearStart ? size_t(utf8 - bytes()) : 0;
            handedOut_ = true;
        }
        char* text = bytes() + textAt_;
        if (text != utf8)
            std::memmove(text, utf8, size);
        text[size] = '\0';
        return text;
    }

    // An earlier pointer into this block shows as much of the newest text
    // as the block holds; the cut never splits a UTF-8 sequence.
    void showTruncated(const char* utf8, size_t size)
    {
        if (!handedOut_ || capacity_ <= textAt_)
            return;
        size_t length = std::min(size, capacity_ - textAt_ - 1);
        while (length > 0 && length < size && (uchar(utf8[length]) & 0xC0) == 0x80)
            --length;
        std::memcpy(bytes() + textAt_, utf8, length);
        bytes()[textAt_ + length] = '\0';
    }

    // Pages: all of them usable again, or all but the first given back.
    void use()
    {
        if (released_)
            pages_.commit();
        released_ = false;
        capacity_ = pages_.size();
    }
    void release()
    {
        if (!pages() || released_)
            return;
        pages_.releaseAllButFirst();
        capacity_ = std::min(capacity_, ResultPages::pageSize());
        released_ = true;
    }

private:
    std::unique_ptr<char[]> heap_;
    ResultPages pages_;
    size_t capacity_;
    size_t textAt_ = 0;
    bool handedOut_ = false;
    bool released_ = false;
};

// One thread's result buffer. A host may still hold the pointer of an earlier
// result when the next one arrives, and expects it to show the newer text. A
// text that outgrows the buffer therefore moves to a larger block while the
// earlier blocks stay allocated and keep receiving as much of each new text
// as fits: an old pointer never dangles and always reads zero-terminated text.
//
// A text beyond kLargestKeptText (a large reply) goes into its own pages.
// Once a later text has replaced it, those pages are given back to the
// system except the first one, which stays and shows the start of the newer
// text like any earlier block: the pointer still reads valid text, but the
// memory of the large reply is not kept for ever.
//
// A large reply may be read straight into the pages (reserve()); the text
// is then handed back where it lies, without a copy.
class ResultBuffer {
public:
    char* reserve(qint64 bytes)
    {
        const size_t page = ResultPages::pageSize();
        // Room for the reply, its zero, the slack and the move to the
        // block's place.
        Block& block = largeBlockFor(size_t(bytes) + 1 + page);
        // Read where the text will be in place when it starts as far into
        // the reply as the last one did (the status words an Execute answer
        // leaves out). Into a fresh block, a little way in: the first text
        // fixes the block's place, and the slack lets later replies whose
        // text starts further in still land with their text in place.
        if (!block.handedOut())
            landing_ = kLandingSlack;
        else
            landing_ = block.textAt() >= lead_ ? block.textAt() - lead_ : 0;
        // A reader of an earlier pointer never runs past the pages while the
        // reply overwrites the text it showed.
        block.bytes()[block.reserved() - 1] = '\0';
        return block.bytes() + landing_;
    }

    const char* assign(const char* utf8, size_t size)
    {
        Block& target = targetFor(utf8, size);
        if (&target == large_ && target.holds(utf8))
            lead_ = size_t(utf8 - (target.bytes() + landing_));
        char* text = target.place(utf8, size);
        // Only now, with the text in place: it may have come from them.
        for (Block& block : blocks_)
            if (&block != &target)
                block.release();
        for (Block& block : blocks_)
            if (&block != &target)
                block.showTruncated(text, size);
        return text;
    }

private:
    Block& targetFor(const char* utf8, size_t size)
    {
        const size_t needed = size + 1;
        if (needed <= kLargestKeptText)
            return smallBlockFor(needed);
        if (large_ && large_->holds(utf8) && large_->fits(utf8, size))
            return *large_;
        return largeBlockFor(needed + (large_ && large_->handedOut() ? large_->textAt() : 0));
    }

    Block& smallBlockFor(size_t needed)
    {
        if (!small_ || needed > small_->reserved()) {
            const size_t capacity =
                std::min(std::max({needed, small_ ? small_->reserved() * 2 : 0, kInitialCapacity}), kLargestKeptText);
            blocks_.emplace_back(capacity);
            small_ = &blocks_.back();
        }
        return *small_;
    }

    // The pages of the last large text when they hold this one, or new ones
    // (at least twice as many, so that growing texts map few regions). The
    // earlier pages are given back once the text is in place.
    Block& largeBlockFor(size_t needed)
    {
        if (!large_ || needed > large_->reserved()) {
            const size_t previous = large_ ? large_->reserved() : 0;
            blocks_.emplace_back(ResultPages(std::max(needed, previous * 2)));
            large_ = &blocks_.back();
            landing_ = 0;
        }
        large_->use();
        return *large_;
    }

    // A deque keeps the blocks where they are as it grows.
    std::deque<Block> blocks_;
    Block* small_ = nullptr;
    Block* large_ = nullptr;
    // Where the last reply was read into the large pages, and how far into
    // it the text handed back started.
    size_t landing_ = 0;
    size_t lead_ = 0;
};

// The buffer offered to the transport: asked on the transport's worker
// thread while the buffer's own thread waits for the exchange.
class ResultDestination final : public ReplyDestination {
public:
    explicit ResultDestination(ResultBuffer& buffer) : buffer_(buffer) {}
    char* reserve(qint64 bytes) override
    {
        try {
            return buffer_.reserve(bytes);
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }

private:
    ResultBuffer& buffer_;
};

struct ThreadResult {
    ResultBuffer buffer;
    ResultDestination destination{buffer};
};

ThreadResult& threadResult()
{
    thread_local ThreadResult result;
    return result;
}

} // namespace

const char* textResult(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    return threadResult().buffer.assign(utf8.constData(), size_t(utf8.size()));
}

const char* textResult(const QByteArray& utf8, int offset)
{
    return threadResult().buffer.assign(utf8.constData() + offset, size_t(utf8.size() - offset));
}

ReplyDestination* resultDestination()
{
    return &threadResult().destination;
}

} // namespace vireo2
