#pragma once

#include "common/Option.h"
#include "decode/ColourSettings.h"
#include "tools/commands/TimeRange.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <vector>

// Options that several commands have; Arguments reads them.
namespace Options {

Option Output(char const* valueName);
inline constexpr Option from = {"from", "TIME", "Begin at this time."};
inline constexpr Option to = {"to", "TIME", "End before this time."};
Option Colours(bool followsStream); // what a command does when the option is not given
inline constexpr Option noToneMapping = {"no-tone-mapping", nullptr, "Leave PQ and HLG as they are coded."};

} // namespace Options

// What was given to a command: its files and its options. The first fault is kept, and a value with a fault reads as if
// it were not given, so that a command reads everything and looks once whether there was a fault.
class Arguments
{
public:
    // `given`: without the command's name. Beside its own options, every command has --verbose and --help.
    Arguments(QString const& command, std::vector<Option> const& options, QStringList const& given);

    void Reject(QString const& newFault);             // also by the command
    QString const& GetFault() const { return fault; } // empty: none
    bool AreWrong() const { return !fault.isEmpty(); }

    QString OptionsHelp() const; // from the line "Options:" on

    bool Has(char const* option) const;
    QString Text(char const* option) const; // empty when not given
    QStringList Files() const;
    QString OnlyFile(); // exactly one, or it is a fault

    QString Output(QStringList const& endings); // a fault without one of these endings; they are lower case
    int Number(char const* option, int least, int most, int usual);
    double Decimal(char const* option, double usual) const; // NaN for what is no number: the command knows the range
    long long Time(char const* option, long long usual);    // microseconds from the first picture, not below 0
    TimeRange Range();
    ColourSettings Colours(bool followsStream, bool exact); // `exact`: see ColourSettings

private:
    QString command;
    QCommandLineParser parser;
    QString fault;
};
