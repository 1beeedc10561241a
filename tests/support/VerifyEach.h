#pragma once

#include <QTest>

/// Up to four conditions in order, each a check of its own: a test that fails says which of them does not hold.
#define VERIFY_EACH(condition, ...)                                                                                    \
    do {                                                                                                               \
        QVERIFY(condition);                                                                                            \
        __VA_OPT__(VERIFY_EACH_3(__VA_ARGS__))                                                                         \
    } while (false)
#define VERIFY_EACH_3(condition, ...)                                                                                  \
    QVERIFY(condition);                                                                                                \
    __VA_OPT__(VERIFY_EACH_2(__VA_ARGS__))
#define VERIFY_EACH_2(condition, ...)                                                                                  \
    QVERIFY(condition);                                                                                                \
    __VA_OPT__(QVERIFY(__VA_ARGS__);)
