#pragma once

#include "tests/support/testprofile.h"

#include <QApplication>
#include <QtTest>

// As KVG_TEST_MAIN, for tests of widgets: they run without a display unless told otherwise.
#define KVG_WIDGET_TEST_MAIN(TestClass)                                                            \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        TestProfile profile;                                                                       \
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {                                       \
            qputenv("QT_QPA_PLATFORM", "offscreen");                                               \
        }                                                                                          \
        QApplication app(argc, argv);                                                              \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
