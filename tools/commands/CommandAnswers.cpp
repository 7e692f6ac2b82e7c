#include "tools/commands/CommandAnswers.h"

#include "tools/report/Console.h"

ExitCode CommandAnswers::RejectUsage(QString const& message)
{
    Console::Say(message);
    return ExitCode::Usage;
}

ExitCode CommandAnswers::CannotWrite(QString const& path, QString const& error)
{
    Console::Say(QStringLiteral("%1: cannot be written: %2").arg(path, error));
    return ExitCode::WritingFailed;
}
