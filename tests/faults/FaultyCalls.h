#pragma once

#include <string>
#include <vector>

// The library's calls of FFmpeg, some of which fail without reaching it; a seek only after it. The linker puts these in
// between, so FFmpeg's calls of itself are as ever. Any thread.
namespace FaultyCalls {

std::vector<std::string> Names(); // of the functions that can fail

// From now on the call number `nth` of `name`, counted from 1, fails the way that the function fails for want of
// memory or for an error of input; with `every`, so do each `nth` further ones.
void Fail(std::string const& name, int nth, bool every);

void Stop();

int CallCount();   // of the chosen function since Fail
int FailedCount(); // of those

} // namespace FaultyCalls
