#include "qsavd/workspace.h"

#include <QTest>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <unistd.h>

class TestWorkspace : public QObject
{
    Q_OBJECT

  private slots:
    /// Each clears away what others left behind, and so meets those that are just being made.
    void servicesThatStartTogetherLeaveEachOtherAlone()
    {
        std::atomic<int> lost = 0;
        std::vector<std::thread> services;
        for (int i = 0; i < 8; ++i)
            services.emplace_back([&lost] {
                for (int start = 0; start < 600; ++start) {
                    const auto workspace = qsavd::Workspace::create();
                    std::this_thread::sleep_for(std::chrono::microseconds(start % 500));
                    lost += !workspace || ::access(workspace.value().path().c_str(), F_OK) != 0;
                }
            });
        for (std::thread& service : services)
            service.join();
        QCOMPARE(lost.load(), 0);
    }
};

QTEST_GUILESS_MAIN(TestWorkspace)
#include "tst_workspace.moc"
