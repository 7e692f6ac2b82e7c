#include "tools/commands/Commands.h"
#include "tools/report/Console.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

namespace {

QString const playerName = QStringLiteral("tavolin-player");

// It judges their values.
std::vector<Option> PlayerOptions()
{
    return {
        {"speed", "SPEED", "Play at this speed, -16 to 16 and not 0; below 0 is backwards."},
        {"start", "TIME", "Start at this time."},
        {"paused", nullptr, "Do not begin to play."},
        {"once", nullptr, "At the end of the last file print what was shown and dropped, and quit."},
        {"loop", "yes|no", "Repeat; --loop=no does not.", "yes"},
        {"cache-mb", "SIZE", "Memory for decoded pictures in megabytes."},
        {"fps", "RATE", "Pictures per second of image sequences, 0.1 to 1000."},
        {"colours", "stream|plain", "\"stream\": as the stream says; \"plain\": by libswscale's defaults."},
        {"no-tone-mapping", nullptr, "Leave PQ and HLG as they are coded."},
        {"fullscreen", nullptr, "Start in full screen."},
        {"mute", "yes|no", "Start without sound; --mute=no with sound.", "yes"},
        {"volume", "PERCENT", "Volume in percent, 0 to 100."},
        {"geometry", "GEOMETRY", "Size and place of the window, as WIDTHxHEIGHT+LEFT+TOP."},
        {"audio", "OUTPUT", "Where sound goes: portaudio, null (nowhere) or wav:PATH."},
        {"opengl", "yes|no", "Paint with OpenGL; --opengl=no does not."},
    };
}

QStringList PlayerArguments(Arguments const& arguments)
{
    QStringList all;
    for (Option const& option : PlayerOptions()) {
        QString const given = QStringLiteral("--") + QString::fromLatin1(option.name);
        if (arguments.Has(option.name))
            all << (option.valueName ? given + QLatin1Char('=') + arguments.Text(option.name) : given);
    }
    return all << QStringLiteral("--") << arguments.Files();
}

// Beside this program, as installed; beside its folder, as built; or wherever programs are.
QString FindPlayer()
{
    QString const here = QCoreApplication::applicationDirPath();
    QString const beside = QStandardPaths::findExecutable(playerName, {here, here + QStringLiteral("/../player")});
    return beside.isEmpty() ? QStandardPaths::findExecutable(playerName) : beside;
}

ExitCode Run(Arguments& arguments, MessageLog& /*log*/)
{
    QString const player = FindPlayer();
    if (player.isEmpty()) {
        Console::Say(QStringLiteral("tavolin-player is not installed"));
        return ExitCode::CannotOpen;
    }
    int const code = QProcess::execute(player, PlayerArguments(arguments));
    if (code == static_cast<int>(ExitCode::Usage))
        return ExitCode::Usage; // the player has said why
    return code == 0 ? ExitCode::Ok : ExitCode::CannotOpen;
}

} // namespace

Command PlayCommand()
{
    return {"play",
            "play files in a window, forwards and backwards",
            "[FILE...] [OPTIONS]",
            "Opens the player's window, which is the program tavolin-player, with each FILE\n"
            "one after another. \"?\" in the window shows all keys. Options that are not given\n"
            "are as the player remembers them.\n\n"
            "Exit code 3 when there is no such program here, or when it fails.\n",
            PlayerOptions(),
            Run};
}
