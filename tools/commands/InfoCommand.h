#pragma once

#include "tools/commands/Command.h"

// tavolin info: what the library knows of media files.
class InfoCommand : public Command
{
public:
    QString GetName() const override;
    QString GetSummary() const override;
    QString GetUsage() const override;
    QString GetDescription() const override;
    void AddOptions(QCommandLineParser& parser) const override;
    ExitCode Run(QCommandLineParser const& parser, MessageLog& log) override;
};
