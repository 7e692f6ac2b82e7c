#pragma once

#include "tests/tools/ToolRun.h"

// Runs the command `tavolin` without starting it, which would take longer than most of its runs: it loads some 130
// libraries. Before the first test this program forks a server, which has them loaded and has no test's state. For each
// run the server forks a process, which ends as the command does: leaks and crashes are found.
namespace CommandServer {

// With the caller's working directory and environment, an empty standard input, and pipes for the outputs. Fails the
// test if the command crashes, takes more than two minutes, or if a sanitizer complains of it: its exit code can be one
// that the test expects. Also if the server does not run.
ToolRun Run(QStringList const& arguments);

} // namespace CommandServer
