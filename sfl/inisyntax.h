#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The pieces of the syntax of ini files, for readers with needs of their own.
namespace sfl {

inline constexpr std::size_t lineLimit = 1024;
inline constexpr std::string_view endMark = "#*END";

/// Divides a text into lines: at most lineLimit characters, the rest of a longer one being the next
/// line; tabs widened with blanks to multiples of 8; carriage returns and NULs dropped; the text ends at a
/// Ctrl-Z.
class LineReader
{
  public:
    explicit LineReader(std::string_view text)
        : text_(text)
    {
    }

    /// False at the end of the text.
    bool next(std::string& line);
    bool sawCarriageReturn() const { return carriageReturn_; }
    /// Where in the text the next line begins.
    std::size_t position() const { return at_; }

  private:
    std::string_view text_;
    std::size_t at_ = 0;
    bool carriageReturn_ = false;
};

/// A section heading, or a key line below one.
struct IniItem
{
    bool heading = false;
    std::string section;
    std::string keyword; ///< empty for a heading
    /// What stands behind the `=`: from the first to the closing quote, or else the rest of the line, in
    /// which a comment may follow. Escapes and $(NAME) are as written.
    std::string raw;
    std::size_t start = 0; ///< where in the text its line begins
};

/// Takes an ini text apart. Keys before the first heading, comments and other lines are passed over.
class IniReader
{
  public:
    explicit IniReader(std::string_view text)
        : lines_(text)
    {
    }

    /// False at the end of the text.
    bool next(IniItem& item);
    bool sawCarriageReturn() const { return lines_.sawCarriageReturn(); }

  private:
    bool takeHeading(const std::string& line, IniItem& item);
    bool takeKey(const std::string& line, std::size_t equals, IniItem& item);
    std::string quotedValue(std::string value);

    LineReader lines_;
    std::optional<std::string> section_;
};

/// The lines above the end mark, each with a newline; empty when there is no end mark.
std::string headOf(LineReader& lines);

/// The value that a raw text stands for.
std::string valueOf(const std::string& raw);

/// Replaces each $(NAME) by the environment variable of that name in capitals, or by nothing.
std::string substituted(std::string_view raw);

/// Undoes the escapes of a value: `\n` is a newline, a backslash before another character goes.
std::string unescaped(std::string_view text);

/// The value with the escapes that a quoted value needs: newline, backslash, quote, and the parenthesis,
/// lest a $(NAME) is replaced when it is read again.
std::string escaped(std::string_view value);

/// Removes white space from the end.
std::string_view trimmedEnd(std::string_view text);

} // namespace sfl
