#include "cleanstore/keyedhash.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

namespace cleanstore {

KeyedHash::KeyedHash(const Key& key)
    : key_(key)
{
    EVP_MAC* const siphash = EVP_MAC_fetch(nullptr, "SIPHASH", nullptr);
    context_.reset(siphash ? EVP_MAC_CTX_new(siphash) : nullptr);
    EVP_MAC_free(siphash);
    std::size_t length = sizeof(Digest);
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_size_t(OSSL_MAC_PARAM_SIZE, &length),
                                     OSSL_PARAM_construct_end()};
    if (context_ && !EVP_MAC_CTX_set_params(context_.get(), parameters))
        context_.reset();
}

Digest KeyedHash::operator()(std::span<const std::byte> data)
{
    const auto* const key = reinterpret_cast<const unsigned char*>(key_.data());
    const auto* const bytes = reinterpret_cast<const unsigned char*>(data.data());
    Digest digest{};
    std::size_t length = 0;
    const bool made = context_ && EVP_MAC_init(context_.get(), key, key_.size(), nullptr) &&
                      EVP_MAC_update(context_.get(), bytes, data.size()) &&
                      EVP_MAC_final(context_.get(), reinterpret_cast<unsigned char*>(digest.data()), &length,
                                    sizeof digest) &&
                      length == sizeof digest;
    return made ? digest : Digest{};
}

void KeyedHash::Freer::operator()(EVP_MAC_CTX* context) const
{
    EVP_MAC_CTX_free(context);
}

} // namespace cleanstore
