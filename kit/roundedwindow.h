#pragma once

#include <QDialog>
#include <QMouseEvent>
#include <QPolygon>
#include <QRegion>
#include <QSize>
#include <QString>

#include <type_traits>

/// The integer points of an arc of the ellipse in the box (x, y, w, h), from angle `a1` over `a2`, in
/// sixteenths of a degree, counter-clockwise from three o'clock. The curve runs through the pixels of the
/// box, both ends included; an empty box gives its corner.
QPolygon makeArc(int x, int y, int w, int h, int a1, int a2);

/// The outline of a window of `size` with corners of `xRnd` and `yRnd` percent of its sides. A value over 100
/// counts as 99. With a ratio it is in pixels of which so many make a unit.
QPolygon roundedOutline(QSize size, int xRnd, int yRnd, double ratio = 1);

namespace roundedwindow {

/// What every window of the program starts with: its icon and BASE_FONT.
void setUp(QWidget* window);

/// Paints `backgroundImage` from the window's top left corner.
void paintBackground(QWidget* window, const QString& backgroundImage);

/// Paints an outline that is in the screen's pixels in OUTLINE_COLOUR, two units wide.
void paintOutline(QWidget* window, const QPolygon& outline);

/// Gives the window on the screen, if there is one, the shape of such an outline.
void shape(QWidget* window, const QPolygon& outline);

} // namespace roundedwindow

/// A frameless window with rounded corners and a background image, which the user drags by its background.
/// `Base` is QWidget or QDialog. Children stay unfilled, so the image shows through them in line.
template <class Base>
class RoundedWindow : public Base
{
  public:
    /// `outline` tells whether the rounded outline is painted. Shape it with makeWidgetRound once it has its
    /// size, and again after each change of size.
    RoundedWindow(const QString& backgroundImage, bool outline, QWidget* parent, Qt::WindowFlags flags)
        : Base(parent, ownType_ | flags)
        , backgroundImage_(backgroundImage)
        , outlined_(outline)
    {
        roundedwindow::setUp(this);
    }

    /// Shapes the window for its present size; the arguments are those of roundedOutline.
    virtual void makeWidgetRound(int xRnd, int yRnd)
    {
        aa = roundedOutline(this->size(), xRnd, yRnd);
        rounding_ = {xRnd, yRnd};
        this->setMask(QRegion(aa, Qt::OddEvenFill));
        roundedwindow::shape(this, fineOutline());
    }

  protected:
    bool event(QEvent* event) override
    {
        const bool known = Base::event(event);
        // The window on the screen has come with the shape in whole units.
        if (event->type() == QEvent::Show && !aa.isEmpty())
            roundedwindow::shape(this, fineOutline());
        return known;
    }

    void mousePressEvent(QMouseEvent* event) override
    {
        if (event->button() != Qt::LeftButton)
            return;
        clickPos = event->position().toPoint();
        moveWin = true;
    }

    void mouseReleaseEvent(QMouseEvent*) override { moveWin = false; }

    void mouseMoveEvent(QMouseEvent* event) override
    {
        if (moveWin)
            this->move(event->globalPosition().toPoint() - clickPos);
    }

    void paintEvent(QPaintEvent* event) override
    {
        Base::paintEvent(event);
        roundedwindow::paintBackground(this, backgroundImage_);
        if (outlined_)
            roundedwindow::paintOutline(this, fineOutline());
    }

    bool moveWin = false; ///< A drag with the left button is in progress.
    QPoint clickPos;      ///< Where it began, in window coordinates.
    QPolygon aa;          ///< The rounded outline, in window coordinates.

  private:
    /// In the pixels of the screen.
    QPolygon fineOutline() const
    {
        return roundedOutline(this->size(), rounding_.width(), rounding_.height(), this->devicePixelRatio());
    }

    static constexpr Qt::WindowFlags ownType_ = std::is_base_of_v<QDialog, Base> ? Qt::Dialog : Qt::Window;

    QString backgroundImage_;
    bool outlined_;
    QSize rounding_; ///< of the present shape
};
