#pragma once

#include <cstddef>

namespace vireo2 {

// Memory for one large text result, taken from the system in whole pages so
// that all of it but the first page can be given back while its address
// stays valid: a host's old pointer then still reads the (short) text kept
// in the first page. Moves, never copies.
class ResultPages {
public:
    ResultPages() = default;
    explicit ResultPages(size_t bytes);
    ~ResultPages();
    ResultPages(ResultPages&& other) noexcept;
    ResultPages& operator=(ResultPages&& other) noexcept;
    ResultPages(const ResultPages&) = delete;
    ResultPages& operator=(const ResultPages&) = delete;

    char* data() const { return data_; }
    size_t size() const { return size_; }
    static size_t pageSize();

    // Gives back every page but the first; their contents are lost.
    void releaseAllButFirst();
    // Makes the whole range usable again after a release.
    void commit();

private:
    char* data_ = nullptr;
    size_t size_ = 0;
};

} // namespace vireo2
