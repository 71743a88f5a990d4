#pragma once

#include <QHash>
#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <QString>

/// The store behind vardoPixmap(): a picture is taken from the compiled-in table when it is first asked for,
/// or drawn for the screen's factor.
class MimeSourceFactory_vardogui
{
  public:
    /// The picture of that name, or a null pixmap, which is not stored.
    QPixmap data(const QString& abs_name) const;

    /// Drops what has been decompressed; the next request goes to the table again.
    void forget();

    /// The icon, from then on the same one.
    QIcon icon() const;

  private:
    QPixmap keep(const QString& name, const QImage& image) const;

    mutable QHash<QString, QPixmap> stored_;
    mutable double ratio_ = 1; ///< of those pictures, in pixels a unit
    mutable QIcon icon_;
};

/// Installs the one factory; nothing happens if it stands already. Done before main by a static object.
void qInitImages_vardogui();

/// Removes the factory and every picture it has stored: names give null pixmaps until the next
/// initialisation.
void qCleanupImages_vardogui();

/// The picture as the table has it, in its own depth and owning its pixels; a null image for an unknown name.
QImage uic_findImage(const QString& name);
