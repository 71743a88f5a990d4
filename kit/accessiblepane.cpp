#include "kit/accessiblepane.h"

#include "kit/vtextpane.h"

#include <QScrollBar>

#include <algorithm>

namespace {

constexpr int rowsAround = 200;

} // namespace

int AccessiblePane::Part::placeOf(qint64 offset) const
{
    const auto found = std::ranges::lower_bound(offsets, offset) - offsets.begin();
    return std::min(static_cast<int>(found), static_cast<int>(text.size()));
}

qint64 AccessiblePane::Part::offsetOf(int place) const
{
    return offsets[static_cast<std::size_t>(std::clamp(place, 0, static_cast<int>(text.size())))];
}

int AccessiblePane::Part::rowOf(int place) const
{
    return std::max(0, static_cast<int>(std::ranges::upper_bound(rowStarts, place) - rowStarts.begin()) - 1);
}

AccessiblePane::AccessiblePane(VTextPane* pane)
    : QAccessibleWidget(pane, QAccessible::EditableText)
    , pane_(pane)
{
}

void* AccessiblePane::interface_cast(QAccessible::InterfaceType type)
{
    if (type == QAccessible::TextInterface)
        return static_cast<QAccessibleTextInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
}

QAccessible::State AccessiblePane::state() const
{
    QAccessible::State state = QAccessibleWidget::state();
    state.readOnly = state.multiLine = state.selectableText = true;
    return state;
}

AccessiblePane::Part AccessiblePane::part() const
{
    const int top = pane_->verticalScrollBar()->value();
    const int end = std::min(pane_->lineCount(), top + pane_->rowsInView() + rowsAround);
    Part part;
    part.firstRow = std::max(0, top - rowsAround);
    qint64 last = 0;
    for (int number = part.firstRow; number < end; ++number) {
        const TextRows::Row row = pane_->rows.row(number);
        // A row that goes on in the next one has no end of line.
        if (number > part.firstRow && row.offsets.front() > last) {
            part.text += u'\n';
            part.offsets.push_back(last);
        }
        part.rowStarts.push_back(static_cast<int>(part.text.size()));
        part.text += row.text;
        part.offsets.insert(part.offsets.end(), row.offsets.begin(), row.offsets.end() - 1);
        last = row.offsets.back();
    }
    part.offsets.push_back(last);
    return part;
}

int AccessiblePane::characterCount() const
{
    return static_cast<int>(part().text.size());
}

QString AccessiblePane::text(int from, int to) const
{
    return part().text.mid(from, to - from);
}

QRect AccessiblePane::characterRect(int offset) const
{
    const Part shown = part();
    if (offset < 0 || offset >= shown.text.size())
        return {};
    const int row = shown.rowOf(offset);
    const QRect rect =
        pane_->placeInRow(shown.firstRow + row, offset - shown.rowStarts[static_cast<std::size_t>(row)]);
    return rect.translated(pane_->viewport()->mapToGlobal(QPoint()));
}

int AccessiblePane::offsetAtPoint(const QPoint& point) const
{
    return part().placeOf(pane_->offsetAt(pane_->viewport()->mapFromGlobal(point)));
}

void AccessiblePane::scrollToSubstring(int from, int /*to*/)
{
    const Part shown = part();
    const int row = shown.firstRow + shown.rowOf(from);
    QScrollBar* bar = pane_->verticalScrollBar();
    if (row < bar->value() || row >= bar->value() + pane_->rowsInView())
        bar->setValue(row);
}

QString AccessiblePane::attributes(int /*offset*/, int* from, int* to) const
{
    *from = 0;
    *to = characterCount();
    return {};
}

int AccessiblePane::cursorPosition() const
{
    return part().placeOf(pane_->cursor);
}

void AccessiblePane::setCursorPosition(int position)
{
    select(position, position);
    scrollToSubstring(position, position);
}

int AccessiblePane::selectionCount() const
{
    return pane_->anchor == pane_->cursor ? 0 : 1;
}

void AccessiblePane::selection(int index, int* from, int* to) const
{
    const Part shown = part();
    const auto [first, last] = std::minmax(pane_->anchor, pane_->cursor);
    *from = index == 0 ? shown.placeOf(first) : 0;
    *to = index == 0 ? shown.placeOf(last) : 0;
}

void AccessiblePane::removeSelection(int index)
{
    if (index == 0)
        select(cursorPosition(), cursorPosition());
}

void AccessiblePane::setSelection(int index, int from, int to)
{
    if (index == 0)
        select(from, to);
}

void AccessiblePane::select(int from, int to)
{
    const Part shown = part();
    pane_->anchor = shown.offsetOf(from);
    pane_->cursor = shown.offsetOf(to);
    pane_->viewport()->update();
}
