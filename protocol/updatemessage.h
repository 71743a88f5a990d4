#pragma once

#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

/// What the processes of an update tell each other: one line for each message, `code first second text`.
namespace update {

/// Codes beside those of the engine's update callback, which go on as they are.
enum : int {
    MessageResult = 0,    ///< first: the result; second: seconds to wait; text: the reason; the last message
    MessageDatabase = 20, ///< text: name; first: version before, second: version now
};

constexpr std::size_t longestText = 500;
constexpr std::size_t longestLine = longestText + 100;

struct Message
{
    int code = 0;
    long long first = 0;
    long long second = 0;
    std::string text;
};

/// `text` as it may stand in one line of a log or a pipe: what is no plain character comes as \xHH, and
/// what is too long is cut. Others choose some of these words.
inline std::string oneLine(std::string_view text)
{
    std::string line;
    for (const char c : text.substr(0, longestText)) {
        std::array<char, 5> hex{};
        const bool plain = c >= ' ' && c <= '~';
        if (!plain)
            std::snprintf(hex.data(), hex.size(), "\\x%02X", static_cast<unsigned>(c) & 0xFFu);
        line += plain ? std::string(1, c) : std::string(hex.data());
    }
    return line.substr(0, longestText);
}

inline std::string toLine(const Message& message)
{
    return std::to_string(message.code) + ' ' + std::to_string(message.first) + ' ' +
           std::to_string(message.second) + ' ' + oneLine(message.text) + '\n';
}

/// The message in `line`, which has no line end; nothing when it is none.
inline std::optional<Message> fromLine(std::string_view line)
{
    Message message;
    const auto take = [&line](auto& number) {
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
        line.remove_prefix(static_cast<std::size_t>(end - line.data()));
        const bool taken = error == std::errc() && line.starts_with(' ');
        line.remove_prefix(taken ? 1 : 0);
        return taken;
    };
    if (!take(message.code) || !take(message.first) || !take(message.second))
        return {};
    message.text = oneLine(line);
    return message;
}

/// Cuts what comes through a pipe into messages, and holds no more than a line of it.
class MessageReader
{
  public:
    void add(std::string_view bytes) { held_ += bytes; }

    /// The next whole message; nothing when there is none yet, or never will be: see broken().
    std::optional<Message> next()
    {
        const std::size_t end = held_.find('\n');
        if (end == std::string::npos || end > longestLine) {
            broken_ = broken_ || held_.size() > longestLine;
            return {};
        }
        std::optional<Message> message = fromLine(std::string_view(held_).substr(0, end));
        held_.erase(0, end + 1);
        broken_ = broken_ || !message;
        return message;
    }

    /// True after something that is no message.
    bool broken() const { return broken_; }

  private:
    std::string held_;
    bool broken_ = false;
};

} // namespace update
