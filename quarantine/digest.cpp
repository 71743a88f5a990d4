#include "quarantine/digest.h"

#include "base/plainfile.h"
#include "base/systemerror.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <openssl/evp.h>

namespace quarantine {

namespace {

constexpr std::size_t pieceSize = 1 << 20;

using Context = std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)>;

std::string finish(EVP_MD_CTX* context)
{
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context, bytes, &length) != 1)
        return {};
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

} // namespace

base::Result<Digest> digestFile(int file, int copy, const Beat& beat)
{
    const Context context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1)
        return base::systemError(ENOMEM);
    struct stat status = {};
    if (::fstat(file, &status) != 0)
        return base::systemError();
    std::vector<char> piece(pieceSize);
    Digest digest;
    while (digest.size < status.st_size) {
        const auto wanted = std::min(pieceSize, static_cast<std::size_t>(status.st_size - digest.size));
        const ssize_t got = ::pread(file, piece.data(), wanted, digest.size);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return base::systemError();
        if (got == 0)
            break;
        const auto size = static_cast<std::size_t>(got);
        if (EVP_DigestUpdate(context.get(), piece.data(), size) != 1)
            return base::systemError(ENOMEM);
        if (copy >= 0 && !base::writeAll(copy, {piece.data(), size}))
            return base::systemError();
        digest.size += got;
        if (beat && !beat())
            return base::systemError(ECANCELED);
    }
    digest.sha256 = finish(context.get());
    return digest;
}

} // namespace quarantine
