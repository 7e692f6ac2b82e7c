#pragma once

// What the tests of the window include, precompiled for a quick build.

#include "headers/Player.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <gtest/gtest.h>

#include <chrono>
