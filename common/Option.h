#pragma once

#include <QCommandLineOption>
#include <QStringList>

// A command line option, as both programs list it in their tables.
struct Option
{
    char const* name;      // long
    char const* valueName; // in the help; null: a switch without a value
    char const* help;
    char const* valueIfBare = nullptr; // taken for "--loop" alone; null: the option cannot come without a value
    char const* shortName = nullptr;   // one letter

    QCommandLineOption Declared() const
    {
        QStringList names(QString::fromLatin1(name));
        if (shortName)
            names.prepend(QString::fromLatin1(shortName));
        return {names, QString::fromUtf8(help), QString::fromLatin1(valueName)};
    }
};

// "--loop" alone as "--loop=yes", which QCommandLineParser cannot do by itself.
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
