#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// What a finished program left behind.
struct ToolRun
{
    int exitCode = -1; // -1: it did not start, did not end in time, or crashed
    QByteArray output;
    QByteArray errors;

    QString Output() const { return QString::fromUtf8(output); }
    QString Errors() const { return QString::fromUtf8(errors); }
    QStringList Lines() const; // of the output, without the empty one at the end
};

ToolRun RunTavolin(QStringList const& arguments);   // by CommandServer, which is quick
ToolRun StartTavolin(QStringList const& arguments); // the built command itself
ToolRun RunProgram(QString const& program, QStringList const& arguments);

// Runs a line of shell in which "$1" is the command tavolin and "$2" and further are `arguments`.
ToolRun RunInShell(QString const& line, QStringList const& arguments);
