#pragma once

#include "tools/commands/Command.h"

// tavolin play: hands over to tavolin-player, the window, which is a program of its own so that this one needs no
// screen.
class PlayCommand : public Command
{
public:
    QString GetName() const override;
    QString GetSummary() const override;
    QString GetUsage() const override;
    QString GetDescription() const override;
    void AddOptions(QCommandLineParser& parser) const override;
    QStringList Completed(QStringList const& arguments) const override;
    ExitCode Run(QCommandLineParser const& parser, MessageLog& log) override;
};
