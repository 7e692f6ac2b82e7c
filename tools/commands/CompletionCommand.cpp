#include "player/PlayerOptionTable.h"
#include "tools/commands/Commands.h"
#include "tools/completion/BashCompletion.h"
#include "tools/completion/ZshCompletion.h"
#include "tools/report/Console.h"

#include <iterator>

namespace {

constexpr Option help = {"help", nullptr, "Show the help.", nullptr, "h"};
constexpr Option version = {"version", nullptr, "Show the version."};

CompletedCommand Completed(Command const& command)
{
    CompletedCommand completed{
        QString::fromLatin1(command.name), QString::fromUtf8(command.summary), command.options, {}};
    completed.options.insert(completed.options.end(), std::begin(Options::common), std::end(Options::common));
    completed.words = QString::fromLatin1(command.words).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return completed;
}

CompletedProgram Tavolin()
{
    CompletedProgram program{QStringLiteral("tavolin"), {{}, {}, {help, version}, {}}, {}};
    QStringList names;
    for (Command const& command : CommandLine::Commands()) {
        program.commands.push_back(Completed(command));
        names.append(program.commands.back().name);
    }
    program.commands.push_back({QStringLiteral("help"), QStringLiteral("describe a command"), {}, names});
    return program;
}

CompletedProgram Player()
{
    std::vector<Option> options(std::begin(playerOptions), std::end(playerOptions));
    options.push_back(help);
    options.push_back(version);
    return {QStringLiteral("tavolin-player"), {{}, {}, options, {}}, {}};
}

ExitCode RunCompletion(Arguments& arguments, MessageLog& /*log*/)
{
    QStringList const words = arguments.Files();
    QString const shell = words.value(0);
    if (words.size() > 2 || (shell != QLatin1String("bash") && shell != QLatin1String("zsh")))
        arguments.Reject(QStringLiteral("completion takes \"bash\" or \"zsh\""));
    std::vector<CompletedProgram> programs;
    for (CompletedProgram const& program : {Tavolin(), Player()}) {
        if (words.size() < 2 || words[1] == program.name)
            programs.push_back(program);
    }
    if (programs.empty())
        arguments.Reject(QStringLiteral("there is no program \"%1\"").arg(words.value(1)));
    if (arguments.AreWrong())
        return ExitCode::Usage;
    Console::WriteData(shell == QLatin1String("bash") ? BashCompletion::For(programs) : ZshCompletion::For(programs));
    return ExitCode::Ok;
}

} // namespace

Command CompletionCommand()
{
    return {"completion",
            "print the tab completion for bash or zsh",
            "bash|zsh [tavolin|tavolin-player]",
            "Prints a script that lets bash or zsh complete commands, options, values and\n"
            "files, for both programs or for one. The packages install it. Without them, put\n"
            "one of these lines into ~/.bashrc, or into ~/.zshrc after compinit:\n\n"
            "  source <(tavolin completion bash)\n"
            "  source <(tavolin completion zsh)\n",
            {},
            RunCompletion,
            "bash zsh tavolin tavolin-player"};
}
