#include "containers/rar5headers.h"

#include <algorithm>

namespace containers {

namespace {

constexpr std::size_t signatureLength = 8;
constexpr unsigned maxHeaders = 1'000'000;

enum Type : std::uint64_t { File = 2, Encryption = 4, End = 5 };
enum Flags : std::uint64_t { HasExtra = 1, HasData = 2 };
enum FileFlags : std::uint64_t { HasTime = 2, HasChecksum = 4 };

/// Reads numbers of seven bits a byte, the lowest first.
class Cursor
{
  public:
    Cursor(Content content, std::uint64_t at)
        : content_(content)
        , at_(at)
    {
    }
    std::uint64_t number()
    {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 63; shift += 7) {
            const auto byte = numberAt(content_, at_++, 1);
            value |= (byte & 0x7f) << shift;
            if ((byte & 0x80) == 0)
                break;
        }
        return value;
    }
    void skip(std::uint64_t count) { at_ += count; }
    std::uint64_t at() const { return at_; }

  private:
    Content content_;
    std::uint64_t at_;
};

bool hasEncryptionRecord(Content extra)
{
    for (Cursor cursor(extra, 0); cursor.at() < extra.size();) {
        const auto length = cursor.number();
        const auto end = cursor.at() + length;
        if (cursor.number() == 1)
            return true;
        if (length == 0 || length > extra.size() || end > extra.size())
            break;
        cursor = Cursor(extra, end);
    }
    return false;
}

std::string nameOf(Content header, Cursor cursor)
{
    const auto flags = cursor.number();
    cursor.number(); // size
    cursor.number(); // attributes
    cursor.skip((flags & HasTime ? 4 : 0) + (flags & HasChecksum ? 4 : 0));
    cursor.number(); // compression
    cursor.number(); // system
    const auto length = cursor.number();
    return std::string(textOf(header).substr(std::min<std::uint64_t>(cursor.at(), header.size()), length));
}

} // namespace

std::optional<std::string> encryptedRar5Member(Content content)
{
    std::uint64_t at = signatureLength;
    for (unsigned i = 0; i < maxHeaders && at + 4 < content.size(); ++i) {
        Cursor cursor(content, at + 4); // behind the checksum
        const auto length = cursor.number();
        const auto end = cursor.at() + length;
        if (length == 0 || length > content.size() || end > content.size())
            break;
        const Content header = content.first(end);
        const auto type = cursor.number(), flags = cursor.number();
        const auto extra = flags & HasExtra ? cursor.number() : 0,
                   data = flags & HasData ? cursor.number() : 0;
        if (type == Encryption)
            return std::string();
        if (type == File && extra <= length && hasEncryptionRecord(header.last(extra)))
            return nameOf(header, cursor);
        if (type == End || data > content.size())
            break;
        at = end + data;
    }
    return std::nullopt;
}

} // namespace containers
