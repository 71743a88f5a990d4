#pragma once

#include <cstddef>
#include <variant>
#include <vector>

class ScanConfig;
class vSchedule;
class vUpdateConf;

/// The options of the boundary's classes: what GetOption and SetOption reach behind an id, as rows.
namespace vardo {

/// A number that is taken within a range, and with `mask` only of these bits.
template <class T>
struct Number
{
    T* field;
    T least;
    T most;
    T mask = static_cast<T>(~T());
};

/// A text on the heap, at most `most` bytes; the caller's buffer is one byte longer.
struct HeapText
{
    enum class Kind { Any, AbsolutePath, GivenOnly };

    char** field;
    std::size_t most;
    Kind kind = Kind::Any;
};

/// A text in a buffer of `size` bytes, which the caller's has too.
struct BufferText
{
    char* field;
    std::size_t size;
};

/// A text of any length on the heap. The caller passes a pointer to it and gets the engine's own.
struct TextPointer
{
    char** field;
};

struct Option
{
    unsigned id;
    std::variant<Number<unsigned char>, Number<unsigned>, Number<unsigned long>, HeapText, BufferText,
                 TextPointer>
        place;
};

/// Gives the option `id` to `value`. Negative if there is none or `value` is null.
int giveOption(const std::vector<Option>& options, unsigned id, void* value);

/// Takes the option `id` from `value`. Negative, with nothing changed, for what is out of range, does not fit
/// or could not stand in a configuration file.
int takeOption(const std::vector<Option>& options, unsigned id, const void* value);

} // namespace vardo

/// The rows of an object, which must outlive them.
struct EngineOptions
{
    static std::vector<vardo::Option> of(ScanConfig& config);
    static std::vector<vardo::Option> of(vSchedule& schedule);
    static std::vector<vardo::Option> of(vUpdateConf& config);
};
