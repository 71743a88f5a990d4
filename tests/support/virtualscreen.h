#pragma once

#include <QByteArray>
#include <QProcess>
#include <QSize>

/// An X server of its own without a screen to look at, with a window manager, for as long as it lives.
/// Programs started meanwhile find it in DISPLAY.
class VirtualScreen
{
  public:
    /// Not up when the X server does not start; the reason is on standard error.
    explicit VirtualScreen(QSize size = {1024, 768});
    ~VirtualScreen();

    bool isUp() const { return !display_.isEmpty(); }
    /// Makes a PNG file of what the screen in DISPLAY shows.
    static bool savePicture(const QString& path);

  private:
    QProcess server_;
    QProcess manager_;
    QByteArray display_;
};
