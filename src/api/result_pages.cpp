#include "api/result_pages.h"

#include <new>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace vireo2 {

size_t ResultPages::pageSize()
{
#if defined(_WIN32)
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return size_t(info.dwPageSize);
#else
    static const size_t size = size_t(sysconf(_SC_PAGESIZE));
    return size;
#endif
}

ResultPages::ResultPages(size_t bytes)
{
    const size_t page = pageSize();
    size_ = (bytes + page - 1) / page * page;
#if defined(_WIN32)
    data_ = static_cast<char*>(VirtualAlloc(nullptr, size_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
#else
    void* mapped = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    data_ = mapped == MAP_FAILED ? nullptr : static_cast<char*>(mapped);
#endif
    if (!data_)
        throw std::bad_alloc();
}

ResultPages::~ResultPages()
{
    if (!data_)
        return;
#if defined(_WIN32)
    VirtualFree(data_, 0, MEM_RELEASE);
#else
    munmap(data_, size_);
#endif
}

ResultPages::ResultPages(ResultPages&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0))
{
}

ResultPages& ResultPages::operator=(ResultPages&& other) noexcept
{
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
}

void ResultPages::releaseAllButFirst()
{
    const size_t page = pageSize();
    if (!data_ || size_ <= page)
        return;
#if defined(_WIN32)
    VirtualFree(data_ + page, size_ - page, MEM_DECOMMIT);
#else
    // Private anonymous pages read as zeros afterwards and cost nothing
    // until written again.
    madvise(data_ + page, size_ - page, MADV_DONTNEED);
#endif
}

void ResultPages::commit()
{
#if defined(_WIN32)
    if (data_)
        VirtualAlloc(data_, size_, MEM_COMMIT, PAGE_READWRITE);
#endif
}

} // namespace vireo2
