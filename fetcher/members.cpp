#include "fetcher/members.h"

#include "base/uniquefd.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

namespace fetcher {

namespace {

constexpr std::size_t blockSize = 512; // of the head, and of a tar archive
constexpr std::size_t sizeAt = 124;
constexpr std::size_t nameLength = 100;
constexpr std::size_t sizeLength = 12;
constexpr std::size_t longestList = 1 << 20;
constexpr char licence[] = "COPYING";

using Block = std::array<char, blockSize>;

struct Close
{
    void operator()(gzFile file) const { ::gzclose(file); }
};
using File = std::unique_ptr<gzFile_s, Close>;

struct Member
{
    std::string name;
    std::size_t size = 0;
};

std::string fieldOf(const Block& block, std::size_t at, std::size_t length)
{
    const std::string_view field(block.data() + at, length);
    return std::string(field.substr(0, field.find('\0')));
}

bool readBlock(gzFile file, Block& block)
{
    return ::gzread(file, block.data(), blockSize) == static_cast<int>(blockSize);
}

/// The next member, with the reader behind its head; none at the end.
bool nextMember(gzFile file, Member& member)
{
    Block block{};
    if (!readBlock(file, block) || block[0] == '\0')
        return false;
    member.name = fieldOf(block, 0, nameLength);
    member.size = std::strtoul(fieldOf(block, sizeAt, sizeLength).c_str(), nullptr, 8);
    return true;
}

std::size_t blocksOf(std::size_t size)
{
    return (size + blockSize - 1) / blockSize;
}

bool skip(gzFile file, std::size_t blocks)
{
    Block block{};
    while (blocks > 0 && readBlock(file, block))
        --blocks;
    return blocks == 0;
}

std::string read(gzFile file, std::size_t size)
{
    std::string text(blocksOf(size) * blockSize, '\0');
    const int got = ::gzread(file, text.data(), static_cast<unsigned>(text.size()));
    text.resize(got == static_cast<int>(text.size()) ? size : 0);
    return text;
}

/// The names in the signed list: one `name:size:hash` in each line, behind a line about the database.
std::vector<std::string> listed(const std::string& list)
{
    std::vector<std::string> names;
    std::istringstream lines(list);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(':');
        const std::string name = line.substr(0, colon);
        if (colon != std::string::npos && name != "ClamAV-VDB" && name != "DSIG")
            names.push_back(name);
    }
    return names;
}

/// Opens the archive behind the head of a database. That of a CLD is not compressed: the reader takes it as
/// it is.
File openArchive(const std::string& path)
{
    base::UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file || ::lseek(file.get(), blockSize, SEEK_SET) != blockSize)
        return nullptr;
    File archive(::gzdopen(file.get(), "rb"));
    if (archive)
        static_cast<void>(file.release());
    return archive;
}

} // namespace

std::string wrongMembers(const std::string& file, const std::string& name)
{
    const File archive = openArchive(file);
    std::vector<std::string> found;
    std::vector<std::string> wanted;
    Member member;
    while (archive && nextMember(archive.get(), member)) {
        const bool isList = member.name == name + ".info" && member.size <= longestList;
        if (isList)
            wanted = listed(read(archive.get(), member.size));
        else if (!skip(archive.get(), blocksOf(member.size)))
            return "it is cut off";
        found.push_back(member.name);
    }
    if (found.size() < 2 || found[0] != licence || found[1] != name + ".info")
        return "it is another database";
    std::sort(found.begin(), found.end());
    std::sort(wanted.begin(), wanted.end());
    const bool whole =
        !wanted.empty() && std::includes(found.begin(), found.end(), wanted.begin(), wanted.end());
    return whole ? std::string() : "parts of it are missing";
}

} // namespace fetcher
