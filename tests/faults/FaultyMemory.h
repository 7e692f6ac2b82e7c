#pragma once

// Makes some allocations fail. Replaces the C library's allocation functions, so all libraries of the program use it,
// and C++'s operators, so that C++ allocations can be counted separately.
namespace FaultyMemory {

enum class Of {
    Everybody,
    Cpp,    // operator new: our objects and buffers, the standard library's and Qt's
    Ffmpeg, // aligned memory, used only by FFmpeg
};

enum class On {
    ThisThread,  // the calling thread
    OtherThreads // all threads but the calling one
};

// From now on, allocation number `nth` of the kind and threads, counted from 1, fails; with `every`, so does each `nth`
// allocation after it.
void Fail(Of of, int nth, bool every, On on = On::ThisThread);

void Stop();

int AllocationCount(); // allocations of the kind and threads since Fail
int FailedCount();     // those of them that failed

// Allocations not yet freed, of all threads.
long long LiveBlocks();
long long LiveCppBlocks(); // those of them by operator new

} // namespace FaultyMemory
