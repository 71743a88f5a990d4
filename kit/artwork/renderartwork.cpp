// Renders the pictures of a list from their SVG templates and writes them as a table of EmbedImage records,
// and their documents as one of EmbedDrawing records. Usage: renderartwork LIST IMAGES DRAWINGS. The list's
// own comments tell its syntax.

#include "kit/artwork/svgtemplate.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QStringList>
#include <QTextStream>

#include <utility>

namespace {

struct Picture
{
    QString name;
    QImage image; ///< in the depth of the table
    bool alpha = false;
    QByteArray document;
    QString opacity;
};

QSize parseSize(const QString& text)
{
    const QStringList sides = text.split('x');
    return sides.size() == 2 ? QSize(sides[0].toInt(), sides[1].toInt()) : QSize();
}

/// The same picture with a colour table of exactly that many colours: depth 1 for one colour, else 8.
QImage indexed(const QImage& image, int colours, const QString& name)
{
    const auto format = colours == 1 ? QImage::Format_Mono : QImage::Format_Indexed8;
    QImage result(image.size(), format);
    QList<QRgb> table;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (const QRgb pixel = image.pixel(x, y); !table.contains(pixel))
                table.append(pixel);
    if (table.size() != colours)
        fail(QString("%1: %2 colours").arg(name).arg(table.size()));
    result.setColorTable(table);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            result.setPixel(x, y, static_cast<uint>(table.indexOf(image.pixel(x, y))));
    return result;
}

QImage inDepth(const QImage& image, const QString& kind, const QString& name)
{
    if (kind == "alpha")
        return image;
    if (kind == "opaque")
        return image.convertToFormat(QImage::Format_RGB32);
    return indexed(image, kind.toInt(), name);
}

/// The list's lines: named sets of parameters and, built from them, the pictures.
class List
{
  public:
    explicit List(QString directory)
        : m_directory(std::move(directory))
    {
    }

    void read(const QString& line)
    {
        QStringList words = line.simplified().split(' ');
        if (line.startsWith('#') || words.first().isEmpty())
            return;
        if (words.first().startsWith('@')) {
            const QString set = words.takeFirst();
            m_sets.insert(set, parameters(words));
        } else {
            readPicture(words);
        }
    }

    const QList<Picture>& pictures() const { return m_pictures; }

  private:
    Parameters parameters(const QStringList& words) const
    {
        Parameters result;
        for (const QString& word : words) {
            if (word.startsWith('@'))
                result.insert(m_sets.value(word));
            else
                result.insert(word.section('=', 0, 0), word.section('=', 1));
        }
        return result;
    }

    void readPicture(const QStringList& words)
    {
        const QSize size = parseSize(words.value(1));
        if (words.size() < 4 || size.isEmpty())
            fail("not a picture: " + words.join(' '));
        Parameters all{{"w", QString::number(size.width())}, {"h", QString::number(size.height())}};
        all.insert(parameters(QStringList{"@all"} + words.mid(4)));
        const QImage drawn = renderTemplate(m_directory + '/' + words[3], all, size);
        m_pictures.append({words[0], inDepth(drawn, words[2], words[0]), words[2] == "alpha",
                           expandTemplate(m_directory + '/' + words[3], all), all.value("opacity", "1")});
    }

    QString m_directory;
    QHash<QString, Parameters> m_sets;
    QList<Picture> m_pictures;
};

/// The scan lines in the byte order of the machine, compressed.
QByteArray packed(const QImage& image)
{
    return qCompress(image.constBits(), image.sizeInBytes(), 9);
}

void writeBytes(QTextStream& out, const QByteArray& bytes)
{
    for (qsizetype i = 0; i < bytes.size(); ++i)
        out << static_cast<unsigned>(static_cast<unsigned char>(bytes[i])) << (i % 32 == 31 ? ",\n" : ",");
}

void writeTable(QTextStream& out, const QList<Picture>& pictures)
{
    QString table;
    for (qsizetype i = 0; i < pictures.size(); ++i) {
        const auto& [name, image, alpha, document, opacity] = pictures[i];
        const QByteArray data = packed(image);
        out << "static const unsigned char image_" << i << "_data[] = {\n";
        writeBytes(out, data);
        out << "};\n";
        QString colours = "nullptr";
        if (image.colorCount() > 0) {
            colours = QString("image_%1_colours").arg(i);
            out << "static const QRgb " << colours << "[] = {";
            for (const QRgb colour : image.colorTable())
                out << "0x" << Qt::hex << colour << Qt::dec << "U, ";
            out << "};\n";
        }
        table += QString("    {%1, %2, %3, image_%4_data, %5, %6, %7, %8, \"%9\"},\n")
                     .arg(image.width())
                     .arg(image.height())
                     .arg(image.depth())
                     .arg(i)
                     .arg(data.size())
                     .arg(image.colorCount())
                     .arg(colours, alpha ? "true" : "false", name);
    }
    out << "static const EmbedImage embed_image_vec[] = {\n"
        << table << "    {0, 0, 0, nullptr, 0, 0, nullptr, false, nullptr},\n};\n";
}

void writeDrawings(QTextStream& out, const QList<Picture>& pictures)
{
    QString table;
    for (qsizetype i = 0; i < pictures.size(); ++i) {
        const Picture& picture = pictures[i];
        const QByteArray data = qCompress(picture.document.simplified(), 9);
        out << "static const unsigned char drawing_" << i << "_data[] = {\n";
        writeBytes(out, data);
        out << "};\n";
        table += QString("    {%1, %2, %3, drawing_%4_data, %5, \"%6\"},\n")
                     .arg(picture.image.width())
                     .arg(picture.image.height())
                     .arg(picture.opacity)
                     .arg(i)
                     .arg(data.size())
                     .arg(picture.name);
    }
    out << "static const EmbedDrawing embed_drawing_vec[] = {\n"
        << table << "    {0, 0, 0, nullptr, 0, nullptr},\n};\n";
}

void writeFile(const QString& path, void (*write)(QTextStream&, const QList<Picture>&), const List& list)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        fail(path + ": " + file.errorString());
    QTextStream out(&file);
    write(out, list.pictures());
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4)
        fail("Usage: renderartwork LIST IMAGES DRAWINGS");
    List list(QFileInfo(arguments[1]).path());
    for (const QString& line : readText(arguments[1]).split('\n'))
        list.read(line);
    writeFile(arguments[2], &writeTable, list);
    writeFile(arguments[3], &writeDrawings, list);
    return 0;
}
