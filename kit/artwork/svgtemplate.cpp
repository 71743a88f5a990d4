#include "kit/artwork/svgtemplate.h"

#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QRegularExpression>
#include <QSvgRenderer>

#include <cstdio>
#include <cstdlib>

void fail(const QString& message)
{
    std::fprintf(stderr, "%s\n", qPrintable(message));
    std::exit(EXIT_FAILURE);
}

QString readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(path + ": " + file.errorString());
    return QString::fromUtf8(file.readAll());
}

namespace {

/// What stands between a document's <svg ...> and </svg>.
QString elementsOf(const QString& document)
{
    const auto begin = document.indexOf('>', document.indexOf("<svg")) + 1;
    return document.mid(begin, document.lastIndexOf("</svg>") - begin);
}

QString withParameters(const QString& path, QString text, const Parameters& parameters)
{
    static const QRegularExpression place(R"(\{\{(\w+)\}\})");
    for (QRegularExpressionMatch match; (match = place.match(text)).hasMatch();) {
        const auto value = parameters.constFind(match.captured(1));
        if (value == parameters.cend())
            fail(path + ": no parameter " + match.captured(1));
        text.replace(match.capturedStart(), match.capturedLength(), *value);
    }
    return text;
}

QString expand(const QString& path, const Parameters& parameters)
{
    static const QRegularExpression place(R"(\{\{>([\w./]+)\}\})");
    QString text = withParameters(path, readText(path), parameters);
    for (QRegularExpressionMatch match; (match = place.match(text)).hasMatch();) {
        const QString part = QFileInfo(path).path() + '/' + match.captured(1);
        text.replace(match.capturedStart(), match.capturedLength(), elementsOf(expand(part, parameters)));
    }
    return text;
}

} // namespace

QByteArray expandTemplate(const QString& path, const Parameters& parameters)
{
    return expand(path, parameters).toUtf8();
}

QImage renderTemplate(const QString& path, const Parameters& parameters, QSize size)
{
    QSvgRenderer renderer(expandTemplate(path, parameters));
    if (!renderer.isValid())
        fail(path + ": not an SVG document");
    QImage drawn(size, QImage::Format_RGBA64_Premultiplied); // pale gradients show bands at 8 bits
    drawn.fill(Qt::transparent);
    QPainter pen(&drawn);
    renderer.render(&pen);
    pen.end();
    if (parameters.contains("opacity")) {
        QPainter fade(&drawn);
        fade.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        fade.fillRect(drawn.rect(), QColor::fromRgbF(0, 0, 0, parameters.value("opacity").toFloat()));
    }
    return drawn.convertToFormat(QImage::Format_ARGB32);
}
