#pragma once

// Compiles one loop twice, for AVX2 and for any processor, and selects one at run time:
//
//     TAVOLIN_INLINE void WorkLoop(int count) {...}
//     TAVOLIN_BOTH(Work, (int count), WorkLoop(count))
//     ... TAVOLIN_BEST(Work)(count);

#if defined(__x86_64__)

#define TAVOLIN_INLINE inline __attribute__((always_inline))
#define TAVOLIN_BOTH(name, parameters, call)                                                                           \
    __attribute__((target("avx2"))) void name##Avx2 parameters                                                         \
    {                                                                                                                  \
        call;                                                                                                          \
    }                                                                                                                  \
    void name##Anywhere parameters                                                                                     \
    {                                                                                                                  \
        call;                                                                                                          \
    }
#define TAVOLIN_BEST(name) (ProcessorLoops::HasAvx2() ? name##Avx2 : name##Anywhere)

namespace ProcessorLoops {

inline bool HasAvx2()
{
    static bool const has = __builtin_cpu_supports("avx2") != 0;
    return has;
}

} // namespace ProcessorLoops

#else

#define TAVOLIN_INLINE inline
#define TAVOLIN_BOTH(name, parameters, call)                                                                           \
    void name##Anywhere parameters                                                                                     \
    {                                                                                                                  \
        call;                                                                                                          \
    }
#define TAVOLIN_BEST(name) name##Anywhere

#endif
