#include "tests/tools/ToolRun.h"

#include "tests/tools/CommandServer.h"

#include <QProcess>

QStringList ToolRun::Lines() const
{
    QStringList lines = Output().split(QLatin1Char('\n'));
    lines.removeLast();
    return lines;
}

ToolRun RunProgram(QString const& program, QStringList const& arguments)
{
    QProcess process;
    process.start(program, arguments);
    ToolRun run;
    if (process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit)
        run.exitCode = process.exitCode();
    run.output = process.readAllStandardOutput();
    run.errors = process.readAllStandardError();
    return run;
}

ToolRun RunTavolin(QStringList const& arguments)
{
    return CommandServer::Run(arguments);
}

ToolRun StartTavolin(QStringList const& arguments)
{
    return RunProgram(QStringLiteral(TAVOLIN_COMMAND), arguments);
}

ToolRun RunInShell(QString const& line, QStringList const& arguments)
{
    return RunProgram(QStringLiteral("/bin/sh"),
                      QStringList{"-c", line, "sh", QStringLiteral(TAVOLIN_COMMAND)} + arguments);
}
