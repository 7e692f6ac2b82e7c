#pragma once

#include <QCommandLineOption>
#include <QStringList>

// One row of a program's table of command line options.
struct Option
{
    char const* name;      // long
    char const* valueName; // shown in the help; null: a switch without a value
    char const* help;
    char const* valueIfBare = nullptr; // value of "--loop" alone; null: the option requires a value
    char const* shortName = nullptr;   // one letter

    QCommandLineOption Declared() const
    {
        QStringList names(QString::fromLatin1(name));
        if (shortName)
            names.prepend(QString::fromLatin1(shortName));
        return {names, QString::fromUtf8(help), QString::fromLatin1(valueName)};
    }
};

// Replaces "--loop" by "--loop=yes": QCommandLineParser does not support options with an optional value.
template <typename Options>
QStringList WithBareValues(QStringList arguments, Options const& options)
{
    for (QString& argument : arguments) {
        if (argument == QLatin1String("--"))
            break;
        for (Option const& option : options) {
            if (option.valueIfBare && argument == QLatin1String("--") + QString::fromLatin1(option.name))
                argument += QLatin1Char('=') + QString::fromLatin1(option.valueIfBare);
        }
    }
    return arguments;
}
