#include "tools/commands/InputFiles.h"

#include "tools/report/Console.h"

ExitCode ForEachInput(QStringList const& paths, std::function<ExitCode(QString const& path)> const& work)
{
    if (paths.isEmpty()) {
        Console::Say(QStringLiteral("a file is missing"));
        return ExitCode::Usage;
    }
    ExitCode result = ExitCode::Ok;
    for (QString const& path : paths) {
        ExitCode const own = work(path);
        if (own != ExitCode::Ok)
            result = paths.size() == 1 ? own : ExitCode::SomeInputsFailed;
    }
    return result;
}
