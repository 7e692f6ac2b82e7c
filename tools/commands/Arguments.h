#pragma once

#include "common/Option.h"
#include "decode/ColourSettings.h"
#include "source/MediaItems.h"
#include "source/SourceOptions.h"
#include "tools/commands/TimeRange.h"
#include "tools/output/PictureFile.h"

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <vector>

// Options that several commands have; Arguments reads them.
namespace Options {

Option Output(char const* valueName);
Option PictureOutput();
inline constexpr Option format = {"format", "png|jpg|ppm",
                                  "The format of PICTURE, whatever its ending; png if not given and PICTURE is -."};
inline constexpr Option from = {"from", "TIME", "Begin at this time."};
inline constexpr Option to = {"to", "TIME", "End before this time."};
inline constexpr Option common[] = { // of every command
    {"verbose", nullptr, "Show FFmpeg's own messages, too."},
    {"help", nullptr, "Show this help.", nullptr, "h"}};
Option Colours(bool followsStream); // what a command does when the option is not given
inline constexpr Option soundStream = {"sound-stream", "NUMBER", "Take this stream of sound, counted from 1."};
inline constexpr int mostSoundStreams = 10000; // more than any file has
inline constexpr Option fps = {"fps", "RATE", "Pictures per second of image sequences, 0.1 to 1000; 24 if not given."};
inline constexpr Option stills = {"stills", nullptr, "Take numbered pictures as stills, not as image sequences."};
inline constexpr Option noToneMapping = {"no-tone-mapping", nullptr, "Leave PQ and HLG as they are coded."};

} // namespace Options

// The files and options given to a command. Keeps the first fault, and returns the default for a faulty value: a
// command reads everything and then checks once for a fault.
class Arguments
{
public:
    // `given`: without the command's name. Beside its own options, every command has --verbose and --help.
    Arguments(QString const& command, std::vector<Option> const& options, QStringList const& given);

    void Reject(QString const& newFault);             // for faults that only the command sees
    QString const& GetFault() const { return fault; } // empty: none
    bool AreWrong() const { return !fault.isEmpty(); }

    QString OptionsHelp() const; // the help text, from the line "Options:"

    bool Has(char const* option) const;
    QString Text(char const* option) const; // empty when not given
    QStringList Files() const;
    QString OnlyFile(); // exactly one, or it is a fault

    QString Output(QStringList const& endings); // a fault without one of these endings; they are lower case
    PictureTarget PictureOutput();              // a fault when neither its ending nor --format says a format
    int Number(char const* option, int least, int most, int usual);
    long long LargeNumber(char const* option); // from 0 on; 0 when not given
    double Decimal(char const* option,
                   double usual) const;                  // NaN for anything but a number; the command checks the range
    long long Time(char const* option, long long usual); // microseconds from the first picture, not below 0
    int SoundStream() { return Number("sound-stream", 1, Options::mostSoundStreams, 0); } // 0 when not given
    TimeRange Range();
    SourceOptions Sources();                                // of commands with --fps
    MediaItems::Rows Rows() const;                          // of commands with --stills
    ColourSettings Colours(bool followsStream, bool exact); // `exact`: see ColourSettings

private:
    QString command;
    QCommandLineParser parser;
    QString fault;
};
