#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QString>

#include <memory>
#include <vector>

/// A text of any size, cut into the rows in which a pane shows it: its lines, where a line without end goes
/// on in further rows.
///
/// The text is either kept in memory, and grows, or stays in a file, of which no more than is asked for is
/// read. The index holds the start of each 64th row only, so that a text of nothing but ends of line does not
/// cost many times its size.
class TextRows
{
  public:
    enum class Encoding { Utf8, Latin1 };

    /// One row as it is shown: its text and, for each place in it and for its end, the offset of the byte
    /// there.
    struct Row
    {
        QString text;
        std::vector<qint64> offsets;
    };

    explicit TextRows(Encoding encoding = Encoding::Utf8)
        : encoding_(encoding)
    {
    }

    /// Adds to a text in memory. Its rows too are found by indexMore().
    void append(const QByteArray& bytes);
    /// Takes an open file in the place of the text: its bytes as far as it reaches now. Should the file be
    /// cut short later, the rows that it loses are empty.
    void setFile(std::unique_ptr<QFile> file);
    void clear();

    /// Looks for more rows, for some milliseconds. False once there is nothing left to look through.
    bool indexMore();

    /// The rows found so far; an end of line at the very end of the text starts no further one.
    int count() const;
    /// One of them; empty beyond the last.
    Row row(int number) const;
    /// The row with most bytes, a fair guess at the widest.
    int longest() const { return longestRow_; }

    qint64 size() const { return size_; }
    /// The bytes in that range, as far as they can be read.
    QByteArray bytes(qint64 from, qint64 length) const;
    QString decoded(const QByteArray& bytes) const;

  private:
    QByteArrayView view(qint64 from, qint64 length) const;
    qint64 endOfRow(qint64 start) const;
    qint64 startOfRow(int row) const;
    QByteArrayView rowAt(qint64 start) const;

    Encoding encoding_;
    QByteArray memory_;
    std::unique_ptr<QFile> file_;
    qint64 size_ = 0;

    std::vector<qint64> landmarks_{0}; ///< Where the rows 0, 64, 128 and so on begin.
    int complete_ = 0;                 ///< Rows whose end is known.
    qint64 tail_ = 0;                  ///< Where the row after these begins.
    bool ended_ = false;               ///< That row is the last one.
    qint64 longestBytes_ = 0;
    int longestRow_ = 0;

    mutable QByteArray page_; ///< What was last read of the file, from pageStart_ on.
    mutable qint64 pageStart_ = 0;
};
