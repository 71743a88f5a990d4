#include "kit/vtextpane.h"

#include "kit/visibletext.h"

#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QTextLayout>
#include <QtMath>

#include <algorithm>

namespace {

/// A line of more bytes goes on in the next row, so that no picture has to lay out a text without end.
constexpr qsizetype longestRowBytes = 8192;
constexpr int pictureInterval = 16; // milliseconds: 60 pictures a second
constexpr int dragScrollInterval = 50;
constexpr int margin = 3;

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/// How many bytes at the start of `rest` make up a character, 0 if they are not UTF-8.
qsizetype characterLength(QByteArrayView rest)
{
    const auto lead = static_cast<unsigned char>(rest.front());
    const qsizetype length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    return length <= rest.size() && rest.first(length).isValidUtf8() ? length : 0;
}

} // namespace

/// One row as it is shown: its text and, for each place in it, the offset of the byte there.
struct VTextPane::Row
{
    QString text;
    std::vector<qsizetype> offsets;

    int placeOf(qsizetype offset) const
    {
        return static_cast<int>(std::lower_bound(offsets.begin(), offsets.end(), offset) - offsets.begin());
    }
};

VTextPane::VTextPane(QWidget* parent, const char* name)
    : QAbstractScrollArea(parent)
{
    setObjectName(QLatin1StringView(name));
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setBackgroundRole(QPalette::Base);
    verticalScrollBar()->setSingleStep(1);
}

void VTextPane::append(const QByteArray& utf8)
{
    const qsizetype start = bytes.size();
    bytes.append(utf8);
    indexFrom(start);
    if (isVisible() && !repaintTimer.isActive())
        repaintTimer.start(pictureInterval, Qt::PreciseTimer, this);
}

void VTextPane::clear()
{
    bytes.clear();
    rowStarts = {0};
    longestRow = widest = 0;
    longestBytes = 0;
    anchor = cursor = 0;
    refresh();
}

/// Finds the rows that begin in the bytes from `start` on, which have just been added.
void VTextPane::indexFrom(qsizetype start)
{
    const auto endRow = [this](qsizetype next) {
        if (const qsizetype length = next - rowStarts.back(); length > longestBytes) {
            longestBytes = length;
            longestRow = static_cast<int>(rowStarts.size()) - 1;
        }
        rowStarts.push_back(next);
    };
    while (start < bytes.size()) {
        const qsizetype lineEnd = bytes.indexOf('\n', start);
        const qsizetype end = lineEnd < 0 ? bytes.size() : lineEnd + 1;
        for (qsizetype cut = rowStarts.back() + longestRowBytes; cut < end; cut += longestRowBytes) {
            for (int back = 0; back < 3 && isContinuation(bytes[cut]); ++back)
                --cut;
            endRow(cut);
        }
        if (lineEnd >= 0)
            endRow(end);
        start = end;
    }
}

int VTextPane::lineCount() const
{
    const bool lastIsEmpty = rowStarts.back() == bytes.size();
    return static_cast<int>(rowStarts.size()) - (lastIsEmpty ? 1 : 0);
}

/// The bytes of a row without its end of line.
QByteArrayView VTextPane::rowBytes(int row) const
{
    const auto place = static_cast<std::size_t>(row);
    const qsizetype end = place + 1 < rowStarts.size() ? rowStarts[place + 1] : bytes.size();
    QByteArrayView view = QByteArrayView(bytes).sliced(rowStarts[place], end - rowStarts[place]);
    if (view.endsWith('\n'))
        view.chop(1);
    if (view.endsWith('\r'))
        view.chop(1);
    return view;
}

VTextPane::Row VTextPane::shownRow(int row) const
{
    const QByteArrayView view = rowBytes(row);
    const qsizetype base = rowStarts[static_cast<std::size_t>(row)];
    Row shown;
    for (qsizetype i = 0; i < view.size();) {
        const qsizetype length = characterLength(view.sliced(i));
        const QString character = length == 0 ? QString(QChar(QChar::ReplacementCharacter))
                                              : visibleCharacter(QString::fromUtf8(view.sliced(i, length)));
        shown.text += character;
        shown.offsets.insert(shown.offsets.end(), static_cast<std::size_t>(character.size()), base + i);
        i += std::max<qsizetype>(length, 1);
    }
    shown.offsets.push_back(base + view.size());
    return shown;
}

QByteArray VTextPane::selectedText() const
{
    const auto [from, to] = std::minmax(anchor, cursor);
    return bytes.sliced(from, to - from);
}

void VTextPane::selectAll()
{
    anchor = 0;
    cursor = bytes.size();
    viewport()->update();
}

void VTextPane::copy()
{
    if (anchor != cursor)
        QGuiApplication::clipboard()->setText(QString::fromUtf8(selectedText()));
}

int VTextPane::rowHeight() const
{
    return fontMetrics().lineSpacing();
}

int VTextPane::rowsInView() const
{
    return std::max(1, (viewport()->height() - 2 * margin) / rowHeight());
}

/// Brings the scroll bars and the picture up to the text.
void VTextPane::refresh()
{
    QScrollBar* bar = verticalScrollBar();
    const bool atEnd = bar->value() == bar->maximum();
    bar->setPageStep(rowsInView());
    bar->setRange(0, std::max(0, lineCount() - rowsInView()));
    if (atEnd)
        bar->setValue(bar->maximum());
    measure();
    viewport()->update();
}

/// Makes room for the widest of the rows in view and of the row with most bytes. Rows out of view are not
/// measured: there may be a million.
void VTextPane::measure()
{
    const int first = verticalScrollBar()->value();
    const int end = std::min(first + rowsInView() + 1, lineCount());
    const QFontMetrics metrics = fontMetrics();
    if (longestRow < lineCount())
        widest = std::max(widest, metrics.horizontalAdvance(shownRow(longestRow).text));
    for (int row = first; row < end; ++row)
        widest = std::max(widest, metrics.horizontalAdvance(shownRow(row).text));
    QScrollBar* bar = horizontalScrollBar();
    bar->setSingleStep(metrics.averageCharWidth() * 4);
    bar->setPageStep(viewport()->width());
    bar->setRange(0, std::max(0, widest + 2 * margin - viewport()->width()));
}

void VTextPane::layOut(QTextLayout& layout) const
{
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    option.setTextDirection(Qt::LeftToRight);
    layout.setTextOption(option);
    layout.setFont(font());
    layout.beginLayout();
    layout.createLine().setLineWidth(QWIDGETSIZE_MAX);
    layout.endLayout();
}

void VTextPane::paintEvent(QPaintEvent*)
{
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::Text));
    const auto [from, to] = std::minmax(anchor, cursor);
    QTextLayout::FormatRange selection;
    selection.format.setBackground(palette().brush(QPalette::Highlight));
    selection.format.setForeground(palette().brush(QPalette::HighlightedText));

    const int first = verticalScrollBar()->value();
    const int end = std::min(first + rowsInView() + 1, lineCount());
    for (int row = first; row < end; ++row) {
        const Row shown = shownRow(row);
        selection.start = shown.placeOf(from);
        selection.length = shown.placeOf(to) - selection.start;
        QTextLayout layout(shown.text);
        layOut(layout);
        const QPoint place(margin - horizontalScrollBar()->value(), margin + (row - first) * rowHeight());
        layout.draw(&painter, place,
                    selection.length > 0 ? QList{selection} : QList<QTextLayout::FormatRange>{});
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

void VTextPane::scrollContentsBy(int, int)
{
    measure();
    viewport()->update();
}

void VTextPane::changeEvent(QEvent* event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        widest = 0;
        refresh();
    }
}

void VTextPane::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == repaintTimer.timerId()) {
        repaintTimer.stop();
        refresh();
    } else if (event->timerId() == dragTimer.timerId()) {
        const int above = std::min(dragPosition.y(), 0);
        const int below = std::max(dragPosition.y() - viewport()->height(), 0);
        verticalScrollBar()->setValue(verticalScrollBar()->value() + (above + below) / rowHeight());
        selectTo(dragPosition);
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
qsizetype VTextPane::offsetAt(QPoint position) const
{
    const int row = verticalScrollBar()->value() + qFloor(double(position.y() - margin) / rowHeight());
    if (row < 0)
        return 0;
    if (row >= lineCount())
        return bytes.size();
    const Row shown = shownRow(row);
    QTextLayout layout(shown.text);
    layOut(layout);
    const int x = position.x() - margin + horizontalScrollBar()->value();
    return shown.offsets[static_cast<std::size_t>(layout.lineAt(0).xToCursor(x))];
}

void VTextPane::selectTo(QPoint position)
{
    cursor = offsetAt(position);
    viewport()->update();
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
    if (anchor != cursor && clipboard->supportsSelection())
        clipboard->setText(QString::fromUtf8(selectedText()), QClipboard::Selection);
}

/// The menu does not run a loop of its own: whoever is filling the pane goes on.
void VTextPane::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(tr("&Copy"), this, &VTextPane::copy)->setEnabled(anchor != cursor);
    menu->addAction(tr("Select &All"), this, &VTextPane::selectAll);
    menu->popup(event->globalPos());
}
