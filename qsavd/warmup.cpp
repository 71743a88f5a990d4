#include "qsavd/warmup.h"

#include <clocale>
#include <ctime>

#include <clamav.h>

namespace qsavd {

Warmth::Warmth()
{
    tzset();
    setlocale(LC_CTYPE, "C.UTF-8"); // without which names in archives that are not ASCII are lost
    for (const char* digest : {"md5", "sha1", "sha256"}) {
        unsigned char result[64];
        unsigned int length = 0;
        cl_hash_data(digest, "", 0, result, &length);
    }
    for (const char* charset :
         {"UTF-16LE", "UTF-16BE", "UTF-16", "UTF-32LE", "UTF-32BE", "ISO-8859-1", "CP1252", "CP437"}) {
        const iconv_t converter = iconv_open("UTF-8", charset);
        if (converter != iconv_t(-1))
            converters_.push_back(converter);
    }
}

Warmth::~Warmth()
{
    for (const iconv_t converter : converters_)
        iconv_close(converter);
}

} // namespace qsavd
