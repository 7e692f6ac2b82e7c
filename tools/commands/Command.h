#pragma once

#include "tools/commands/ExitCode.h"

#include <QStringList>

class MessageLog;
class QCommandLineParser;

// One subcommand of tavolin. A new one is a class of its own and a line in AllCommands.
class Command
{
public:
    virtual ~Command() = default;

    virtual QString GetName() const = 0;
    virtual QString GetSummary() const = 0;     // half a line, for the list of commands
    virtual QString GetUsage() const = 0;       // what follows the name: "FILE... [--json]"
    virtual QString GetDescription() const = 0; // what it does, prints and answers; wrapped by hand at 80 columns
    virtual void AddOptions(QCommandLineParser& parser) const = 0;

    // The arguments as the parser is to take them, for options that may come with and without a value.
    virtual QStringList Completed(QStringList const& arguments) const { return arguments; }

    // `parser` has taken the arguments and knows all the options. A command that finds a fault in them says so and
    // answers ExitCode::Usage.
    virtual ExitCode Run(QCommandLineParser const& parser, MessageLog& log) = 0;
};
