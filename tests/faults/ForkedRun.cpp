#include "tests/faults/ForkedRun.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

constexpr int crashedInside = 101;
constexpr int crashedOutside = 102;
constexpr unsigned mostSeconds = 120;

bool IsNamed(char const* path, std::initializer_list<char const*> names)
{
    for (char const* name : names) {
        if (std::strstr(path, name))
            return true;
    }
    return false;
}

// The instruction that crashed, or the caller after a jump to an invalid address; null if unknown.
void* PlaceOfCrash(void* context)
{
#if defined(__x86_64__)
    auto const& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    auto* const place = reinterpret_cast<void*>(registers[REG_RIP]);
    Dl_info known{};
    return dladdr(place, &known) ? place : *reinterpret_cast<void**>(registers[REG_RSP]);
#else
    return context ? nullptr : context;
#endif
}

// Our own free() appears between the C library and its caller.
bool IsOurFree(Dl_info const& place)
{
    return place.dli_sname && std::strcmp(place.dli_sname, "free") == 0;
}

// The innermost frame outside the C library is responsible, because it passed the arguments.
bool IsInsideOthers(void* const* frames, int count)
{
    for (int i = 0; i < count; ++i) {
        Dl_info place{};
        bool const isKnown = frames[i] && dladdr(frames[i], &place) && place.dli_fname;
        if (isKnown && !IsOurFree(place) && !IsNamed(place.dli_fname, {"libc.so", "libpthread", "ld-linux"}))
            return IsNamed(place.dli_fname, {"libavcodec", "libavformat", "libavutil", "libsw", "libQt"});
    }
    return false;
}

void OnCrash(int, siginfo_t*, void* context)
{
    std::array<void*, 64> frames{};
    int const count = backtrace(frames.data(), static_cast<int>(frames.size()));
    frames[1] = PlaceOfCrash(context); // replaces the signal handler's frame
    bool const isInside = IsInsideOthers(frames.data() + 1, count - 1);
    if (!isInside)
        backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
    _exit(isInside ? crashedInside : crashedOutside);
}

void CatchCrashes()
{
    std::array<void*, 1> frame{};
    backtrace(frame.data(), 1); // loads its library while there is memory
    struct sigaction action = {};
    action.sa_sigaction = OnCrash;
    action.sa_flags = SA_SIGINFO;
    for (int const number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGALRM})
        sigaction(number, &action, nullptr);
    alarm(mostSeconds);
}

} // namespace

RunEnd RunForked(std::function<int()> const& work)
{
    std::fflush(nullptr);
    pid_t const child = fork();
    if (child < 0)
        return RunEnd::Failed;
    if (child == 0) {
        CatchCrashes();
        int const result = work();
        std::fflush(nullptr);
        _exit(result == 0 ? 0 : 1);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return RunEnd::CrashedOutside;
    switch (WEXITSTATUS(status)) {
    case 0:
        return RunEnd::Done;
    case crashedInside:
        return RunEnd::CrashedInside;
    case crashedOutside:
        return RunEnd::CrashedOutside;
    default:
        return RunEnd::Failed;
    }
}
