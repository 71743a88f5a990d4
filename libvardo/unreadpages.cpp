#include "libvardo/unreadpages.h"

#include <algorithm>
#include <array>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr std::size_t pagesAtOnce = 4096;
constexpr std::size_t mostParts = 64;        // of a file that is in memory piecemeal; the rest of it stays
constexpr off_t longest = off_t{4000} << 20; // no larger file is scanned

off_t pageSize()
{
    static const off_t size = ::sysconf(_SC_PAGESIZE);
    return size;
}

} // namespace

UnreadPages::UnreadPages(int fd, off_t size)
{
    const off_t end = std::min(size, longest);
    const off_t step = pageSize() * static_cast<off_t>(pagesAtOnce);
    for (off_t from = 0; from < end && parts_.size() < mostParts; from += step)
        look(fd, from, static_cast<std::size_t>(std::min(step, end - from)));
}

void UnreadPages::look(int fd, off_t from, std::size_t length)
{
    void* const mapped = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, fd, from);
    if (mapped == MAP_FAILED)
        return;
    std::array<unsigned char, pagesAtOnce> pages;
    const bool told = ::mincore(mapped, length, pages.data()) == 0;
    ::munmap(mapped, length);
    const std::size_t count =
        (length + static_cast<std::size_t>(pageSize()) - 1) / static_cast<std::size_t>(pageSize());
    for (std::size_t page = 0; told && page < count; ++page) {
        if (!(pages[page] & 1))
            add(from + static_cast<off_t>(page) * pageSize(), pageSize());
    }
}

void UnreadPages::add(off_t from, off_t length)
{
    if (!parts_.empty() && parts_.back().first + parts_.back().second == from)
        parts_.back().second += length;
    else if (parts_.size() < mostParts)
        parts_.emplace_back(from, length);
}

void UnreadPages::drop(int fd) const
{
    for (const auto& [from, length] : parts_)
        ::posix_fadvise(fd, from, length, POSIX_FADV_DONTNEED);
}

} // namespace vardo
