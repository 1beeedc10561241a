#pragma once

#include "VerifyEach.h"

#include <QApplication>
#include <QTest>

/// The `main` of a test that needs widgets but no desktop: off screen, where it alone has the focus. On a screen that
/// tests share, each would take it from the others. QUILLON_TEST_PLATFORM asks for another platform.
#define QUILLON_OFFSCREEN_TEST_MAIN(TestClass)                                                                         \
    int main(int argc, char** argv)                                                                                    \
    {                                                                                                                  \
        const QByteArray platform = qgetenv("QUILLON_TEST_PLATFORM");                                                  \
        qputenv("QT_QPA_PLATFORM", platform.isEmpty() ? "offscreen" : platform);                                       \
        QApplication application(argc, argv);                                                                          \
        TestClass test;                                                                                                \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
