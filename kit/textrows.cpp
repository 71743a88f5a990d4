#include "kit/textrows.h"

#include "kit/visibletext.h"

#include <algorithm>
#include <limits>

namespace {

/// A line of more bytes, which is more than any path has, goes on in the next row, so that no picture has to
/// lay out a text without end.
constexpr qint64 longestRowBytes = 4096;
constexpr qint64 longestLineEnd = 2;
constexpr int landmarkDistance = 64;
constexpr qint64 pageSize = 256 << 10;
/// How much indexMore() does: so many bytes, where each row counts as some more.
constexpr qint64 indexedAtOnce = 2 << 20;
constexpr qint64 costOfRow = 64;

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

void TextRows::append(const QByteArray& bytes)
{
    memory_.append(bytes);
    size_ = memory_.size();
    ended_ = false;
}

void TextRows::setFile(std::unique_ptr<QFile> file)
{
    clear();
    file_ = std::move(file);
    size_ = file_->size();
}

void TextRows::clear()
{
    *this = TextRows(encoding_);
}

bool TextRows::indexMore()
{
    for (qint64 spent = 0; spent < indexedAtOnce; spent += costOfRow) {
        const qint64 end = endOfRow(tail_);
        ended_ = end < 0 || complete_ == std::numeric_limits<int>::max() - 1;
        if (ended_)
            return false;
        if (end - tail_ > longestBytes_) {
            longestBytes_ = end - tail_;
            longestRow_ = complete_;
        }
        spent += end - tail_;
        tail_ = end;
        if (++complete_ % landmarkDistance == 0)
            landmarks_.push_back(tail_);
    }
    return true;
}

int TextRows::count() const
{
    return complete_ + (ended_ && tail_ < size_ ? 1 : 0);
}

/// The end of the row that begins at `start`, behind its end of line; -1 for the last one of the text, which
/// has none.
qint64 TextRows::endOfRow(qint64 start) const
{
    const QByteArrayView row = view(start, longestRowBytes + longestLineEnd);
    if (const qsizetype lineEnd = row.indexOf('\n'); lineEnd >= 0)
        return start + lineEnd + 1;
    if (row.size() < longestRowBytes + longestLineEnd)
        return -1;
    qsizetype cut = longestRowBytes;
    for (int back = 0; encoding_ == Encoding::Utf8 && back < 3 && isContinuation(row[cut]); ++back)
        --cut;
    return start + cut;
}

qint64 TextRows::startOfRow(int row) const
{
    qint64 start = landmarks_[static_cast<std::size_t>(row / landmarkDistance)];
    for (int passed = row % landmarkDistance; passed > 0 && start >= 0; --passed)
        start = endOfRow(start);
    return start < 0 ? size_ : start;
}

TextRows::Row TextRows::row(int number) const
{
    const qint64 start = number < count() ? startOfRow(number) : size_;
    const QByteArrayView row = rowAt(start);
    Row shown;
    shown.text.reserve(row.size());
    shown.offsets.reserve(static_cast<std::size_t>(row.size()) + 1);
    for (qsizetype i = 0; i < row.size();) {
        const char byte = row[i];
        const bool isPlain = byte >= ' ' && byte <= '~';
        const qsizetype length =
            isPlain || encoding_ == Encoding::Latin1 ? 1 : characterLength(row.sliced(i));
        const qsizetype before = shown.text.size();
        if (isPlain)
            shown.text += QLatin1Char(byte);
        else if (length == 0)
            shown.text += QChar(QChar::ReplacementCharacter);
        else
            shown.text += visibleCharacter(decoded(row.sliced(i, length).toByteArray()));
        shown.offsets.insert(shown.offsets.end(), static_cast<std::size_t>(shown.text.size() - before),
                             start + i);
        i += std::max<qsizetype>(length, 1);
    }
    shown.offsets.push_back(start + row.size());
    return shown;
}

/// The bytes of the row that begins at `start`, without its end of line.
QByteArrayView TextRows::rowAt(qint64 start) const
{
    const qint64 end = endOfRow(start);
    const qint64 length = (end < 0 ? size_ : end) - start;
    QByteArrayView row = view(start, std::min(length, longestRowBytes + longestLineEnd));
    if (row.endsWith('\n')) {
        row.chop(1);
        if (row.endsWith('\r'))
            row.chop(1);
    }
    return row;
}

/// The bytes there, valid until the next call: fewer if the text, or what is left of its file, ends before.
QByteArrayView TextRows::view(qint64 from, qint64 length) const
{
    length = std::min(length, size_ - from);
    if (!file_)
        return QByteArrayView(memory_).sliced(from, length);
    if (from < pageStart_ || from + length > pageStart_ + page_.size()) {
        page_ = bytes(from, std::max(length, std::min(pageSize, size_ - from)));
        pageStart_ = from;
    }
    const QByteArrayView page(page_);
    return page.sliced(from - pageStart_).first(std::min(length, pageStart_ + page.size() - from));
}

QByteArray TextRows::bytes(qint64 from, qint64 length) const
{
    if (!file_)
        return memory_.mid(from, length);
    return file_->seek(from) ? file_->read(length) : QByteArray();
}

QString TextRows::decoded(const QByteArray& bytes) const
{
    return encoding_ == Encoding::Utf8 ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes);
}
