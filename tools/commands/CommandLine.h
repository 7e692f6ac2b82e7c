#pragma once

#include "tools/commands/ExitCode.h"

#include <QStringList>

#include <memory>
#include <vector>

class Command;
class QCommandLineParser;

// Understands the whole command line: finds the command, answers the questions about help and version, and runs it.
class CommandLine
{
public:
    explicit CommandLine(std::vector<std::unique_ptr<Command>> commands);
    ~CommandLine();

    ExitCode Run(QStringList const& arguments); // without the program's name

private:
    Command* Find(QString const& name) const;
    ExitCode RunCommand(Command& command, QStringList const& arguments) const;
    ExitCode ShowHelp(QStringList const& names) const;
    ExitCode RejectUnknown(QString const& name) const;
    QString GeneralHelp() const;
    static QString HelpOf(Command const& command);

    std::vector<std::unique_ptr<Command>> commands;
};
