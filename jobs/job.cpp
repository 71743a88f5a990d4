#include "jobs/job.h"

#include <openssl/evp.h>

namespace jobs {

std::string idOf(std::string_view name)
{
    constexpr std::size_t idBytes = 8;
    unsigned char digest[EVP_MAX_MD_SIZE] = {};
    if (EVP_Digest(name.data(), name.size(), digest, nullptr, EVP_sha256(), nullptr) != 1)
        return {};
    std::string id;
    for (std::size_t i = 0; i < idBytes; ++i) {
        id += "0123456789abcdef"[digest[i] >> 4];
        id += "0123456789abcdef"[digest[i] & 15];
    }
    return id;
}

} // namespace jobs
