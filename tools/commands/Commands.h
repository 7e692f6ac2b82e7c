#pragma once

#include "tools/commands/Arguments.h"

#include <functional>
#include <vector>

class MessageLog;

// What a command answers to whoever called it. Scripts rely on the numbers.
enum class ExitCode {
    Ok = 0,
    SomeInputsFailed = 1, // of several
    Usage = 2,
    CannotOpen = 3, // or there is nothing in it to describe or decode
    DecodingFailed = 4,
    WritingFailed = 5,
};

// One subcommand of tavolin: what its help says, and what it does.
struct Command
{
    char const* name;
    char const* summary;         // half a line, for the list of commands
    char const* usage;           // what follows the name: "FILE... [--json]"
    char const* description;     // what it does, prints and answers; wrapped by hand at 80 columns
    std::vector<Option> options; // in the order of the help

    // Answers ExitCode::Usage where the arguments are wrong; what is wrong then stands in them.
    ExitCode (*run)(Arguments& arguments, MessageLog& log);
};

// Each in a source of its name. A new one also gets a line in CommandLine.cpp.
Command InfoCommand();
Command DecodeCommand();
Command FrameCommand();
Command AudioCommand();
Command CheckCommand();
Command SheetCommand();
Command WaveCommand();
Command PlayCommand();

// Runs `work` for each file. One file answers with its own code; of several, any failure makes it SomeInputsFailed. No
// file at all is wrong usage.
ExitCode ForEachFile(Arguments& arguments, std::function<ExitCode(QString const& path)> const& work);

ExitCode CannotWrite(QString const& path, QString const& error); // says so
