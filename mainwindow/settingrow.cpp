#include "mainwindow/settingrow.h"

#include "mainwindow/vmainwidget.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QSpinBox>

#include <algorithm>
#include <cstdlib>

void* SettingRow::place(OptionValue& value) const
{
    switch (type) {
    case Flag:
        return &value.flag;
    case Byte:
        return &value.byte;
    case Number:
        return &value.number;
    case Text:
        break;
    }
    return value.text.data();
}

void SettingRow::show(const OptionValue& value) const
{
    constexpr unsigned int beyondAllRanges = 1000;
    if (auto* box = qobject_cast<QCheckBox*>(control))
        box->setChecked(value.flag);
    else if (auto* spin = qobject_cast<QSpinBox*>(control))
        spin->setValue(type == Byte ? value.byte : static_cast<int>(std::min(value.number, beyondAllRanges)));
    else if (auto* edit = qobject_cast<QLineEdit*>(control); type == Text)
        edit->setText(QString::fromUtf8(value.text.data()));
    else
        edit->setText(value.number ? QString::number(value.number) : QString());
}

OptionValue SettingRow::shown() const
{
    OptionValue value;
    if (const auto* box = qobject_cast<const QCheckBox*>(control)) {
        value.flag = box->isChecked();
    } else if (const auto* spin = qobject_cast<const QSpinBox*>(control)) {
        value.byte = static_cast<unsigned char>(spin->value());
        value.number = static_cast<unsigned int>(spin->value());
    } else {
        const QByteArray bytes = qobject_cast<const QLineEdit*>(control)->text().toUtf8();
        value.number = static_cast<unsigned int>(std::atoi(bytes));
        std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), value.text.size() - 1),
                    value.text.begin());
    }
    return value;
}

void SettingRow::connectTo(VMainWidget* window) const
{
    if (switched)
        QObject::connect(qobject_cast<QCheckBox*>(control), &QCheckBox::stateChanged, window, switched);
    else if (auto* box = qobject_cast<QCheckBox*>(control))
        QObject::connect(box, &QCheckBox::toggled, window, &VMainWidget::updateValueChanged);
    else if (auto* spin = qobject_cast<QSpinBox*>(control))
        QObject::connect(spin, &QSpinBox::valueChanged, window, &VMainWidget::updateValueChanged);
    else if (auto* edit = qobject_cast<QLineEdit*>(control))
        QObject::connect(edit, &QLineEdit::textChanged, window, &VMainWidget::updateValueChanged);
}
