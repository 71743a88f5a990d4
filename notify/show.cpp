#include "notify/show.h"

#include <array>

namespace notify {

namespace {

constexpr std::uint64_t patience = 2'000'000; // microseconds
constexpr unsigned char normal = 1;
constexpr unsigned char critical = 2;

/// A body is markup.
std::string escaped(const std::string& text)
{
    std::string safe;
    for (const char character : text) {
        switch (character) {
        case '&':
            safe += "&amp;";
            break;
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        default:
            safe += character;
        }
    }
    return safe;
}

/// A click on the message itself does the same as its button.
int appendButton(sd_bus_message* call, const Message& message)
{
    const std::string text = message.opens == window ? "Open Vardo" : "Open the log";
    std::array<char*, 5> actions{};
    const std::array<std::string, 4> words{"default", text, "open", text};
    for (std::size_t i = 0; i < words.size() && !message.opens.empty(); ++i)
        actions.at(i) = const_cast<char*>(words.at(i).c_str());
    return ::sd_bus_message_append_strv(call, actions.data());
}

} // namespace

/// Without a hint of whose entry in the menu we are: some take the message away when such a sender ends.
std::uint32_t show(sd_bus* bus, const Message& message, std::uint32_t replaced)
{
    constexpr char name[] = "org.freedesktop.Notifications";
    sd_bus_message *made = nullptr, *answered = nullptr;
    ::sd_bus_message_new_method_call(bus, &made, name, "/org/freedesktop/Notifications", name, "Notify");
    const MessagePtr call(made);
    std::uint32_t number = 0;
    if (call &&
        ::sd_bus_message_append(made, "susss", "Vardo", replaced, "vardo", message.summary.c_str(),
                                escaped(message.body).c_str()) >= 0 &&
        appendButton(made, message) >= 0 &&
        ::sd_bus_message_append(made, "a{sv}i", 1, "urgency", "y", message.urgent ? critical : normal, -1) >=
            0 &&
        ::sd_bus_call(bus, made, patience, nullptr, &answered) >= 0) {
        const MessagePtr answer(answered);
        ::sd_bus_message_read(answered, "u", &number);
    }
    return number;
}

} // namespace notify
