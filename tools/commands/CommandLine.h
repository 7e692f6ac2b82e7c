#pragma once

#include "tools/commands/Commands.h"

#include <QStringList>

// Parses the whole command line: finds the command and runs it, or prints help or version.
namespace CommandLine {

ExitCode Run(QStringList const& arguments); // without the program's name

} // namespace CommandLine
