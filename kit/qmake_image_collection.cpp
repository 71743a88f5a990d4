#include "kit/qmake_image_collection.h"

#include "kit/drawings.h"
#include "kit/embedimage.h"
#include "kit/imagecollection.h"

#include <QByteArray>
#include <QGuiApplication>

#include <memory>

// Defines embed_image_vec; written by renderartwork when the system is built.
#include "embed_image_vec.inc"

namespace {

constexpr QLatin1StringView iconName("Vardo_icon.png");

constinit std::unique_ptr<MimeSourceFactory_vardogui> factory;

/// Pixmaps must not outlive the application object; the table serves the next one afresh.
void forgetPixmaps()
{
    if (factory)
        factory->forget();
}

QImage::Format formatOf(const EmbedImage& embedded)
{
    switch (embedded.depth) {
    case 1:
        return QImage::Format_Mono;
    case 8:
        return QImage::Format_Indexed8;
    default:
        return embedded.alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32;
    }
}

/// An empty result of qUncompress, or one too short for the picture's size, gives a null image.
QImage unpack(const EmbedImage& embedded)
{
    const QByteArray pixels = qUncompress(embedded.data, static_cast<qsizetype>(embedded.compressed));
    // Scan lines are padded to 32 bits.
    const qsizetype bytesPerLine = (qsizetype{embedded.width} * embedded.depth + 31) / 32 * 4;
    if (pixels.size() < bytesPerLine * embedded.height)
        return {};
    QImage image(reinterpret_cast<const uchar*>(pixels.constData()), embedded.width, embedded.height,
                 bytesPerLine, formatOf(embedded));
    if (embedded.numColors > 0)
        image.setColorTable(QList<QRgb>(embedded.colorTable, embedded.colorTable + embedded.numColors));
    return image.copy();
}

/// Ties the collection to the program's start and end.
class StaticInitImages_vardogui
{
  public:
    StaticInitImages_vardogui() { qInitImages_vardogui(); }
    ~StaticInitImages_vardogui() { qCleanupImages_vardogui(); }
    Q_DISABLE_COPY_MOVE(StaticInitImages_vardogui)
};

// In the file of vardoPixmap(), so that a linker that takes this out of a static library takes both.
StaticInitImages_vardogui staticImages;

} // namespace

QImage uic_findImage(const QString& name)
{
    for (const EmbedImage* embedded = embed_image_vec; embedded->data; ++embedded)
        if (QString::fromUtf8(embedded->name) == name)
            return unpack(*embedded);
    return {};
}

QPixmap MimeSourceFactory_vardogui::data(const QString& abs_name) const
{
    // After a move to another screen the windows to come are drawn for that one.
    if (const double ratio = qGuiApp->devicePixelRatio(); ratio != ratio_) {
        stored_.clear();
        ratio_ = ratio;
    }
    const auto known = stored_.constFind(abs_name);
    if (known != stored_.cend() || abs_name.isNull())
        return known != stored_.cend() ? *known : QPixmap();
    return keep(abs_name, ratio_ == 1 ? uic_findImage(abs_name) : drawPicture(abs_name, ratio_));
}

QPixmap MimeSourceFactory_vardogui::keep(const QString& name, const QImage& image) const
{
    if (image.isNull())
        return {};
    if (stored_.isEmpty())
        qAddPostRoutine(forgetPixmaps);
    return *stored_.insert(name, QPixmap::fromImage(image));
}

QIcon MimeSourceFactory_vardogui::icon() const
{
    constexpr int sides[] = {16, 22, 24, 32, 48, 64, 128, 256};
    if (!icon_.isNull())
        return icon_;
    data(iconName); // so that the icon is forgotten in time, too
    for (const int side : sides)
        icon_.addPixmap(QPixmap::fromImage(drawSquare(iconName, side)));
    return icon_;
}

void MimeSourceFactory_vardogui::forget()
{
    stored_.clear();
    icon_ = QIcon();
}

void qInitImages_vardogui()
{
    if (!factory)
        factory = std::make_unique<MimeSourceFactory_vardogui>();
}

void qCleanupImages_vardogui()
{
    factory.reset();
}

QIcon vardoIcon()
{
    return factory ? factory->icon() : QIcon();
}

QPixmap vardoPixmap(const QString& name)
{
    return factory ? factory->data(name) : QPixmap();
}
