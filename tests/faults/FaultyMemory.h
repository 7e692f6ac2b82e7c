#pragma once

// Memory of which some allocations fail. Stands in for the C library's allocation in a program, so all libraries in it
// use it, and for C++'s operators, so that the two are told apart.
namespace FaultyMemory {

enum class Of {
    Everybody,
    Cpp,    // operator new: our own objects and buffers, the standard library's, and Qt's
    Ffmpeg, // aligned memory, which nothing else here asks for
};

enum class On {
    ThisThread,  // the calling one
    OtherThreads // all but that
};

// From now on the allocation number `nth` of the kind and of those threads, counted from 1, fails; with `every`, so do
// each `nth` further ones.
void Fail(Of of, int nth, bool every, On on = On::ThisThread);

void Stop();

int AllocationCount(); // of the kind and threads since Fail
int FailedCount();     // of those

// What is allocated and not freed, by all threads.
long long LiveBlocks();
long long LiveCppBlocks(); // of those, by operator new

} // namespace FaultyMemory
