#include "shell/screenfactor.h"

#include <QApplication>
#include <QScreen>

#include <algorithm>
#include <new>
#include <vector>

namespace {

constexpr char variable[] = "QT_SCALE_FACTOR";

std::unique_ptr<QApplication> make(int& argc, char** argv)
{
    return std::unique_ptr<QApplication>(new (std::nothrow) QApplication(argc, argv));
}

/// By how much the factor has to come down, to no less than the screen's own pixels; 1 where the window fits.
double shareOf(QSize window)
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    const double ratio = screen ? screen->devicePixelRatio() : 1;
    if (ratio <= 1)
        return 1;
    const QSizeF own = screen->geometry().size();
    return std::max(std::min({1.0, own.width() / window.width(), own.height() / window.height()}), 1 / ratio);
}

/// Makes the application at a factor that is not passed on.
std::unique_ptr<QApplication> makeAt(double share, int& argc, char** argv)
{
    const QByteArray before = qgetenv(variable);
    const double factor = before.toDouble();
    qputenv(variable, QByteArray::number((factor > 0 ? factor : 1) * share, 'f', 6));
    auto application = make(argc, argv);
    if (before.isNull())
        qunsetenv(variable);
    else
        qputenv(variable, before);
    return application;
}

} // namespace

std::unique_ptr<QApplication> screenfactor::applicationFor(QSize window, int& argc, char** argv)
{
    // The application takes options of its own out of the words, which may be needed twice.
    const int count = argc;
    std::vector<char*> words(argv, argv + argc + 1);
    auto application = make(argc, argv);
    const double share = application ? shareOf(window) : 1;
    if (share == 1)
        return application;
    application.reset();
    argc = count;
    std::copy(words.begin(), words.end(), argv);
    return makeAt(share, argc, argv);
}

bool screenfactor::hasPixels(QSize size)
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    const double ratio = screen ? screen->devicePixelRatio() : 1;
    const QSizeF own = screen ? QSizeF(screen->geometry().size()) : QSizeF();
    // In whole units of the program, which are several pixels at a large factor.
    return (own.width() + 0.5) * ratio >= size.width() && (own.height() + 0.5) * ratio >= size.height();
}
