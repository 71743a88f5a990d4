#include "containers/opener.h"

#include "containers/archive.h"
#include "containers/deflated.h"
#include "containers/squashfs.h"
#include "containers/streamends.h"

namespace containers {

Opened openContainer(const Container& container, Content content, const Workshop& workshop)
{
    const Content own = content.subspan(container.begin);
    if (container.format == Format::Squashfs)
        return openSquashfs(own, workshop);
    if (container.format == Format::Zlib)
        return openZlib(own, workshop);
    if (isArchive(container.format))
        return openArchive(container.format, own, workshop);
    Opened opened;
    opened.failure = Failure::NobodyOpens;
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
