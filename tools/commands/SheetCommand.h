#pragma once

#include "tools/commands/Command.h"

// tavolin sheet: pictures from all over a file, side by side with their times.
class SheetCommand : public Command
{
public:
    QString GetName() const override;
    QString GetSummary() const override;
    QString GetUsage() const override;
    QString GetDescription() const override;
    void AddOptions(QCommandLineParser& parser) const override;
    ExitCode Run(QCommandLineParser const& parser, MessageLog& log) override;
};
