#pragma once

#include "containers/opener.h"

#include <array>
#include <span>

namespace containers {

/// Unpacks one member by `read`, which fills a buffer and returns the number of bytes, 0 at the end and less
/// when it failed, and hands it over: as much of it as could be read and as the limits let. False when
/// opening the container cannot go on.
template <typename Read>
bool takeMember(const std::string& name, const Workshop& workshop, Opened& opened, Read read)
{
    std::array<std::byte, 65536> buffer;
    MemberData data(workshop.directory);
    Budget& budget = workshop.budget;
    budget.addMember();
    while (budget.exceeded().empty()) {
        const auto count = read(buffer);
        if (count <= 0)
            break;
        const auto size = static_cast<std::uint64_t>(count);
        budget.addBytes(size);
        if (data.size() + size > budget.limits().memberBytes) {
            opened.limit = "MaxFileSize";
            break;
        }
        if (!data.append(Content(buffer).first(size))) {
            opened.failure = Failure::NoRoom;
            return false;
        }
    }
    if (!budget.exceeded().empty()) {
        opened.limit = budget.exceeded();
        return false;
    }
    opened.anything = opened.anything || data.size() > 0;
    return data.size() == 0 || workshop.take(name, data);
}

} // namespace containers
