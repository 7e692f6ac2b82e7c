#pragma once

// What most tests include, precompiled for a quick build.

#include "headers/Library.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <random>
