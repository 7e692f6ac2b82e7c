#include "common/TimeText.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"
#include "tools/report/SourceCheck.h"

namespace {

QString Decoded(SourceCheck const& check)
{
    QStringList found;
    if (check.GetPictureCount() > 0)
        found << QStringLiteral("%1 picture%2")
                     .arg(check.GetPictureCount())
                     .arg(check.GetPictureCount() == 1 ? QString() : QStringLiteral("s"));
    if (check.GetSoundDuration() > 0)
        found << QStringLiteral("%1 of sound").arg(TimeText::Clock(check.GetSoundDuration()));
    return found.isEmpty() ? QStringLiteral("nothing") : found.join(QStringLiteral(", "));
}

void Report(QString const& path, SourceCheck const& check)
{
    for (CheckFault const& fault : check.GetFaults())
        Console::WriteData(QStringLiteral("%1: damaged: %2\n").arg(path, fault.text));
    QString const verdict = check.GetFaults().isEmpty() ? QStringLiteral("ok") : QStringLiteral("damaged: decoded");
    Console::WriteData(QStringLiteral("%1: %2: %3\n").arg(path, verdict, Decoded(check)));
}

ExitCode Check(QString const& path, ColourSettings const& colours, MessageLog& log)
{
    auto const source = OpenSource(path, log, colours);
    if (!source)
        return ExitCode::CannotOpen;
    SayUndecodable(*source);
    CheckWatch watch;
    watch.showProgress = Console::ShowProgress;
    SourceCheck check(
        *source, [&log] { return log.GetErrorCount(); }, watch);
    if (!check.Run()) {
        Console::Say(path + QStringLiteral(": cannot be opened for decoding"));
        return ExitCode::CannotOpen;
    }
    log.EndSource();
    Console::ClearProgress();
    Report(path, check);
    return check.GetFaults().isEmpty() ? ExitCode::Ok : ExitCode::DecodingFailed;
}

ExitCode Run(Arguments& arguments, MessageLog& log)
{
    ColourSettings const colours = arguments.Colours(/*followsStream=*/true, /*exact=*/false);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    return ForEachFile(arguments, [&](QString const& path) { return Check(path, colours, log); });
}

} // namespace

Command CheckCommand()
{
    return {"check",
            "decode all of it both ways and report damage",
            "FILE...",
            "Decodes each FILE from its beginning to its end, and from its end to its\n"
            "beginning as playing backwards does. Writes one line with \"ok\" and what was\n"
            "decoded, or a line with \"damaged\" for everything that is wrong: errors while\n"
            "decoding, times that do not rise, pictures missing where their rate is constant,\n"
            "holes in the sound, what is not the same both ways, and an end well before the\n"
            "length that the file tells.\n\n"
            "Exit code 0 when all is well, 4 when a file is damaged.\n",
            {Options::Colours(/*followsStream=*/true), Options::noToneMapping},
            Run};
}
