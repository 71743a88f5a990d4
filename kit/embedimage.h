#pragma once

#include <QRgb>

/// One picture of the compiled-in table. The table ends with a record whose fields are all zero.
struct EmbedImage
{
    int width;                 ///< pixels
    int height;                ///< pixels
    int depth;                 ///< bits per pixel: 32, 8 or 1
    const unsigned char* data; ///< raw scan lines in the form qUncompress takes
    unsigned long compressed;  ///< length of data in bytes
    int numColors;             ///< entries of colorTable; 0 at depth 32
    const QRgb* colorTable;    ///< null at depth 32
    bool alpha;                ///< the picture has an alpha channel
    const char* name;          ///< UTF-8
};
