#pragma once

#include "tests/support/Patience.h"

#include <QElapsedTimer>
#include <QtTest>

#include <functional>

// Runs the event loop until the condition holds; false when patience has ended.
inline bool Eventually(std::function<bool()> const& condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > patience)
            return condition();
        QTest::qWait(5);
    }
    return true;
}
