#pragma once

// What the tests of the window include, precompiled for a quick build.

#include "headers/Library.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <QtTest>

#include <gtest/gtest.h>

#include <chrono>
