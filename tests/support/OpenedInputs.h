#pragma once

// Counts how often FFmpeg is asked to open a file: the program that links this stands in front of avformat_open_input.
namespace OpenedInputs {

int Count(); // since the program began; any thread

} // namespace OpenedInputs
