#pragma once

#include <sys/time.h>

#include <csignal>
#include <cstdlib>

// Ends the process, with the input as the culprit, when what it guards takes more than `seconds` of the processor's
// time. Unlike a limit on the clock's time, it holds on a machine that has much else to do.
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
