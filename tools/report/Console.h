#pragma once

#include <QString>

// The two ways out of a command: data on standard output, for programs and people, and everything said about the work
// on standard error. Text is written as UTF-8 whatever the locale. Any thread.
namespace Console {

void WriteData(QString const& text); // as it stands
bool FinishData();                   // whether all the data could be written

void Say(QString const& message);          // one line, with the program's name in front
void ShowProgress(QString const& message); // in place of the former one; only on a terminal, a few times a second
void ClearProgress();

} // namespace Console
