#include "containers/deflated.h"

#include "containers/memberreading.h"

#include <algorithm>
#include <memory>

#include <zlib.h>

namespace containers {

namespace {

struct Inflating
{
    explicit Inflating(Content content)
    {
        stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(content.data()));
        stream.avail_in = static_cast<uInt>(std::min<std::size_t>(content.size(), ~uInt(0)));
        ready = inflateInit(&stream) == Z_OK;
    }
    Inflating(const Inflating&) = delete;
    Inflating& operator=(const Inflating&) = delete;
    ~Inflating() { inflateEnd(&stream); }

    z_stream stream{};
    bool ready = false;
};

} // namespace

Opened openZlib(Content content, const Workshop& workshop)
{
    Inflating inflating(content);
    Opened opened;
    int code = inflating.ready ? Z_OK : Z_STREAM_ERROR;
    takeMember({}, workshop, opened, [&](std::span<std::byte> buffer) -> int {
        inflating.stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
        inflating.stream.avail_out = static_cast<uInt>(buffer.size());
        if (code == Z_OK)
            code = inflate(&inflating.stream, Z_NO_FLUSH);
        return static_cast<int>(buffer.size() - inflating.stream.avail_out);
    });
    return opened;
}

} // namespace containers
