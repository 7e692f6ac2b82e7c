#pragma once

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

// Makes the choices of a walk: numbers within bounds, both inclusive. A fuzzer's choices (FuzzBytes) have the same
// interface.
//
// A walk is repeatable; TAVOLIN_WALK_SEED and TAVOLIN_WALK_STEPS in the environment select another one.
class WalkRandom
{
public:
    explicit WalkRandom(unsigned long long seed) : engine(seed) {}

    bool IsOver() const { return false; }

    long long Between(long long oneEnd, long long otherEnd)
    {
        auto const [least, most] = std::minmax(oneEnd, otherEnd);
        return least + static_cast<long long>(engine() % static_cast<unsigned long long>(most - least + 1));
    }
    bool OneIn(int n) { return Between(1, n) == 1; }

    template <typename T, size_t size>
    T const& AnyOf(T const (&choices)[size])
    {
        return choices[Between(0, size - 1)];
    }

private:
    std::mt19937_64 engine;
};

inline unsigned long long WalkOption(char const* name, unsigned long long otherwise)
{
    char const* const value = std::getenv(name);
    return value ? std::stoull(value) : otherwise;
}

inline unsigned long long WalkSeed()
{
    return WalkOption("TAVOLIN_WALK_SEED", 20240607);
}

inline unsigned long long WalkSteps()
{
    return WalkOption("TAVOLIN_WALK_STEPS", 120000);
}
