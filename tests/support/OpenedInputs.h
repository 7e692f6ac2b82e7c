#pragma once

// Counts the calls of avformat_open_input, which a program that links this replaces by a counting one.
namespace OpenedInputs {

int Count(); // since the program started; any thread

} // namespace OpenedInputs
