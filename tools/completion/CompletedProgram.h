#pragma once

#include "common/Option.h"

#include <QString>
#include <QStringList>

#include <vector>

// What a shell is told of one command line: of a command of tavolin, or of the player.
struct CompletedCommand
{
    QString name;
    QString summary;
    std::vector<Option> options;
    QStringList words; // what can stand beside the options; empty: files
};

// A program that the completion of a shell is for.
struct CompletedProgram
{
    QString name;
    CompletedCommand own;                   // how it is called itself; without commands this is all
    std::vector<CompletedCommand> commands; // the first word selects one; the rest is completed as that says
};

// What comes after an option.
struct OptionValue
{
    enum class Kind { None, Words, File, Other };

    Kind kind = Kind::None;
    QStringList words; // "wav:" with the colon goes on in the shell
    bool onlyWithEqualsSign = false;

    // By the name of the value in the help: "yes|no" are words, PICTURE is a file, TIME is something else.
    static OptionValue Of(Option const& option);
};

QStringList SpellingsOf(Option const& option); // "--output", "-o"
QString ShellQuoted(QString const& text);      // in single quotes; those in `text` are escaped already
