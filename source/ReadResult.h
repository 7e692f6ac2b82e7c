#pragma once

#include <functional>

// What came of reading from a stream.
enum class ReadResult {
    Got,     // a picture, or a frame of sound
    End,     // there is none any more
    Stopped, // the check answered true; after a stopped search the next call is to be another search
};

// Asked again and again during long work: true when nobody wants its result any more.
using StopCheck = std::function<bool()>;

inline StopCheck const neverStop = [] { return false; };
