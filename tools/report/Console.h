#pragma once

#include <QString>

// The output of a command: data on standard output; messages and progress on standard error. Text is UTF-8 in every
// locale. Any thread.
namespace Console {

void WriteData(QString const& text); // unchanged
bool FinishData();                   // flushes; false if some data could not be written

void Say(QString const& message);          // one line, after "tavolin: "
void ShowProgress(QString const& message); // replaces the last one; only on a terminal, at most five times a second
void ClearProgress();

} // namespace Console
