#include "tools/completion/ZshCompletion.h"

namespace {

// In single quotes, with what `_arguments` would take for its own signs escaped.
QString Escaped(QString text)
{
    for (char const sign : {'\\', '[', ']', ':'})
        text.replace(QLatin1Char(sign), QString(QLatin1Char('\\')) + QLatin1Char(sign));
    return text.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
}

QString ActionFor(OptionValue const& value)
{
    switch (value.kind) {
    case OptionValue::Kind::Words:
        return QStringLiteral("(%1)").arg(
            value.words.join(QLatin1Char(' ')).replace(QLatin1Char(':'), QLatin1String("\\:")));
    case OptionValue::Kind::File:
        return QStringLiteral("_files");
    default:
        return QStringLiteral(" ");
    }
}

// One line for each spelling: '(-o --output)--output=[help]:PICTURE:_files'.
QStringList SpecificationsOf(Option const& option)
{
    OptionValue const value = OptionValue::Of(option);
    QStringList const spellings = SpellingsOf(option);
    QString const excluded =
        spellings.size() > 1 ? QStringLiteral("(%1)").arg(spellings.join(QLatin1Char(' '))) : QString();
    QStringList specifications;
    for (QString const& spelling : spellings) {
        bool const isLong = spelling.startsWith(QLatin1String("--"));
        QString text = excluded + spelling;
        if (value.kind != OptionValue::Kind::None)
            text += value.onlyWithEqualsSign ? QStringLiteral("=-") : QString(QLatin1Char(isLong ? '=' : '+'));
        text += QStringLiteral("[%1]").arg(Escaped(QString::fromUtf8(option.help)));
        if (value.kind != OptionValue::Kind::None)
            text += QStringLiteral("%1:%2:%3")
                        .arg(value.onlyWithEqualsSign ? QStringLiteral(":") : QString(),
                             Escaped(QString::fromLatin1(option.valueName)), ActionFor(value));
        specifications.append(ShellQuoted(text));
    }
    return specifications;
}

QString ArgumentsOf(CompletedCommand const& command, QString const& indent)
{
    QStringList lines{QStringLiteral("_arguments -S")};
    for (Option const& option : command.options)
        lines += SpecificationsOf(option);
    lines.append(command.words.isEmpty() ? QStringLiteral("'*:file:_files'")
                                         : QStringLiteral("'*:word:(%1)'").arg(command.words.join(QLatin1Char(' '))));
    return indent + lines.join(QStringLiteral(" \\\n    ") + indent) + QLatin1Char('\n');
}

QString CommandsOf(CompletedProgram const& program)
{
    QString text = QStringLiteral("        local -a commands\n        local context state state_descr line\n"
                                  "        typeset -A opt_args\n        commands=(\n");
    for (CompletedCommand const& command : program.commands)
        text += QStringLiteral("            '%1:%2'\n").arg(command.name, Escaped(command.summary));
    text += QStringLiteral("        )\n        _arguments -C");
    for (Option const& option : program.own.options)
        text += QLatin1Char(' ') + SpecificationsOf(option).join(QLatin1Char(' '));
    text += QStringLiteral(" '1:command:->command' '*::argument:->argument'\n"
                           "        case $state in\n        command) _describe command commands ;;\n"
                           "        argument)\n            case $line[1] in\n");
    for (CompletedCommand const& command : program.commands)
        text += QStringLiteral("            %1)\n%2                ;;\n")
                    .arg(command.name, ArgumentsOf(command, QString(16, QLatin1Char(' '))));
    return text + QStringLiteral("            esac\n            ;;\n        esac\n");
}

} // namespace

QString ZshCompletion::For(std::vector<CompletedProgram> const& programs)
{
    QStringList names;
    QString cases;
    for (CompletedProgram const& program : programs) {
        names.append(program.name);
        cases +=
            QStringLiteral("    %1)\n%2        ;;\n")
                .arg(program.name, program.commands.empty() ? ArgumentsOf(program.own, QString(8, QLatin1Char(' ')))
                                                            : CommandsOf(program));
    }
    QString const function = QLatin1Char('_') + names.first();
    return QStringLiteral(
               "#compdef %1\n# Completion of zsh for tavolin's programs, made by \"tavolin completion zsh\".\n\n"
               "%2()\n{\n    case $service in\n%3    esac\n}\n\n"
               "if [[ $funcstack[1] == %2 ]]; then\n    %2 \"$@\"\nelse\n    compdef %2 %1\nfi\n")
        .arg(names.join(QLatin1Char(' ')), function, cases);
}
