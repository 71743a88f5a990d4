#pragma once

#include <QObject>

#include <functional>
#include <memory>

/// Work that may take long, or never end, such as a call on a file system whose server is gone: on threads of
/// its own, which are left behind when nobody waits for them any more. GUI thread only.
class Background
{
  public:
    using Result = std::function<void()>;

    /// Results are handed over on the thread of `owner`, which must live as long as this.
    explicit Background(QObject* owner);
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    /// Does `work`, and then calls what it gives: before this returns, if it does not take longer than a
    /// blink, else from the event loop.
    void run(std::function<Result()> work);

  private:
    struct Mailbox;
    std::shared_ptr<Mailbox> mailbox_;
};
