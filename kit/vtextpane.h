#pragma once

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QByteArray>
#include <QString>

#include <vector>

class QTextLayout;

/// A read-only pane for long, growing plain texts such as logs.
///
/// The text is kept byte for byte and never interpreted: tags show as tags, what is not UTF-8 as replacement
/// characters. An append costs microseconds, pictures are painted at most 60 times a second, and the pane
/// follows its end while it is scrolled there. GUI thread only.
class VTextPane : public QAbstractScrollArea
{
    Q_OBJECT

  public:
    explicit VTextPane(QWidget* parent, const char* name = nullptr);

    /// Adds exactly `utf8`; a line ends where the text says so.
    void append(const QByteArray& utf8);
    void append(const QString& text) { append(text.toUtf8()); }
    void append(const char* utf8) { append(QByteArray(utf8)); }
    void clear();

    QByteArray text() const { return bytes; }
    /// How many lines the pane shows; an end of line at the very end starts no further one.
    int lineCount() const;
    /// The selected bytes.
    QByteArray selectedText() const;

  public slots:
    void selectAll();
    /// Puts the selection, if there is one, on the clipboard.
    void copy();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void changeEvent(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    struct Row;

    void indexFrom(qsizetype start);
    QByteArrayView rowBytes(int row) const;
    Row shownRow(int row) const;
    int rowHeight() const;
    int rowsInView() const;
    void refresh();
    void measure();
    void layOut(QTextLayout& layout) const;
    qsizetype offsetAt(QPoint position) const;
    void selectTo(QPoint position);

    QByteArray bytes;
    std::vector<qsizetype> rowStarts{0}; ///< Where each row begins in `bytes`.
    qsizetype longestBytes = 0;
    int longestRow = 0;   ///< The one with most bytes, a fair guess at the widest.
    int widest = 0;       ///< Pixels of the widest row measured so far.
    qsizetype anchor = 0; ///< The selection lies between these two offsets.
    qsizetype cursor = 0;
    QPoint dragPosition; ///< The pointer while a selection is dragged.
    QBasicTimer repaintTimer;
    QBasicTimer dragTimer;
};
