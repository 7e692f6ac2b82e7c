#include "tools/completion/BashCompletion.h"

namespace {

char const scriptHead[] = R"sh(# Completion of bash for tavolin's programs, made by "tavolin completion bash".
)sh";

// "--option=value" comes as three words, or as one where "=" separates none. Names that need quotes are left to
// readline, which completes files where nothing else is found.
char const scriptEnd[] = R"sh(
# What comes behind the words up to the one numbered $2, which are the program and the command $1.
_tavolin_arguments()
{
    local key=$1 first=$2 current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local option='' start='' values word
    for word in "${COMP_WORDS[@]:first:COMP_CWORD - first}"; do
        [[ $word != -- ]] || { _tavolin_files "$current"; return; }
    done
    if [[ $current == --*=* ]]; then
        start=${current%%=*}=
        option=$start
        current=${current#*=}
    elif [[ $current == '=' ]]; then
        option=$previous=
        current=
    elif [[ $previous == '=' ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}=
    elif [[ $previous == -* ]]; then
        option=$previous
    fi
    values=$(_tavolin_values "$key" "$option")
    case $values in
        '') ;;
        FILE) _tavolin_files "$current" "$start"; return ;;
        OTHER) compopt +o default 2>/dev/null; return ;;
        *) _tavolin_words "$values" "$current" "$start"; return ;;
    esac
    values=$(_tavolin_positional "$key")
    if [[ $current == -* ]]; then
        _tavolin_words "$(_tavolin_options "$key")" "$current"
    elif [[ $values ]]; then
        _tavolin_words "$values" "$current"
    else
        _tavolin_files "$current"
    fi
}

_tavolin_words()
{
    mapfile -t COMPREPLY < <(compgen -P "$3" -W "$1" -- "$2")
    [[ ${COMPREPLY[*]} != *[=:] ]] || compopt -o nospace 2>/dev/null
}

_tavolin_files()
{
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -P "$2" -f -- "$1")
}

_tavolin_complete()
{
    local program=${1##*/} commands
    COMPREPLY=()
    commands=$(_tavolin_commands "$program")
    if [[ ! $commands ]]; then
        _tavolin_arguments "$program" 1
    elif [[ $COMP_CWORD -gt 1 ]]; then
        _tavolin_arguments "$program ${COMP_WORDS[1]}" 2
    else
        _tavolin_words "$commands" "${COMP_WORDS[COMP_CWORD]}"
    fi
}

)sh";

// How an option is offered: with "=" where values can be offered behind it.
QString Offered(Option const& option)
{
    OptionValue const value = OptionValue::Of(option);
    QString name = SpellingsOf(option).first();
    if (value.kind == OptionValue::Kind::Words)
        return value.onlyWithEqualsSign ? name + QLatin1Char(' ') + name + QLatin1Char('=') : name + QLatin1Char('=');
    return name;
}

QString WordFor(OptionValue const& value)
{
    switch (value.kind) {
    case OptionValue::Kind::Words:
        return value.words.join(QLatin1Char(' '));
    case OptionValue::Kind::File:
        return QStringLiteral("FILE");
    default:
        return QStringLiteral("OTHER");
    }
}

QString Function(QString const& name, QString const& cases)
{
    return QStringLiteral("\n%1()\n{\n    case $%2 in\n%3    esac\n}\n")
        .arg(name, name == QLatin1String("_tavolin_values") ? QStringLiteral("1:$2") : QStringLiteral("1"), cases);
}

QString Case(QString const& pattern, QString const& answer)
{
    return QStringLiteral("        %1) echo %2 ;;\n").arg(pattern, ShellQuoted(answer));
}

// The cases of one command line, `key` being the program and the command.
struct Cases
{
    QString commands;
    QString options;
    QString positional;
    QString values;

    void Add(QString const& key, CompletedCommand const& command)
    {
        QStringList offered;
        for (Option const& option : command.options) {
            offered.append(Offered(option));
            AddValue(key, option);
        }
        options += Case(ShellQuoted(key), offered.join(QLatin1Char(' ')));
        if (!command.words.isEmpty())
            positional += Case(ShellQuoted(key), command.words.join(QLatin1Char(' ')));
    }

    void AddValue(QString const& key, Option const& option)
    {
        OptionValue const value = OptionValue::Of(option);
        if (value.kind == OptionValue::Kind::None)
            return;
        QStringList patterns;
        for (QString const& spelling : SpellingsOf(option)) {
            patterns.append(ShellQuoted(QStringLiteral("%1:%2=").arg(key, spelling)));
            if (!value.onlyWithEqualsSign)
                patterns.append(ShellQuoted(QStringLiteral("%1:%2").arg(key, spelling)));
        }
        values += Case(patterns.join(QStringLiteral(" | ")), WordFor(value));
    }
};

// Scripts for different programs live in the same shell.
QString WithNamesOf(QString const& program, QString script)
{
    QString prefix = program;
    prefix.replace(QLatin1Char('-'), QLatin1Char('_'));
    return script.replace(QStringLiteral("_tavolin_"), QStringLiteral("_%1_").arg(prefix));
}

} // namespace

QString BashCompletion::For(std::vector<CompletedProgram> const& programs)
{
    Cases cases;
    QStringList names;
    for (CompletedProgram const& program : programs) {
        names.append(program.name);
        QStringList words;
        for (CompletedCommand const& command : program.commands) {
            words.append(command.name);
            cases.Add(program.name + QLatin1Char(' ') + command.name, command);
        }
        for (Option const& option : program.own.options)
            words.append(SpellingsOf(option).first());
        if (program.commands.empty())
            cases.Add(program.name, program.own);
        else
            cases.commands += Case(program.name, words.join(QLatin1Char(' ')));
    }
    QString const functions = Function(QStringLiteral("_tavolin_commands"), cases.commands) +
                              Function(QStringLiteral("_tavolin_options"), cases.options) +
                              Function(QStringLiteral("_tavolin_positional"), cases.positional) +
                              Function(QStringLiteral("_tavolin_values"), cases.values);
    QString const last =
        QStringLiteral("complete -o default -F _tavolin_complete %1\n").arg(names.join(QLatin1Char(' ')));
    return WithNamesOf(names.first(), QString::fromUtf8(scriptHead) + functions + QString::fromUtf8(scriptEnd) + last);
}
