#pragma once

#include <QByteArray>
#include <QString>

/// Texts of the engine are bytes: they go to files and panes as they are, and on widgets as this, with
/// replacement characters for what is not UTF-8.
inline QString shownText(const char* bytes)
{
    return QString::fromUtf8(bytes);
}

/// `bytes` with a picture in the place of each end of line, so that no file's name can pass for two lines.
QByteArray oneLine(QByteArray bytes);
