#include "mainwindow/vmainwidget.h"

#include <algorithm>
#include <charconv>
#include <string_view>

// What may stand in the entries of the proxy.

namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view lettersAndDigits =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool consistsOf(std::string_view text, std::string_view characters)
{
    return text.find_first_not_of(characters) == text.npos;
}

/// The number that `text`, all digits, stands for; -1 when it is beyond all limits here.
int numberOf(std::string_view text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? number : -1;
}

} // namespace

bool VMainWidget::isValid_IP(const char* text)
{
    if (!text || !consistsOf(text, "0123456789."))
        return false;
    // Repeated, leading and trailing dots make no empty parts. The walk ends at the first bad part, so a
    // bad fifth one leaves the four before it good.
    int good = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view part = rest.substr(0, rest.find('.'));
        rest.remove_prefix(std::min(rest.size(), part.size() + 1));
        if (part.empty())
            continue;
        const int number = numberOf(part);
        if (number < 0 || number > 255 || (good == 0 && number == 0))
            break;
        ++good;
    }
    return good == 4;
}

bool VMainWidget::isValidPort(const char* text)
{
    if (!text || !consistsOf(text, digits))
        return false;
    const int port = numberOf(text);
    return port >= 1 && port <= 65535;
}

bool VMainWidget::isValidProxyAuth(const char* text)
{
    if (!text)
        return false;
    std::string_view name = text;
    name.remove_prefix(std::min(name.size(), name.find_first_not_of(' ')));
    name.remove_suffix(name.size() - std::min(name.size(), name.find_last_not_of(' ') + 1));

    constexpr std::string_view punctuation = "._-";
    constexpr std::size_t longest = 64;
    if (name.empty() || name.size() > longest || punctuation.find(name.front()) != punctuation.npos ||
        punctuation.find(name.back()) != punctuation.npos)
        return false;
    // Dashes and underlines belong behind the last dot, from the second character there on.
    const std::size_t lastDot = name.rfind('.');
    const std::string_view tail = lastDot == name.npos ? name : name.substr(lastDot + 1);
    std::string_view front = name.substr(0, name.size() - tail.size());
    return consistsOf(tail.substr(0, 1), lettersAndDigits) &&
           std::all_of(tail.begin(), tail.end(),
                       [](char c) {
                           return c == '_' || c == '-' || lettersAndDigits.find(c) != lettersAndDigits.npos;
                       }) &&
           std::all_of(front.begin(), front.end(),
                       [](char c) { return c == '.' || lettersAndDigits.find(c) != lettersAndDigits.npos; });
}
