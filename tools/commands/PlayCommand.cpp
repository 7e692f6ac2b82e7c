#include "player/PlayerOptionTable.h"
#include "tools/commands/Commands.h"
#include "tools/report/Console.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

#include <iterator>

namespace {

QString const playerName = QStringLiteral("tavolin-player");

QStringList PlayerArguments(Arguments const& arguments)
{
    QStringList all;
    for (Option const& option : playerOptions) {
        QString const given = QStringLiteral("--") + QString::fromLatin1(option.name);
        if (arguments.Has(option.name))
            all << (option.valueName ? given + QLatin1Char('=') + arguments.Text(option.name) : given);
    }
    return all << QStringLiteral("--") << arguments.Files();
}

// Beside this program when installed, in the neighbouring folder in a build tree, else in PATH.
QString FindPlayer()
{
    QString const here = QCoreApplication::applicationDirPath();
    QString const beside = QStandardPaths::findExecutable(playerName, {here, here + QStringLiteral("/../player")});
    return beside.isEmpty() ? QStandardPaths::findExecutable(playerName) : beside;
}

ExitCode RunPlay(Arguments& arguments, MessageLog& /*log*/)
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
            "Opens the player's window, the program tavolin-player, and plays each FILE one\n"
            "after another. \"?\" in the window shows all keys. An option that is not given is\n"
            "as the player remembers it.\n\n"
            "The exit code is 3 if tavolin-player is not installed, or if it fails.\n",
            {std::begin(playerOptions), std::end(playerOptions)},
            RunPlay};
}
