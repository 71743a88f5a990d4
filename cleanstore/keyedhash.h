#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

typedef struct evp_mac_ctx_st EVP_MAC_CTX;

namespace cleanstore {

/// 128 bits that nobody without the key can foretell or make meet.
using Digest = std::array<std::uint64_t, 2>;

/// SipHash-2-4 under one key. For use by one thread at a time.
class KeyedHash
{
  public:
    using Key = std::array<std::byte, 16>;

    explicit KeyedHash(const Key& key);

    /// The digest of some bytes; nothing but zeros where the system's library has no such hash.
    Digest operator()(std::span<const std::byte> data);
    /// That of an object without padding.
    template <class T>
    Digest of(const T& object)
    {
        static_assert(std::has_unique_object_representations_v<T>);
        return (*this)(std::as_bytes(std::span(&object, 1)));
    }

  private:
    struct Freer
    {
        void operator()(EVP_MAC_CTX* context) const;
    };

    const Key key_;
    std::unique_ptr<EVP_MAC_CTX, Freer> context_;
};

} // namespace cleanstore
