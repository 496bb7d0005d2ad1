#pragma once

#include "tests/support/testprofile.h"

#include <QCoreApplication>
#include <QtTest>

// main() of a test program: a profile of its own, an application object without a display.
#define KVG_TEST_MAIN(TestClass)                                                                   \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        TestProfile profile;                                                                       \
        QCoreApplication app(argc, argv);                                                          \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
