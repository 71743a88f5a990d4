#pragma once

#include <QImage>
#include <QSize>
#include <QString>

/// The drawing of a picture, as the SVG document that the table of pictures was made from.
struct EmbedDrawing
{
    int width, height;         ///< of the picture, in the program's units
    double opacity;            ///< of all of it
    const unsigned char* data; ///< in the form qUncompress takes
    unsigned long compressed;  ///< length of data in bytes
    const char* name;          ///< UTF-8
};

/// The picture of that name drawn afresh, at `ratio` pixels a unit; a null image for an unknown name.
QImage drawPicture(const QString& name, double ratio);

/// The same, as large as fits a square of `side` pixels, in its middle.
QImage drawSquare(const QString& name, int side);
