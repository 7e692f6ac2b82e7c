#pragma once

#include <functional>

// How a piece of work in a process of its own ended.
enum class RunEnd {
    Done,           // it returned 0
    Failed,         // it returned something else
    CrashedInside,  // in one of FFmpeg's libraries or in Qt: their fault
    CrashedOutside, // anywhere else, aborted or timed out
};

// Does `work` in a forked copy of this process, which must have no other threads, so that a crash is told from other
// failures.
RunEnd RunForked(std::function<int()> const& work);
