#pragma once

#include <QPushButton>
#include <QString>

/// A push button painted from a set of faces, with its label over them. It never takes the focus.
class VPushButton : public QPushButton
{
    Q_OBJECT

  public:
    /// `strImage` is the base name of the faces ("button" for "button1.png"). The texture behind the button
    /// is the window's own painting, which is what `backgroundImage` names.
    VPushButton(const QString& strImage, const QString& backgroundImage, bool toggle, QWidget* parent,
                const char* name = nullptr);

  protected:
    void paintEvent(QPaintEvent* event) override;
    virtual void drawButton(QPainter* painter);
    virtual void drawButtonLabel(QPainter* painter);

  private:
    QString strImage;
};
