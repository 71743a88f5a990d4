#pragma once

#include "base/result.h"
#include "sfl/symtable.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vardo {

/// A word that a configuration file uses for a number.
struct ConfWord
{
    const char* text;
    unsigned value;
};

/// One configuration file: the values of its keys, each named `section:keyword`.
///
/// Values come in quotes, plain, or plain with the escapes of a quoted value left in them: the user's
/// copy of a file has lost its quotes and nothing else. So in a plain value a `;` or `#` starts a comment
/// only behind a blank, and escapes are undone.
class ConfFile
{
  public:
    /// Longest line that save() writes: what reads the file in pieces of a fixed size never cuts one.
    static constexpr std::size_t longestLine = 1022;

    /// Reads a regular file of up to 1 MiB; nothing when that is not possible.
    static std::optional<ConfFile> read(const std::string& path);

    /// The same, but a file that does not exist is an empty one. Only what this read may be saved to
    /// the same path, lest the keys of a file that cannot be read are lost.
    static std::optional<ConfFile> readOrNew(const std::string& path);

    using Refusals = std::vector<std::string>;

    std::optional<std::string> text(std::string_view key) const;
    /// An absolute path, else `fallback`.
    std::string path(std::string_view key, const char* fallback) const;
    /// The same for where root's files go: root is led away from `fallback` only by a file that nobody else
    /// may write. `refusals` gets what does not count, for a person.
    std::string safePath(std::string_view key, const char* fallback, Refusals* refusals = nullptr) const;
    /// True when root takes no path from the file.
    bool foreign() const { return foreign_; }
    /// That the value of a key does not count, and what does.
    std::string refusal(std::string_view key, std::string_view instead) const;
    /// yes, no, on, off, true, false, 1 or 0 in any case of letters, else `fallback`.
    bool flag(std::string_view key, bool fallback) const;
    /// A decimal whole number, moved into the range; `fallback` when it is none.
    unsigned long number(std::string_view key, unsigned long least, unsigned long most,
                         unsigned long fallback) const;
    /// The number of one of `words` (the last has no text), which may also stand as that number.
    unsigned word(std::string_view key, const ConfWord* words, unsigned fallback) const;

    void set(const std::string& key, std::string_view value);
    void setFlag(const std::string& key, bool value) { set(key, value ? "yes" : "no"); }
    void setWord(const std::string& key, const ConfWord* words, unsigned value);

    /// Replaces the file at `path` as a whole. The head above its end mark stays, as do all keys of this
    /// object, as they were written. False, with the file as it was, when a line would be too long or
    /// the file cannot be replaced.
    bool save(const std::string& path) const;

  private:
    static base::Result<ConfFile> load(const std::string& path);

    struct NameLess
    {
        using is_transparent = void;
        bool operator()(std::string_view a, std::string_view b) const { return sfl::nameLess(a, b); }
    };

    std::string head_;
    std::string path_;
    bool foreign_ = false;                             ///< we are root, and somebody else may have written it
    std::map<std::string, std::string, NameLess> raw_; ///< what stands behind the `=`
};

/// True when a configuration file can hold `text`: it has no control characters.
bool isStorable(std::string_view text);

/// A configuration text without the quotes around its values, each line trimmed; a key keeps what stands
/// before its `=`, and escapes stay as they are.
std::string withoutQuotes(const std::string& text);

} // namespace vardo
