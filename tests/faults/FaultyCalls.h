#pragma once

#include <string>
#include <vector>

// Makes some of the library's calls of FFmpeg fail instead of reaching FFmpeg; a seek fails after reaching it. The
// linker redirects the library's calls only, so FFmpeg's calls of its own functions are unaffected. Any thread.
namespace FaultyCalls {

std::vector<std::string> Names(); // the functions that can fail

// From now on, call number `nth` of `name`, counted from 1, fails as the function does when out of memory or on an
// input error; with `every`, so does each `nth` call after it.
void Fail(std::string const& name, int nth, bool every);

void Stop();

int CallCount();   // calls of the chosen function since Fail
int FailedCount(); // those of them that failed

} // namespace FaultyCalls
