#pragma once

#include <QByteArray>
#include <QString>

// The output of a command: data on standard output; messages and progress on standard error. Text is UTF-8 in every
// locale. Any thread.
namespace Console {

void WriteData(QString const& text);      // unchanged
bool WriteBytes(QByteArray const& bytes); // data, too; false if it could not be written
bool IsTerminal();                        // that the data go to
bool FinishData();                        // flushes; false if some data could not be written

void Say(QString const& message);          // one line, after "tavolin: "
void ShowProgress(QString const& message); // replaces the last one; only on a terminal, at most five times a second
void ClearProgress();

} // namespace Console
