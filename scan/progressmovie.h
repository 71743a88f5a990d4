#pragma once

#include "base/paths.h"

#include <QFile>
#include <QLabel>
#include <QMovie>

#include <cmath>

/// The progress animation for a screen with that many dots to a pixel; the usual one where it is not
/// installed.
inline QString progressAnimationFor(qreal dots)
{
    QString path = QLatin1StringView(paths::progressAnimation);
    // By such a name Qt knows that the picture is that many times as fine.
    const QString finer = path.chopped(4) + QStringLiteral("@%1x.gif").arg(std::min(std::ceil(dots), 3.0));
    return dots > 1 && QFile::exists(finer) ? finer : path;
}

/// Puts the progress animation into `label`, at rest on its first picture. `movie` may go before the label.
/// Without the installed file the label stays empty.
inline void setProgressMovie(QLabel* label, QMovie& movie)
{
    movie.setFileName(progressAnimationFor(label->devicePixelRatioF()));
    label->setMovie(&movie);
    movie.start();
    movie.setPaused(true);
}
