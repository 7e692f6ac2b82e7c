#pragma once

// What a command answers to whoever called it. Scripts rely on the numbers.
enum class ExitCode {
    Ok = 0,
    SomeInputsFailed = 1, // of several
    Usage = 2,
    CannotOpen = 3, // or there is nothing in it to describe or decode
    DecodingFailed = 4,
    WritingFailed = 5,
};
