#include "tools/commands/PlayCommand.h"

#include "tools/report/Console.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

namespace {

QString const playerName = QStringLiteral("tavolin-player");

// The player's own options; it judges their values.
struct PlayerOption
{
    char const* name;
    char const* valueName; // null for an option without a value
    char const* help;
};

constexpr PlayerOption playerOptions[] = {
    {"speed", "SPEED", "Play at this speed, -16 to 16 and not 0; below 0 is backwards."},
    {"start", "TIME", "Start at this time."},
    {"paused", nullptr, "Do not begin to play."},
    {"once", nullptr, "At the end of the last file print what was shown and dropped, and quit."},
    {"loop", "yes|no", "Repeat; --loop=no does not."},
    {"cache-mb", "SIZE", "Memory for decoded pictures in megabytes."},
    {"fps", "RATE", "Pictures per second of image sequences, 0.1 to 1000."},
    {"colours", "stream|plain", "\"stream\": as the stream says; \"plain\": by libswscale's defaults."},
    {"no-tone-mapping", nullptr, "Leave PQ and HLG as they are coded."},
    {"fullscreen", nullptr, "Start in full screen."},
    {"mute", "yes|no", "Start without sound; --mute=no with sound."},
    {"volume", "PERCENT", "Volume in percent, 0 to 100."},
    {"geometry", "GEOMETRY", "Size and place of the window, as WIDTHxHEIGHT+LEFT+TOP."},
    {"audio", "OUTPUT", "Where sound goes: portaudio, null (nowhere) or wav:PATH."},
    {"opengl", "yes|no", "Paint with OpenGL; --opengl=no does not."},
};

QStringList PlayerArguments(QCommandLineParser const& parser)
{
    QStringList arguments;
    for (PlayerOption const& option : playerOptions) {
        QString const name = QString::fromLatin1(option.name);
        if (!parser.isSet(name))
            continue;
        arguments << (option.valueName ? QStringLiteral("--%1=%2").arg(name, parser.value(name))
                                       : QStringLiteral("--%1").arg(name));
    }
    return arguments << QStringLiteral("--") << parser.positionalArguments();
}

// Beside this program, as installed; beside its folder, as built; or wherever programs are.
QString FindPlayer()
{
    QString const here = QCoreApplication::applicationDirPath();
    QString const beside = QStandardPaths::findExecutable(playerName, {here, here + QStringLiteral("/../player")});
    return beside.isEmpty() ? QStandardPaths::findExecutable(playerName) : beside;
}

} // namespace

QString PlayCommand::GetName() const
{
    return QStringLiteral("play");
}

QString PlayCommand::GetSummary() const
{
    return QStringLiteral("play files in a window, forwards and backwards");
}

QString PlayCommand::GetUsage() const
{
    return QStringLiteral("[FILE...] [OPTIONS]");
}

QString PlayCommand::GetDescription() const
{
    return QStringLiteral("Opens the player's window, which is the program tavolin-player, with each FILE\n"
                          "one after another. \"?\" in the window shows all keys. Options that are not given\n"
                          "are as the player remembers them.\n\n"
                          "Exit code 3 when there is no such program here, or when it fails.\n");
}

void PlayCommand::AddOptions(QCommandLineParser& parser) const
{
    for (PlayerOption const& option : playerOptions)
        parser.addOption({QString::fromLatin1(option.name), QString::fromLatin1(option.help),
                          QString::fromLatin1(option.valueName)});
}

// "--loop" alone means "--loop=yes", for the player, too.
QStringList PlayCommand::Completed(QStringList const& arguments) const
{
    QStringList completed = arguments;
    for (QString& argument : completed) {
        if (argument == QLatin1String("--"))
            break;
        if (argument == QLatin1String("--loop") || argument == QLatin1String("--mute"))
            argument += QStringLiteral("=yes");
    }
    return completed;
}

ExitCode PlayCommand::Run(QCommandLineParser const& parser, MessageLog& /*log*/)
{
    QString const player = FindPlayer();
    if (player.isEmpty()) {
        Console::Say(QStringLiteral("tavolin-player is not installed"));
        return ExitCode::CannotOpen;
    }
    int const code = QProcess::execute(player, PlayerArguments(parser));
    if (code == static_cast<int>(ExitCode::Usage))
        return ExitCode::Usage;
    return code == 0 ? ExitCode::Ok : ExitCode::CannotOpen;
}
