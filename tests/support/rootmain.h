#pragma once

#include "tests/support/sandbox.h"

#include <QCoreApplication>
#include <QTest>

/// main() of a test class that runs in the sandbox as root, whoever starts it: with other owners for files,
/// mounts of its own, and a root directory that nobody else may write.
#define VARDO_ROOT_TEST_MAIN(Class)                                                                          \
    int main(int argc, char** argv)                                                                          \
    {                                                                                                        \
        if (!sandbox::inside())                                                                              \
            return sandbox::enterAsRoot(argv);                                                               \
        QTEST_SET_MAIN_SOURCE_PATH                                                                           \
        QCoreApplication application(argc, argv);                                                            \
        Class test;                                                                                          \
        return QTest::qExec(&test, argc, argv);                                                              \
    }
