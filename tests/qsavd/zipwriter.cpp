#include "tests/qsavd/zipwriter.h"

#include <QtEndian>

namespace {

quint32 crc32(const QByteArray& data)
{
    static const auto table = [] {
        std::array<quint32, 256> entries{};
        for (quint32 i = 0; i < 256; ++i) {
            entries[i] = i;
            for (int bit = 0; bit < 8; ++bit)
                entries[i] = (entries[i] >> 1) ^ ((entries[i] & 1) ? 0xEDB88320u : 0u);
        }
        return entries;
    }();
    quint32 crc = ~0u;
    for (const char c : data)
        crc = (crc >> 8) ^ table[(crc ^ static_cast<quint8>(c)) & 0xFF];
    return ~crc;
}

QByteArray deflated(const QByteArray& data)
{
    // Qt puts four bytes of length and two of zlib's header in front, and a checksum of four behind.
    const QByteArray packed = qCompress(data, 9);
    return packed.mid(6, packed.size() - 10);
}

template <class... Fields>
QByteArray littleEndian(Fields... fields)
{
    QByteArray bytes;
    const auto append = [&](auto field) {
        const auto swapped = qToLittleEndian(field);
        bytes.append(reinterpret_cast<const char*>(&swapped), sizeof swapped);
    };
    (append(fields), ...);
    return bytes;
}

} // namespace

void ZipWriter::add(const QByteArray& name, const QByteArray& content, bool encrypted)
{
    const QByteArray packed = deflated(content);
    // version, flags, method, time, date, crc, packed, size, name length, extra length
    const QByteArray common = littleEndian(quint16(20), quint16(encrypted ? 1 : 0), quint16(8), quint16(0),
                                           quint16(33), crc32(content), quint32(packed.size()),
                                           quint32(content.size()), quint16(name.size()), quint16(0));
    const auto offset = quint32(members_.size());
    members_ += littleEndian(quint32(0x04034b50)) + common + name + packed;
    directory_ += littleEndian(quint32(0x02014b50), quint16(20)) + common +
                  littleEndian(quint16(0), quint16(0), quint16(0), quint32(0), offset) + name;
    ++count_;
}

QByteArray ZipWriter::finish() const
{
    return members_ + directory_ +
           littleEndian(quint32(0x06054b50), quint16(0), quint16(0), count_, count_,
                        quint32(directory_.size()), quint32(members_.size()), quint16(0));
}

QByteArray ZipWriter::single(const QByteArray& name, const QByteArray& content, bool encrypted)
{
    ZipWriter zip;
    zip.add(name, content, encrypted);
    return zip.finish();
}
