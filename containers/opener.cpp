#include "containers/opener.h"

#include "containers/archive.h"
#include "containers/deflated.h"
#include "containers/extent.h"
#include "containers/memberreading.h"
#include "containers/squashfs.h"
#include "containers/streamends.h"

#include <algorithm>

namespace containers {

namespace {

Opened openRest(Content content, std::size_t at, const Workshop& workshop)
{
    Opened opened;
    takeMember({}, workshop, opened, [&](std::span<std::byte> buffer) {
        const std::size_t count = std::min(buffer.size(), content.size() - at);
        std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(at), count, buffer.begin());
        at += count;
        return static_cast<std::ptrdiff_t>(count);
    });
    return opened;
}

} // namespace

Opened openContainer(const Container& container, Content content, const Workshop& workshop)
{
    const Content own = content.subspan(container.begin);
    if (container.format == Format::Squashfs)
        return openSquashfs(own, workshop);
    if (container.format == Format::Zlib)
        return openZlib(own, workshop);
    if (isArchive(container.format))
        return openArchive(container.format, own, workshop);
    if (container.format == Format::Attached)
        return openRest(own, 0, workshop);
    if (container.format == Format::TarRest)
        return openRest(own, extentOfTar(own).rest, workshop);
    if (container.format == Format::CpioRest)
        return openRest(own, extentOfCpio(own).rest, workshop);
    Opened opened;
    opened.failure = container.format == Format::CutShort ? Failure::CutShort : Failure::NobodyOpens;
    return opened;
}

bool isTriedByLibrary(Format format)
{
    switch (format) {
    case Format::Cab:
    case Format::Gzip:
    case Format::Rar: // with an extension that not everybody has
    case Format::Rar5:
    case Format::SevenZip:
        return true;
    default:
        return false;
    }
}

bool sawAll(const Container& container, Content content, std::size_t members, std::uint64_t bytes,
            std::uint64_t unseen)
{
    const Content own = content.subspan(container.begin);
    if (container.format == Format::Gzip)
        return lengthOfGzip(own) == (bytes & 0xffffffff) || (members == 0 && lengthOfGzip(own) <= unseen);
    return members > 0 && countArchiveMembers(container.format, own, unseen) == members;
}

} // namespace containers
