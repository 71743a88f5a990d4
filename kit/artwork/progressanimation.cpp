// Draws the frames of the progress animation from an SVG template and writes them as a GIF that loops for
// ever. Usage: progressanimation TEMPLATE FACTOR OUTPUT, with the factor of the screen that it is for. The
// template's parameter "angle" is the frame's rotation.

#include "kit/artwork/svgtemplate.h"

#include <QCoreApplication>
#include <QFile>
#include <QList>
#include <QStringList>

#include <gif_lib.h>

#include <array>
#include <memory>
#include <vector>

namespace {

constexpr int FRAME_SIDE = 70; // at factor 1
constexpr int FRAME_COUNT = 18;
constexpr int FRAME_TIME = 6; // hundredths of a second
constexpr int COLOUR_COUNT = 256;
constexpr int TRANSPARENT_INDEX = 0;
constexpr int VISIBLE_ALPHA = 48;
/// The dialogs' colour behind the animation: a GIF has no half transparency, so edges are blended with it.
constexpr QRgb BACKGROUND = 0xFFE3EEF9;

struct Frames
{
    int side = 0; ///< of each, which is square
    std::vector<GifByteType> red, green, blue;
    std::vector<bool> visible;
    std::vector<GifByteType> indices;
    std::unique_ptr<ColorMapObject, decltype(&GifFreeMapObject)> palette{nullptr, GifFreeMapObject};
};

GifByteType blend(int over, int under, int alpha)
{
    return static_cast<GifByteType>((over * alpha + under * (255 - alpha)) / 255);
}

void appendPixels(Frames& frames, const QImage& image)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            frames.visible.push_back(qAlpha(pixel) >= VISIBLE_ALPHA);
            frames.red.push_back(blend(qRed(pixel), qRed(BACKGROUND), qAlpha(pixel)));
            frames.green.push_back(blend(qGreen(pixel), qGreen(BACKGROUND), qAlpha(pixel)));
            frames.blue.push_back(blend(qBlue(pixel), qBlue(BACKGROUND), qAlpha(pixel)));
        }
    }
}

/// One palette for all frames; entry 0 is set aside for the transparent pixels.
void quantise(Frames& frames)
{
    std::array<GifColorType, COLOUR_COUNT> colours{};
    int count = COLOUR_COUNT - 1;
    frames.indices.resize(frames.red.size());
    if (GifQuantizeBuffer(static_cast<unsigned>(frames.red.size()), 1, &count, frames.red.data(),
                          frames.green.data(), frames.blue.data(), frames.indices.data(),
                          colours.data() + 1) != GIF_OK)
        fail("no palette for the animation");
    frames.palette.reset(GifMakeMapObject(COLOUR_COUNT, colours.data()));
    for (std::size_t i = 0; i < frames.indices.size(); ++i)
        frames.indices[i] =
            frames.visible[i] ? static_cast<GifByteType>(frames.indices[i] + 1) : TRANSPARENT_INDEX;
}

void require(bool done)
{
    if (!done)
        fail("cannot write the animation");
}

void writeLooping(GifFileType* gif)
{
    static constexpr std::array<GifByteType, 3> FOR_EVER{1, 0, 0};
    require(EGifPutExtensionLeader(gif, APPLICATION_EXT_FUNC_CODE) == GIF_OK &&
            EGifPutExtensionBlock(gif, 11, "NETSCAPE2.0") == GIF_OK &&
            EGifPutExtensionBlock(gif, FOR_EVER.size(), FOR_EVER.data()) == GIF_OK &&
            EGifPutExtensionTrailer(gif) == GIF_OK);
}

void writeFrame(GifFileType* gif, int side, GifByteType* pixels)
{
    const GraphicsControlBlock control{DISPOSE_BACKGROUND, false, FRAME_TIME, TRANSPARENT_INDEX};
    std::array<GifByteType, 4> extension{};
    const auto length = static_cast<int>(EGifGCBToExtension(&control, extension.data()));
    require(EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, length, extension.data()) == GIF_OK &&
            EGifPutImageDesc(gif, 0, 0, side, side, false, nullptr) == GIF_OK &&
            EGifPutLine(gif, pixels, side * side) == GIF_OK);
}

int appendToFile(GifFileType* gif, const GifByteType* bytes, int length)
{
    return static_cast<int>(
        static_cast<QFile*>(gif->UserData)->write(reinterpret_cast<const char*>(bytes), length));
}

void writeGif(Frames& frames, const QString& path)
{
    QFile file(path);
    require(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    GifFileType* gif = EGifOpen(&file, appendToFile, nullptr);
    require(gif != nullptr);
    EGifSetGifVersion(gif, true);
    require(EGifPutScreenDesc(gif, frames.side, frames.side, 8, TRANSPARENT_INDEX, frames.palette.get()) ==
            GIF_OK);
    writeLooping(gif);
    const std::size_t perFrame = frames.indices.size() / FRAME_COUNT;
    for (std::size_t start = 0; start < frames.indices.size(); start += perFrame)
        writeFrame(gif, frames.side, frames.indices.data() + start);
    require(EGifCloseFile(gif, nullptr) == GIF_OK && file.flush());
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    Frames frames;
    frames.side = arguments.size() == 4 ? FRAME_SIDE * arguments[2].toInt() : 0;
    if (frames.side <= 0)
        fail("Usage: progressanimation TEMPLATE FACTOR OUTPUT");
    for (int frame = 0; frame < FRAME_COUNT; ++frame) {
        const Parameters parameters{{"angle", QString::number(360.0 * frame / FRAME_COUNT)}};
        appendPixels(frames, renderTemplate(arguments[1], parameters, {frames.side, frames.side}));
    }
    quantise(frames);
    writeGif(frames, arguments[3]);
    return 0;
}
