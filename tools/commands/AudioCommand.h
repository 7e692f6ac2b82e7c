#pragma once

#include "tools/commands/Command.h"

// tavolin audio: the sound as it plays at a speed, as a WAV file.
class AudioCommand : public Command
{
public:
    QString GetName() const override;
    QString GetSummary() const override;
    QString GetUsage() const override;
    QString GetDescription() const override;
    void AddOptions(QCommandLineParser& parser) const override;
    ExitCode Run(QCommandLineParser const& parser, MessageLog& log) override;
};
