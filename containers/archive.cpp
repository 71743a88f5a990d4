#include "containers/archive.h"

#include "containers/memberreading.h"
#include "containers/rar5headers.h"
#include "containers/zipdirectory.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <span>

#include <archive.h>
#include <archive_entry.h>

namespace containers {

namespace {

using Setting = int (*)(archive*);

/// How libarchive knows a format: as a kind of archive, or as a filter over a single stream.
struct Way
{
    Format format;
    Setting setting;
    int filter = ARCHIVE_FILTER_NONE;
};

constexpr Way ways[] = {
    {Format::Ar, archive_read_support_format_ar},
    {Format::Bzip2, archive_read_support_filter_bzip2, ARCHIVE_FILTER_BZIP2},
    {Format::Cab, archive_read_support_format_cab},
    {Format::Compress, archive_read_support_filter_compress, ARCHIVE_FILTER_COMPRESS},
    {Format::Gzip, archive_read_support_filter_gzip, ARCHIVE_FILTER_GZIP},
    {Format::Lha, archive_read_support_format_lha},
    {Format::Lz4, archive_read_support_filter_lz4, ARCHIVE_FILTER_LZ4},
    {Format::Lzip, archive_read_support_filter_lzip, ARCHIVE_FILTER_LZIP},
    {Format::Lzma, archive_read_support_filter_lzma, ARCHIVE_FILTER_LZMA},
    {Format::Rar, archive_read_support_format_rar},
    {Format::Rar5, archive_read_support_format_rar5},
    {Format::Rpm, archive_read_support_filter_rpm, ARCHIVE_FILTER_RPM},
    {Format::SevenZip, archive_read_support_format_7zip},
    {Format::Warc, archive_read_support_format_warc},
    {Format::Xz, archive_read_support_filter_xz, ARCHIVE_FILTER_XZ},
    {Format::Zip, archive_read_support_format_zip_seekable},
    {Format::ZipStream, archive_read_support_format_zip_streamable},
    {Format::Zstd, archive_read_support_filter_zstd, ARCHIVE_FILTER_ZSTD},
};

bool isStream(const Way& way)
{
    return way.filter != ARCHIVE_FILTER_NONE;
}

const Way* wayOf(Format format)
{
    const auto* way =
        std::find_if(std::begin(ways), std::end(ways), [&](const Way& w) { return w.format == format; });
    return way == std::end(ways) ? nullptr : way;
}

struct ArchiveDeleter
{
    void operator()(archive* opened) const { archive_read_free(opened); }
};
using ArchivePtr = std::unique_ptr<archive, ArchiveDeleter>;

/// Lets libarchive try one way. Anything but ARCHIVE_OK at a setting means that an external program would be
/// started.
ArchivePtr prepare(const Way& way)
{
    ArchivePtr archive(archive_read_new());
    const bool good = archive && way.setting(archive.get()) == ARCHIVE_OK;
    if (!good || (isStream(way) && archive_read_support_format_raw(archive.get()) != ARCHIVE_OK))
        archive.reset();
    return archive;
}

/// False when that is not the right way, or nothing can be read.
bool begin(archive* opened, const Way& way, Content content)
{
    return opened && archive_read_open_memory(opened, content.data(), content.size()) == ARCHIVE_OK &&
           (!isStream(way) || archive_filter_code(opened, 0) == way.filter);
}

/// Not a link, a directory or a device. Some archives do not tell the kind.
bool isRegular(archive_entry* entry)
{
    const auto kind = archive_entry_filetype(entry);
    return (kind == AE_IFREG || kind == 0) && !archive_entry_hardlink(entry);
}

/// libarchive calls through a bad pointer when asked this before it knows the format.
bool hasEncrypted(archive& opened)
{
    return archive_format(&opened) != 0 && archive_read_has_encrypted_entries(&opened) == 1;
}

/// What went wrong, as far as libarchive's words tell.
Failure failureOf(archive& failed)
{
    const char* text = archive_error_string(&failed);
    const std::string_view words = text ? text : "";
    const auto say = [&](std::string_view word) { return words.find(word) != words.npos; };
    if (archive_errno(&failed) == ENOMEM || say("allocate memory") || say("too much memory"))
        return Failure::NoMemory;
    if (say("runcated") || say("end of file") || say("end of data") || say("No progress"))
        return Failure::CutShort;
    return say("supported") || say("unavailable") || say("Unknown codec") ? Failure::UnknownMethod
                                                                          : Failure::Damaged;
}

class Opening
{
  public:
    Opening(const Way& way, Content content, const Workshop& workshop)
        : way_(way)
        , content_(content)
        , workshop_(workshop)
        , directory_(way.format == Format::Zip ? readZipDirectory(content) : ZipDirectory())
        , archive_(prepare(way))
    {
    }

    Opened run()
    {
        archive_entry* entry = nullptr;
        int code = ARCHIVE_FATAL;
        const bool begun = begin(archive_.get(), way_, content_);
        while (begun && isMember(code = archive_read_next_header(archive_.get(), &entry)))
            if (!takeEntry(entry))
                return std::move(opened_);
        if (code != ARCHIVE_EOF)
            fail();
        return std::move(opened_);
    }

  private:
    static bool isMember(int code) { return code == ARCHIVE_OK || code == ARCHIVE_WARN; }

    bool takeEntry(archive_entry* entry)
    {
        const char* path = isStream(way_) ? nullptr : archive_entry_pathname(entry);
        const std::string name = path ? path : "";
        if (isRegular(entry) && archive_entry_is_data_encrypted(entry)) {
            opened_.encrypted = true;
            opened_.encryptedName = name;
        } else if (isRegular(entry) && !isLibrarys(name)) {
            return takeMember(name, workshop_, opened_, [this](auto& buffer) { return read(buffer); });
        }
        if (workshop_.budget.exceeded().empty())
            return true;
        opened_.limit = workshop_.budget.exceeded();
        return false;
    }

    la_ssize_t read(std::span<std::byte> buffer)
    {
        const la_ssize_t count = archive_read_data(archive_.get(), buffer.data(), buffer.size());
        if (count < 0)
            fail();
        return count;
    }

    /// What the scanning library unpacks itself, or an object file: it looks at that as it lies there, and
    /// an object file cannot run.
    bool isLibrarys(const std::string& name) const
    {
        using namespace std::literals;
        constexpr std::uint64_t signatureLength = 8, headerLength = 60, relocatable = 1;
        // libarchive takes the signature for a part of the first header.
        const auto header = static_cast<std::uint64_t>(archive_read_header_position(archive_.get()));
        const auto at = std::max(header, signatureLength) + headerLength;
        if (way_.format == Format::Ar)
            return standsAt(content_, at,
                            "\x7f"
                            "ELF"sv) &&
                   numberAt(content_, at + 16, 2) == relocatable;
        return way_.format == Format::Zip && directory_.unpacked(name);
    }

    /// The first failure says most.
    void fail()
    {
        if (opened_.failure != Failure::None)
            return;
        if (!archive_)
            opened_.failure = Failure::Damaged;
        else if (hasEncrypted(*archive_))
            opened_.encrypted = true;
        else
            opened_.failure = failureOf(*archive_);
    }

    const Way& way_;
    Content content_;
    const Workshop& workshop_;
    ZipDirectory directory_;
    ArchivePtr archive_;
    Opened opened_;
};

} // namespace

bool isArchive(Format format)
{
    return wayOf(format) != nullptr;
}

Opened openArchive(Format format, Content content, const Workshop& workshop)
{
    if (const auto member = format == Format::Rar5 ? encryptedRar5Member(content) : std::nullopt) {
        Opened opened;
        opened.encrypted = true;
        opened.encryptedName = *member;
        return opened;
    }
    return Opening(*wayOf(format), content, workshop).run();
}

std::optional<std::size_t> countArchiveMembers(Format format, Content content, std::uint64_t larger)
{
    const ArchivePtr archive = prepare(*wayOf(format));
    const bool begun = begin(archive.get(), *wayOf(format), content);
    archive_entry* entry = nullptr;
    std::size_t count = 0;
    int code = ARCHIVE_FATAL;
    while (begun &&
           ((code = archive_read_next_header(archive.get(), &entry)) == ARCHIVE_OK || code == ARCHIVE_WARN))
        count += isRegular(entry) && static_cast<std::uint64_t>(archive_entry_size(entry)) > larger;
    return code == ARCHIVE_EOF ? std::optional(count) : std::nullopt;
}

} // namespace containers
