#pragma once

#include "tools/commands/Commands.h"

#include <QStringList>

// Understands the whole command line: finds the command, answers the questions about help and version, and runs it.
namespace CommandLine {

ExitCode Run(QStringList const& arguments); // without the program's name

} // namespace CommandLine
