#pragma once

#include <sys/time.h>

#include <csignal>
#include <cstdlib>

// Aborts the process, so that the fuzzer blames the input, when its scope takes more than `seconds` of processor time.
// Unlike a limit on elapsed time, this also works on a busy machine.
class CpuLimit
{
public:
    explicit CpuLimit(int seconds)
    {
        std::signal(SIGPROF, [](int) { std::abort(); });
        Arm(seconds);
    }
    ~CpuLimit() { Arm(0); }
    CpuLimit(CpuLimit const&) = delete;
    CpuLimit& operator=(CpuLimit const&) = delete;

private:
    static void Arm(int seconds)
    {
        itimerval timer{};
        timer.it_value.tv_sec = seconds;
        setitimer(ITIMER_PROF, &timer, nullptr);
    }
};
