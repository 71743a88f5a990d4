#pragma once

#include "kit/textrows.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

/// A read-only pane for long, growing plain texts such as logs.
///
/// The text is kept byte for byte and never interpreted: tags show as tags, what is not UTF-8 as replacement
/// characters. An append costs microseconds, pictures are painted at most 60 times a second, and the pane
/// follows its end while it is scrolled there. GUI thread only.
class VTextPane : public QAbstractScrollArea
{
    Q_OBJECT

  public:
    explicit VTextPane(QWidget* parent, const char* name = nullptr,
                       TextRows::Encoding encoding = TextRows::Encoding::Utf8);
    ~VTextPane() override;

    /// Adds exactly `bytes`; a line ends where the text says so.
    void append(const QByteArray& bytes);
    void append(const QString& text) { append(text.toUtf8()); }
    void append(const char* utf8) { append(QByteArray(utf8)); }
    /// Shows an open file without reading it whole, see TextRows; its rows come up as they are found.
    void setFile(std::unique_ptr<QFile> file);
    void clear();
    /// Goes to the first line and stays there, whatever is added, until the user scrolls.
    void goToStart();

    QByteArray text() const { return rows.bytes(0, rows.size()); }
    /// How many lines the pane shows; an end of line at the very end starts no further one.
    int lineCount() const { return rows.count(); }
    /// The selected bytes.
    QByteArray selectedText() const;

  public slots:
    void selectAll();
    /// Puts the selection on the clipboard, if there is one that does not take hundreds of megabytes there.
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
    friend class AccessiblePane;
    struct LaidRow;

    int rowHeight() const;
    int rowsInView() const;
    bool canCopy() const;
    void scheduleRefresh();
    void refresh();
    void measure();
    LaidRow layOut(int row) const;
    const std::vector<LaidRow>& layOutView();
    qint64 offsetAt(QPoint position) const;
    /// Where a character of a row is shown, in the viewport or outside it.
    QRect placeInRow(int row, int character) const;
    void selectTo(QPoint position);
    void scrollSelection();

    TextRows rows;
    std::vector<LaidRow> laidRows; ///< Those that were last in view.
    bool followsEnd = true;
    int widest = 0;           ///< Pixels of the widest row measured so far.
    int measuredLongest = -1; ///< The row with most bytes when it was last measured.
    qint64 anchor = 0;        ///< The selection lies between these two offsets.
    qint64 cursor = 0;
    QPoint dragPosition; ///< The pointer while a selection is dragged.
    QBasicTimer repaintTimer;
    QBasicTimer dragTimer;
    QBasicTimer indexTimer;
};
