#pragma once

#include "tools/commands/Command.h"

// tavolin decode: all pictures and all sound of media files, counted, timed and summed.
class DecodeCommand : public Command
{
public:
    QString GetName() const override;
    QString GetSummary() const override;
    QString GetUsage() const override;
    QString GetDescription() const override;
    void AddOptions(QCommandLineParser& parser) const override;
    ExitCode Run(QCommandLineParser const& parser, MessageLog& log) override;
};
