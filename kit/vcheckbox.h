#pragma once

#include <QCheckBox>

/// A check box painted from the faces "check1.png" to "check5.png".
class VCheckBox : public QCheckBox
{
    Q_OBJECT

  public:
    explicit VCheckBox(QWidget* parent, const char* name = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    virtual void drawButton(QPainter* painter);
    virtual void drawButtonLabel(QPainter* painter);
};
