#pragma once

#include "base/paths.h"

#include <QLabel>
#include <QMovie>

/// Puts the progress animation into `label`, at rest on its first picture. `movie` may go before the label.
/// Without the installed file the label stays empty.
inline void setProgressMovie(QLabel* label, QMovie& movie)
{
    movie.setFileName(QLatin1StringView(paths::progressAnimation));
    label->setMovie(&movie);
    movie.start();
    movie.setPaused(true);
}
