#include "tools/completion/CompletedProgram.h"

namespace {

// "wav:PATH" is completed as far as it is fixed.
QString FixedPart(QString const& word)
{
    auto const colon = word.indexOf(QLatin1Char(':'));
    return colon < 0 ? word : word.left(colon + 1);
}

} // namespace

OptionValue OptionValue::Of(Option const& option)
{
    OptionValue value;
    QString const name = QString::fromLatin1(option.valueName);
    value.onlyWithEqualsSign = option.valueIfBare != nullptr;
    if (name.isEmpty())
        return value;
    if (name.contains(QLatin1Char('|')) && name != name.toUpper()) {
        value.kind = Kind::Words;
        for (QString const& word : name.split(QLatin1Char('|')))
            value.words.append(FixedPart(word));
    } else {
        bool const isFile = name == QLatin1String("PICTURE") || name == QLatin1String("WAV") ||
                            name == QLatin1String("FILE") || name == QLatin1String("PATH");
        value.kind = isFile ? Kind::File : Kind::Other;
    }
    return value;
}

QStringList SpellingsOf(Option const& option)
{
    QStringList spellings{QStringLiteral("--") + QString::fromLatin1(option.name)};
    if (option.shortName)
        spellings.append(QLatin1Char('-') + QString::fromLatin1(option.shortName));
    return spellings;
}

QString ShellQuoted(QString const& text)
{
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}
