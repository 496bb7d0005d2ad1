#pragma once

#include "tests/support/testprofile.h"

#include <QCoreApplication>
#include <QtTest>

// main() of a test program with its own profile and without a display.
#define KVG_TEST_MAIN(TestClass)                                                                   \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        TestProfile profile;                                                                       \
        QCoreApplication app(argc, argv);                                                          \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
