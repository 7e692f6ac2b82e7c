#pragma once

// What the window's sources include, precompiled for a quick build.

#include "headers/Library.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
