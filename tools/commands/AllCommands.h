#pragma once

#include <memory>
#include <vector>

class Command;

// The subcommands, in the order in which the help lists them.
std::vector<std::unique_ptr<Command>> AllCommands();
