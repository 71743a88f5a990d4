#include "kit/drawings.h"

#include <QPainter>
#include <QSvgRenderer>

// Defines embed_drawing_vec; written by renderartwork when the system is built.
#include "embed_drawing_vec.inc"

namespace {

const EmbedDrawing* find(const QString& name)
{
    const EmbedDrawing* drawing = embed_drawing_vec;
    while (drawing->data && QString::fromUtf8(drawing->name) != name)
        ++drawing;
    return drawing->data ? drawing : nullptr;
}

QImage draw(const EmbedDrawing& drawing, QSize size, const QRectF& place)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(qUncompress(drawing.data, static_cast<qsizetype>(drawing.compressed)));
    QPainter painter(&image);
    renderer.render(&painter, place);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.fillRect(image.rect(), QColor::fromRgbF(0, 0, 0, static_cast<float>(drawing.opacity)));
    return image;
}

} // namespace

QImage drawPicture(const QString& name, double ratio)
{
    const EmbedDrawing* drawing = find(name);
    if (!drawing)
        return {};
    const QSize size(qRound(drawing->width * ratio), qRound(drawing->height * ratio));
    QImage image = draw(*drawing, size, QRectF(QPointF(), size));
    image.setDevicePixelRatio(ratio);
    return image;
}

QImage drawSquare(const QString& name, int side)
{
    const EmbedDrawing* drawing = find(name);
    if (!drawing)
        return {};
    QRectF place(QPointF(), QSizeF(drawing->width, drawing->height).scaled(side, side, Qt::KeepAspectRatio));
    place.moveCenter({side / 2.0, side / 2.0});
    return draw(*drawing, {side, side}, place);
}
