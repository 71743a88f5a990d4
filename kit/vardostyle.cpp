#include "kit/vardostyle.h"

#include "kit/palettes.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QPainter>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOption>
#include <QTabBar>
#include <QToolTip>
#include <qdrawutil.h>

namespace {

constexpr double radius = 2.5;
constexpr int titleLeft = 9;
constexpr int fontSize = 9; // points, of what has no font of its own
constexpr int titleGap = 3;
constexpr QColor grooveColour(232, 239, 248);

bool isTextured(const QStyleOption& option)
{
    return option.palette.button().style() == Qt::TexturePattern;
}

/// A rounded rectangle on pixel centres with a frame in OUTLINE_COLOUR, darker with the focus.
void drawFrame(QPainter* painter, const QRect& rect, const QBrush& fill, bool focus = false)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setBrushOrigin(rect.topLeft());
    painter->setPen(focus ? TITLE_COLOUR : OUTLINE_COLOUR);
    painter->setBrush(fill);
    painter->drawRoundedRect(QRectF(rect).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter->restore();
}

/// A part that can be pressed, in the texture of the Button brush: lighter under the mouse, darker when
/// pressed, pale when disabled.
void drawTextured(QPainter* painter, const QRect& rect, const QStyleOption& option, QStyle::State state)
{
    drawFrame(painter, rect, option.palette.button(), state.testFlag(QStyle::State_HasFocus));
    const QRect inside = rect.adjusted(1, 1, -1, -1);
    if (!state.testFlag(QStyle::State_Enabled))
        painter->fillRect(inside, QColor(255, 255, 255, 128));
    else if (state.testFlag(QStyle::State_Sunken))
        painter->fillRect(inside, QColor(0, 0, 0, 24));
    else if (state.testFlag(QStyle::State_MouseOver))
        painter->fillRect(inside, QColor(255, 255, 255, 80));
}

/// Fusion, with the texture of the Button brush where there is one, and thin, rounded frames in the colour of
/// the windows' outlines.
class VardoStyle : public QProxyStyle
{
  public:
    VardoStyle()
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
    {
    }

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        // Room for the round corners beside the square viewport.
        if (metric == PM_DefaultFrameWidth && qobject_cast<const QAbstractScrollArea*>(widget))
            return 2;
        return QProxyStyle::pixelMetric(metric, option, widget);
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returnData) const override
    {
        if (hint == SH_UnderlineShortcut)
            return 1;
        // The highlight leaves a tree's branches as they are.
        if (hint == SH_ComboBox_Popup || hint == SH_ItemView_ShowDecorationSelected)
            return 0;
        return QProxyStyle::styleHint(hint, option, widget, returnData);
    }

    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                         const QWidget* widget) const override;
    QRect subElementRect(SubElement element, const QStyleOption* option,
                         const QWidget* widget) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                            const QWidget* widget) const override;

  private:
    void drawScrollBar(const QStyleOptionSlider& option, QPainter* painter, const QWidget* widget) const;
    void drawComboBox(const QStyleOptionComboBox& option, QPainter* painter, const QWidget* widget) const;
    void drawGroupBox(const QStyleOptionGroupBox& option, QPainter* painter, const QWidget* widget) const;
    void drawTab(const QStyleOptionTab& option, QPainter* painter) const;
    void drawArrow(PrimitiveElement arrow, const QRect& rect, const QStyleOption& option, QPainter* painter,
                   const QWidget* widget) const;
};

/// A group box's title lies on its frame; the contents begin below the title.
QRect VardoStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                                 const QWidget* widget) const
{
    const auto* group = qstyleoption_cast<const QStyleOptionGroupBox*>(option);
    if (control != CC_GroupBox || !group || group->subControls.testFlag(SC_GroupBoxCheckBox))
        return QProxyStyle::subControlRect(control, option, part, widget);
    const int titleHeight = group->text.isEmpty() ? 0 : group->fontMetrics.height();
    switch (part) {
    case SC_GroupBoxLabel: {
        const int titleWidth = group->fontMetrics.size(Qt::TextShowMnemonic, group->text).width();
        return {group->rect.topLeft() + QPoint(titleLeft, 0), QSize(titleWidth, titleHeight)};
    }
    case SC_GroupBoxFrame:
        return group->rect.adjusted(0, titleHeight / 2, 0, 0);
    default:
        return group->rect.adjusted(0, titleHeight, 0, 0);
    }
}

/// The page of a tab widget fills its frame.
QRect VardoStyle::subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const
{
    if (element != SE_TabWidgetTabContents)
        return QProxyStyle::subElementRect(element, option, widget);
    return QProxyStyle::subElementRect(SE_TabWidgetTabPane, option, widget).adjusted(1, 1, -1, -1);
}

void VardoStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const
{
    const bool focus = option->state.testFlag(State_HasFocus);
    const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
    if (element == PE_Frame && qobject_cast<const QAbstractScrollArea*>(widget))
        drawFrame(painter, option->rect, option->palette.base());
    else if (element == PE_PanelLineEdit && frame && frame->lineWidth > 0)
        drawFrame(painter, option->rect, option->palette.base(), focus);
    else if (element == PE_FrameTabWidget)
        qDrawPlainRect(painter, option->rect, OUTLINE_COLOUR);
    else if (element == PE_FrameFocusRect && option->state.testFlag(State_KeyboardFocusChange))
        drawFrame(painter, option->rect, Qt::NoBrush); // Fusion would veil the row in the highlight's colour.
    else
        QProxyStyle::drawPrimitive(element, option, painter, widget);
}

void VardoStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                             const QWidget* widget) const
{
    if (element == CE_ProgressBarGroove) {
        drawFrame(painter, option->rect, option->palette.base());
        return;
    }
    const auto* tab = qstyleoption_cast<const QStyleOptionTab*>(option);
    if (element == CE_TabBarTabShape && tab && tab->shape == QTabBar::RoundedNorth) {
        drawTab(*tab, painter);
        return;
    }
    if ((element != CE_HeaderSection && element != CE_HeaderEmptyArea) || !isTextured(*option)) {
        QProxyStyle::drawControl(element, option, painter, widget);
        return;
    }
    painter->fillRect(option->rect, option->palette.button());
    painter->setPen(OUTLINE_COLOUR);
    painter->drawLine(option->rect.bottomLeft(), option->rect.bottomRight());
    if (element == CE_HeaderSection)
        painter->drawLine(option->rect.topRight(), option->rect.bottomRight());
}

void VardoStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                    QPainter* painter, const QWidget* widget) const
{
    const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
    const auto* combo = qstyleoption_cast<const QStyleOptionComboBox*>(option);
    const auto* group = qstyleoption_cast<const QStyleOptionGroupBox*>(option);
    if (control == CC_ScrollBar && bar && isTextured(*option)) {
        drawScrollBar(*bar, painter, widget);
    } else if (control == CC_ComboBox && combo && !combo->editable && isTextured(*option)) {
        drawComboBox(*combo, painter, widget);
    } else if (control == CC_GroupBox && group && !group->subControls.testFlag(SC_GroupBoxCheckBox)) {
        drawGroupBox(*group, painter, widget);
    } else {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        if (control == CC_SpinBox)
            drawFrame(painter, option->rect.adjusted(0, 1, 0, -1), Qt::NoBrush,
                      option->state.testFlag(State_HasFocus));
    }
}

/// A tab on top of its page: the one in front opens into it, the others are lower.
void VardoStyle::drawTab(const QStyleOptionTab& option, QPainter* painter) const
{
    const bool inFront = option.state.testFlag(State_Selected);
    const bool lit = inFront || option.state.testFlag(State_MouseOver);
    painter->save();
    painter->setClipRect(inFront ? option.rect : option.rect.adjusted(0, 0, 0, -1));
    // The lower corners lie outside, as they are not round.
    drawFrame(painter, option.rect.adjusted(0, inFront ? 0 : 2, 0, 5),
              lit ? option.palette.base() : option.palette.button());
    painter->restore();
}

void VardoStyle::drawArrow(PrimitiveElement arrow, const QRect& rect, const QStyleOption& option,
                           QPainter* painter, const QWidget* widget) const
{
    QStyleOption part = option;
    part.rect = QRect(0, 0, 9, 9);
    part.rect.moveCenter(rect.center());
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::ButtonText})
        part.palette.setColor(role, part.state.testFlag(State_Enabled) ? TITLE_COLOUR : OUTLINE_COLOUR);
    proxy()->drawPrimitive(arrow, &part, painter, widget);
}

void VardoStyle::drawScrollBar(const QStyleOptionSlider& option, QPainter* painter,
                               const QWidget* widget) const
{
    const bool vertical = option.orientation == Qt::Vertical;
    painter->fillRect(option.rect, grooveColour);
    for (const SubControl part : {SC_ScrollBarSubLine, SC_ScrollBarAddLine, SC_ScrollBarSlider}) {
        const QRect rect = proxy()->subControlRect(CC_ScrollBar, &option, part, widget);
        if (rect.isEmpty())
            continue;
        State state = option.state & State_Enabled;
        if ((option.activeSubControls & part) != 0)
            state |= option.state & (State_Sunken | State_MouseOver);
        drawTextured(painter, rect, option, state);
        if (part == SC_ScrollBarSubLine)
            drawArrow(vertical ? PE_IndicatorArrowUp : PE_IndicatorArrowLeft, rect, option, painter, widget);
        else if (part == SC_ScrollBarAddLine)
            drawArrow(vertical ? PE_IndicatorArrowDown : PE_IndicatorArrowRight, rect, option, painter,
                      widget);
    }
}

void VardoStyle::drawComboBox(const QStyleOptionComboBox& option, QPainter* painter,
                              const QWidget* widget) const
{
    drawTextured(painter, option.rect, option, option.state);
    const QRect arrow = proxy()->subControlRect(CC_ComboBox, &option, SC_ComboBoxArrow, widget);
    drawArrow(PE_IndicatorArrowDown, arrow, option, painter, widget);
}

void VardoStyle::drawGroupBox(const QStyleOptionGroupBox& option, QPainter* painter,
                              const QWidget* widget) const
{
    const QRect title = proxy()->subControlRect(CC_GroupBox, &option, SC_GroupBoxLabel, widget);
    const QRect frame = proxy()->subControlRect(CC_GroupBox, &option, SC_GroupBoxFrame, widget);
    painter->save();
    if (!title.isEmpty())
        painter->setClipRegion(QRegion(option.rect) - title.adjusted(-titleGap, 0, titleGap, 0));
    drawFrame(painter, frame, Qt::NoBrush);
    painter->restore();
    constexpr int flags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextShowMnemonic;
    proxy()->drawItemText(painter, title, flags, option.palette, option.state.testFlag(State_Enabled),
                          option.text, QPalette::WindowText);
}

struct RoleColour
{
    QPalette::ColorRole role;
    QColor colour;
    QColor disabled;
};

constexpr QColor black(0, 0, 0), white(255, 255, 255), grey(128, 128, 128);

constexpr RoleColour programColours[] = {
    {QPalette::WindowText, black, grey},
    {QPalette::Button, {222, 232, 244}, {222, 232, 244}},
    {QPalette::Light, white, white},
    {QPalette::Midlight, {238, 243, 250}, {238, 243, 250}},
    {QPalette::Dark, {143, 165, 189}, {143, 165, 189}},
    {QPalette::Mid, {184, 200, 218}, {184, 200, 218}},
    {QPalette::Text, black, grey},
    {QPalette::BrightText, white, white},
    {QPalette::ButtonText, black, grey},
    {QPalette::Base, white, {240, 244, 249}},
    {QPalette::AlternateBase, {240, 245, 251}, {240, 245, 251}},
    {QPalette::Window, {230, 237, 247}, {230, 237, 247}},
    {QPalette::Shadow, {60, 80, 100}, {60, 80, 100}},
    {QPalette::Highlight, {58, 122, 178}, {160, 176, 192}},
    {QPalette::HighlightedText, white, white},
    {QPalette::Link, LINK_COLOUR, DISABLED_LINK_COLOUR},
    {QPalette::LinkVisited, {255, 0, 255}, DISABLED_LINK_COLOUR},
    {QPalette::ToolTipBase, {255, 255, 225}, {255, 255, 225}},
    {QPalette::ToolTipText, black, grey},
    {QPalette::PlaceholderText, grey, grey},
};

QPalette programPalette()
{
    QPalette palette;
    for (const RoleColour& role : programColours) {
        palette.setColor(role.role, role.colour);
        palette.setColor(QPalette::Disabled, role.role, role.disabled);
    }
    return palette;
}

} // namespace

void applyVardoStyle(QApplication& application)
{
    application.setStyle(new VardoStyle);
    // For all classes of widgets: what a desktop's theme has set for some of them goes.
    application.setPalette(programPalette());
    application.setFont(QFont(QStringLiteral("Sans Serif"), fontSize));
    QToolTip::setPalette(programPalette());
}
