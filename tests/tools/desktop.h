#pragma once

#include <QByteArray>
#include <QProcess>

/// The session of the person at a desktop: a bus in its usual place, and who shows notifications on it.
class Desktop
{
  public:
    Desktop();
    ~Desktop();

    /// What has been shown since the last call, once nothing more comes for half a second.
    QByteArray shown();

  private:
    QProcess bus_;
    QProcess shower_;
};
