#pragma once

#include "tools/commands/Arguments.h"

#include <functional>
#include <vector>

class MessageLog;
class QJsonArray;
struct RgbPicture;

// The exit codes of all commands. Scripts rely on the numbers.
enum class ExitCode {
    Ok = 0,
    SomeInputsFailed = 1, // of several
    Usage = 2,
    CannotOpen = 3, // or nothing in the file to describe or decode
    DecodingFailed = 4,
    WritingFailed = 5,
};

// One subcommand of tavolin: the text of its help, its options, and the function that runs it.
struct Command
{
    char const* name;
    char const* summary;         // half a line, for the list of commands
    char const* usage;           // what follows the name: "FILE... [--json]"
    char const* description;     // what it does, prints and answers; wrapped by hand at 80 columns
    std::vector<Option> options; // in the order of the help

    // Returns ExitCode::Usage if the arguments are wrong; `arguments` then hold the fault.
    ExitCode (*run)(Arguments& arguments, MessageLog& log);

    char const* words = ""; // that it takes instead of files, with spaces between them
};

// Each is defined in the source of its name. Add a new one to the table in CommandLine.cpp.
Command InfoCommand();
Command DecodeCommand();
Command FrameCommand();
Command AudioCommand();
Command CheckCommand();
Command SheetCommand();
Command WaveCommand();
Command PlayCommand();
Command CompletionCommand();

// Runs `work` for each source that the files stand for, see MediaItems. A single one returns its own code; any failure
// among several returns SomeInputsFailed. No file is wrong usage. For commands with --stills.
ExitCode ForEachItem(Arguments& arguments, std::function<ExitCode(MediaItem const& item)> const& work);

// Of commands that write what they can: runs `work`, and makes its Ok DecodingFailed if errors were logged meanwhile.
ExitCode WithoutErrors(MessageLog const& log, std::function<ExitCode()> const& work);

ExitCode CannotWrite(QString const& path, QString const& error); // prints the error

// Writes the picture and says what it is, with its size: on standard error if the picture goes to standard output.
ExitCode WritePicture(RgbPicture const& picture, PictureTarget const& target, QString const& what);

// Prints what --json gives: one object as itself, several as an array of them; none as nothing.
void WriteJson(QJsonArray const& objects);

// Parses the whole command line: finds the command and runs it, or prints help or version.
namespace CommandLine {

ExitCode Run(QStringList const& arguments); // without the program's name

std::vector<Command> const& Commands(); // in the order of the help

} // namespace CommandLine
