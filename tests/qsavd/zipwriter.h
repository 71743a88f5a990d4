#pragma once

#include <QByteArray>

/// Makes zip archives in memory, hostile ones too.
class ZipWriter
{
  public:
    /// Adds a member, compressed. An encrypted one only claims to be.
    void add(const QByteArray& name, const QByteArray& content, bool encrypted = false);
    /// The whole archive.
    QByteArray finish() const;

    /// An archive with a single member.
    static QByteArray single(const QByteArray& name, const QByteArray& content, bool encrypted = false);

  private:
    QByteArray members_;
    QByteArray directory_;
    quint16 count_ = 0;
};
