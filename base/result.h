#pragma once

#include <string>
#include <utility>
#include <variant>

namespace base {

/// Why something failed: an errno value where the system gave one (else 0), and a text for a person.
struct Error
{
    int code = 0;
    std::string text;
};

/// Either a value or an Error. Reading the value of a failed result is a programming mistake.
template <class T>
class Result
{
  public:
    Result(T value)
        : held_(std::move(value))
    {
    }
    Result(Error error)
        : held_(std::move(error))
    {
    }

    explicit operator bool() const noexcept { return held_.index() == 0; }
    T& value() & { return std::get<0>(held_); }
    const T& value() const& { return std::get<0>(held_); }
    T&& value() && { return std::get<0>(std::move(held_)); }
    const Error& error() const { return std::get<1>(held_); }

  private:
    std::variant<T, Error> held_;
};

} // namespace base
