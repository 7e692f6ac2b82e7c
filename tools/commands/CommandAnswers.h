#pragma once

#include "tools/commands/ExitCode.h"

#include <QString>

// What several commands say when they cannot go on, each with its exit code.
namespace CommandAnswers {

ExitCode RejectUsage(QString const& message);
ExitCode CannotWrite(QString const& path, QString const& error);

} // namespace CommandAnswers
