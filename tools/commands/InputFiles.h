#pragma once

#include "tools/commands/ExitCode.h"

#include <QStringList>

#include <functional>

// Runs `work` for each path. One path answers with its own code; of several, any failure makes it SomeInputsFailed. No
// path at all is wrong usage, which it says.
ExitCode ForEachInput(QStringList const& paths, std::function<ExitCode(QString const& path)> const& work);
