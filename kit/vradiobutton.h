#pragma once

#include <QRadioButton>

/// A radio button painted from the faces "option1.png" to "option5.png".
class VRadioButton : public QRadioButton
{
    Q_OBJECT

  public:
    explicit VRadioButton(QWidget* parent, const char* name = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    virtual void drawButton(QPainter* painter);
    virtual void drawButtonLabel(QPainter* painter);
};
