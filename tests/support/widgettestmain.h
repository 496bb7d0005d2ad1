#pragma once

#include "tests/support/testprofile.h"

#include <QApplication>
#include <QtTest>

#include <memory>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
// Qt never frees some objects that it creates with the application object.
#define KVG_IGNORE_LEAKS const __lsan::ScopedDisabler ignoreLeaks;
#else
#define KVG_IGNORE_LEAKS
#endif

// As KVG_TEST_MAIN, for tests of widgets; without a display unless QT_QPA_PLATFORM is set.
#define KVG_WIDGET_TEST_MAIN(TestClass)                                                            \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        TestProfile profile;                                                                       \
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {                                       \
            qputenv("QT_QPA_PLATFORM", "offscreen");                                               \
        }                                                                                          \
        const auto makeApplication = [&] {                                                         \
            KVG_IGNORE_LEAKS                                                                       \
            return std::make_unique<QApplication>(argc, argv);                                     \
        };                                                                                         \
        const auto app = makeApplication();                                                        \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
