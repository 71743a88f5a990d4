#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string_view>

namespace containers {

/// What may be unpacked from one file.
struct Limits
{
    std::uint64_t memberBytes = 0;
    std::uint64_t allBytes = 0;
    std::uint32_t members = 0;
    std::chrono::milliseconds time{};
};

/// Counts what is unpacked from one file, at whatever depth, and the time since it began.
class Budget
{
  public:
    explicit Budget(const Limits& limits)
        : limits_(limits)
    {
    }

    const Limits& limits() const { return limits_; }
    void addBytes(std::uint64_t count) { bytes_ += count; }
    void addMember() { ++members_; }

    /// What is left of the time; at least none.
    std::chrono::milliseconds timeLeft() const
    {
        const auto left = begin_ + limits_.time - std::chrono::steady_clock::now();
        return std::max(std::chrono::ceil<std::chrono::milliseconds>(left), std::chrono::milliseconds(0));
    }

    /// The limit that is exceeded, by the name that the scanning library has for it; or none.
    std::string_view exceeded() const
    {
        if (timeLeft().count() == 0)
            return "MaxScanTime";
        if (bytes_ > limits_.allBytes)
            return "MaxScanSize";
        return members_ > limits_.members ? "MaxFiles" : "";
    }

  private:
    Limits limits_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::uint64_t bytes_ = 0;
    std::uint32_t members_ = 0;
};

} // namespace containers
