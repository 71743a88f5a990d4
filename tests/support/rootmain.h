#pragma once

#include "tests/support/sandbox.h"

#include <QCoreApplication>
#include <QTest>

/// main() of a test class that runs in the sandbox as root, whoever starts it: with other owners for files,
/// mounts of its own, and a root directory that nobody else may write. `Stage` stands around the test as
/// long as it runs; without its `isUp` there is none.
#define VARDO_ROOT_TEST_MAIN_ON(Class, Stage)                                                                \
    int main(int argc, char** argv)                                                                          \
    {                                                                                                        \
        if (!sandbox::inside())                                                                              \
            return sandbox::enterAsRoot(argv);                                                               \
        QTEST_SET_MAIN_SOURCE_PATH                                                                           \
        QCoreApplication application(argc, argv);                                                            \
        const Stage stage;                                                                                   \
        Class test;                                                                                          \
        return stage.isUp() ? QTest::qExec(&test, argc, argv) : EXIT_FAILURE;                                \
    }

struct BareStage
{
    static bool isUp() { return true; }
};

#define VARDO_ROOT_TEST_MAIN(Class) VARDO_ROOT_TEST_MAIN_ON(Class, BareStage)
