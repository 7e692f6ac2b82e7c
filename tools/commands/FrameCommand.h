#pragma once

#include "tools/commands/Command.h"

// tavolin frame: the picture that shows at a time, as a file.
class FrameCommand : public Command
{
public:
    QString GetName() const override;
    QString GetSummary() const override;
    QString GetUsage() const override;
    QString GetDescription() const override;
    void AddOptions(QCommandLineParser& parser) const override;
    ExitCode Run(QCommandLineParser const& parser, MessageLog& log) override;
};
