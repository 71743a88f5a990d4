#include "kit/labels.h"

#include <QLabel>

static QLabel* makeLabel(QWidget* parent, const char* name, Qt::TextFormat format)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1StringView(name));
    label->setTextFormat(format);
    label->setTextInteractionFlags(Qt::NoTextInteraction);
    return label;
}

QLabel* plainLabel(QWidget* parent, const char* name)
{
    return makeLabel(parent, name, Qt::PlainText);
}

QLabel* richLabel(QWidget* parent, const char* name)
{
    return makeLabel(parent, name, Qt::RichText);
}
