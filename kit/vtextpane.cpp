#include "kit/vtextpane.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QTextLayout>
#include <QtMath>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr int pictureInterval = 16; // milliseconds: 60 pictures a second
constexpr int dragScrollInterval = 50;
constexpr int margin = 3;
constexpr int tabColumns = 8;
constexpr qint64 longestCopy = 64 << 20;

} // namespace

/// A row of the text that is ready to be painted.
struct VTextPane::LaidRow
{
    int number;
    bool final; ///< Whatever is added, the row stays as it is.
    std::vector<qint64> offsets;
    std::unique_ptr<QTextLayout> layout;

    /// Where in the row's text the byte at `offset` of the whole text is shown.
    int placeOf(qint64 offset) const
    {
        return static_cast<int>(std::ranges::lower_bound(offsets, offset) - offsets.begin());
    }
};

VTextPane::VTextPane(QWidget* parent, const char* name, TextRows::Encoding encoding)
    : QAbstractScrollArea(parent)
    , rows(encoding)
{
    setObjectName(QLatin1StringView(name));
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setBackgroundRole(QPalette::Base);
    verticalScrollBar()->setSingleStep(1);
}

VTextPane::~VTextPane() = default;

void VTextPane::append(const QByteArray& bytes)
{
    rows.append(bytes);
    if (!indexTimer.isActive() && rows.indexMore())
        indexTimer.start(0, this);
    scheduleRefresh();
}

void VTextPane::setFile(std::unique_ptr<QFile> file)
{
    clear();
    rows.setFile(std::move(file));
    rows.indexMore();
    indexTimer.start(0, this);
    scheduleRefresh();
}

void VTextPane::clear()
{
    indexTimer.stop();
    rows.clear();
    laidRows.clear();
    widest = 0;
    measuredLongest = -1;
    anchor = cursor = 0;
    refresh();
}

void VTextPane::goToStart()
{
    verticalScrollBar()->setValue(0);
    followsEnd = false;
}

QByteArray VTextPane::selectedText() const
{
    const auto [from, to] = std::minmax(anchor, cursor);
    return rows.bytes(from, to - from);
}

void VTextPane::selectAll()
{
    anchor = 0;
    cursor = rows.size();
    viewport()->update();
}

bool VTextPane::canCopy() const
{
    return anchor != cursor && std::abs(anchor - cursor) <= longestCopy;
}

void VTextPane::copy()
{
    if (canCopy())
        QGuiApplication::clipboard()->setText(rows.decoded(selectedText()));
}

int VTextPane::rowHeight() const
{
    return fontMetrics().lineSpacing();
}

int VTextPane::rowsInView() const
{
    return std::max(1, (viewport()->height() - 2 * margin) / rowHeight());
}

void VTextPane::scheduleRefresh()
{
    if (isVisible() && !repaintTimer.isActive())
        repaintTimer.start(pictureInterval, Qt::PreciseTimer, this);
}

/// Brings the scroll bars and the picture up to the text.
void VTextPane::refresh()
{
    QScrollBar* bar = verticalScrollBar();
    bar->setPageStep(rowsInView());
    bar->setRange(0, std::max(0, lineCount() - rowsInView()));
    if (followsEnd)
        bar->setValue(bar->maximum());
    measure();
    viewport()->update();
}

/// Makes room for the widest of the rows in view and of the row with most bytes. Rows out of view are not
/// measured: there may be a million.
void VTextPane::measure()
{
    const auto take = [this](const LaidRow& row) {
        widest = std::max(widest, qCeil(row.layout->lineAt(0).naturalTextWidth()));
    };
    std::ranges::for_each(layOutView(), take);
    if (rows.longest() != std::exchange(measuredLongest, rows.longest()))
        take(layOut(rows.longest()));
    QScrollBar* bar = horizontalScrollBar();
    bar->setSingleStep(fontMetrics().averageCharWidth() * 4);
    bar->setPageStep(viewport()->width());
    bar->setRange(0, std::max(0, widest + 2 * margin - viewport()->width()));
}

VTextPane::LaidRow VTextPane::layOut(int number) const
{
    TextRows::Row row = rows.row(number);
    auto layout = std::make_unique<QTextLayout>(row.text, font());
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    option.setTextDirection(Qt::LeftToRight);
    option.setTabStopDistance(tabColumns * fontMetrics().horizontalAdvance(QLatin1Char('x')));
    layout->setTextOption(option);
    layout->setCacheEnabled(true);
    layout->beginLayout();
    layout->createLine().setLineWidth(QWIDGETSIZE_MAX);
    layout->endLayout();
    return {number, number + 1 < lineCount(), std::move(row.offsets), std::move(layout)};
}

/// Lays out the rows that have come into view, which takes time where a line is long and strange.
const std::vector<VTextPane::LaidRow>& VTextPane::layOutView()
{
    std::vector<LaidRow> before = std::exchange(laidRows, {});
    const int first = verticalScrollBar()->value();
    const int end = std::min(first + rowsInView() + 1, lineCount());
    for (int number = first; number < end; ++number) {
        const auto known = std::ranges::find(before, number, &LaidRow::number);
        const bool stays = known != before.end() && known->final;
        laidRows.push_back(stays ? std::move(*known) : layOut(number));
    }
    return laidRows;
}

void VTextPane::paintEvent(QPaintEvent*)
{
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::Text));
    const auto [from, to] = std::minmax(anchor, cursor);
    QTextLayout::FormatRange selection;
    selection.format.setBackground(palette().brush(QPalette::Highlight));
    selection.format.setForeground(palette().brush(QPalette::HighlightedText));

    QPoint place(margin - horizontalScrollBar()->value(), margin);
    for (const LaidRow& row : layOutView()) {
        selection.start = row.placeOf(from);
        selection.length = row.placeOf(to) - selection.start;
        row.layout->draw(&painter, place,
                         selection.length > 0 ? QList{selection} : QList<QTextLayout::FormatRange>{});
        place.ry() += rowHeight();
    }
}

void VTextPane::resizeEvent(QResizeEvent*)
{
    refresh();
}

void VTextPane::showEvent(QShowEvent*)
{
    refresh();
}

void VTextPane::scrollContentsBy(int, int dy)
{
    if (dy != 0)
        followsEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    measure();
    viewport()->update();
}

void VTextPane::changeEvent(QEvent* event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        laidRows.clear();
        widest = 0;
        measuredLongest = -1;
        refresh();
    }
}

void VTextPane::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == repaintTimer.timerId()) {
        repaintTimer.stop();
        refresh();
    } else if (event->timerId() == indexTimer.timerId()) {
        if (!rows.indexMore())
            indexTimer.stop();
        scheduleRefresh();
    } else if (event->timerId() == dragTimer.timerId()) {
        scrollSelection();
    }
}

void VTextPane::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Copy))
        copy();
    else if (event->matches(QKeySequence::SelectAll))
        selectAll();
    else if (event->key() == Qt::Key_Home)
        verticalScrollBar()->triggerAction(QScrollBar::SliderToMinimum);
    else if (event->key() == Qt::Key_End)
        verticalScrollBar()->triggerAction(QScrollBar::SliderToMaximum);
    else
        QAbstractScrollArea::keyPressEvent(event);
}

/// The byte that is shown at, or nearest to, a position in the viewport.
qint64 VTextPane::offsetAt(QPoint position) const
{
    const int row = verticalScrollBar()->value() + qFloor(double(position.y() - margin) / rowHeight());
    if (row < 0)
        return 0;
    if (row >= lineCount())
        return rows.size();
    const LaidRow laid = layOut(row);
    const int x = position.x() - margin + horizontalScrollBar()->value();
    return laid.offsets[static_cast<std::size_t>(laid.layout->lineAt(0).xToCursor(x))];
}

QRect VTextPane::placeInRow(int row, int character) const
{
    const LaidRow laid = layOut(row);
    const QTextLine line = laid.layout->lineAt(0);
    const int left = qFloor(line.cursorToX(character)), right = qCeil(line.cursorToX(character + 1));
    return {margin - horizontalScrollBar()->value() + left,
            margin + (row - verticalScrollBar()->value()) * rowHeight(), right - left, rowHeight()};
}

void VTextPane::selectTo(QPoint position)
{
    cursor = offsetAt(position);
    viewport()->update();
}

/// Goes on selecting while the pointer is held above or below the pane, the faster the further away.
void VTextPane::scrollSelection()
{
    const int above = std::min(dragPosition.y(), 0);
    const int below = std::max(dragPosition.y() - viewport()->height(), 0);
    verticalScrollBar()->setValue(verticalScrollBar()->value() + (above + below) / rowHeight());
    selectTo(dragPosition);
}

void VTextPane::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    dragPosition = event->position().toPoint();
    selectTo(dragPosition);
    if (!event->modifiers().testFlag(Qt::ShiftModifier))
        anchor = cursor;
}

void VTextPane::mouseMoveEvent(QMouseEvent* event)
{
    if (!event->buttons().testFlag(Qt::LeftButton))
        return;
    dragPosition = event->position().toPoint();
    selectTo(dragPosition);
    if (viewport()->rect().contains(dragPosition))
        dragTimer.stop();
    else if (!dragTimer.isActive())
        dragTimer.start(dragScrollInterval, this);
}

void VTextPane::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    dragTimer.stop();
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (canCopy() && clipboard->supportsSelection())
        clipboard->setText(rows.decoded(selectedText()), QClipboard::Selection);
}

/// The menu does not run a loop of its own: whoever is filling the pane goes on.
void VTextPane::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(tr("&Copy"), this, &VTextPane::copy)->setEnabled(canCopy());
    menu->addAction(tr("Select &All"), this, &VTextPane::selectAll);
    menu->popup(event->globalPos());
}
