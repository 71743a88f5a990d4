#pragma once

#include <QProcess>

/// Debian's cron, whose clock starts short of three in the morning and goes `speed` times as fast. It runs as
/// long as this lives.
class Cron
{
  public:
    explicit Cron(int speed);
    ~Cron();

  private:
    QProcess cron_;
};
