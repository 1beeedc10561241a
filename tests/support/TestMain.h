#pragma once

#include <QApplication>
#include <QTest>

/// The `main` of a test that needs widgets but no window manager: off screen, unless QT_QPA_PLATFORM says otherwise.
#define QUILLON_OFFSCREEN_TEST_MAIN(TestClass)                                                                         \
    int main(int argc, char** argv)                                                                                    \
    {                                                                                                                  \
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))                                                            \
            qputenv("QT_QPA_PLATFORM", "offscreen");                                                                   \
        QApplication application(argc, argv);                                                                          \
        TestClass test;                                                                                                \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
