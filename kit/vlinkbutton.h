#pragma once

#include <QPushButton>
#include <QString>

/// A button that looks like a link: underlined text, behind an icon if one is set, over the window's own
/// painting.
class VLinkButton : public QPushButton
{
    Q_OBJECT

  public:
    /// `backgroundImage` names the texture of the window that holds the link.
    VLinkButton(const QString& backgroundImage, QWidget* parent, const char* name = nullptr);

    /// No more than the text and the icon need.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    virtual void drawButton(QPainter* painter);
    virtual void drawButtonLabel(QPainter* painter);

  private:
    QPixmap iconPixmap() const;
};
