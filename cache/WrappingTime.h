#pragma once

// Arithmetic on untrusted times from a file or a host: wraps on overflow instead of being undefined.

constexpr long long WrappedSum(long long a, long long b)
{
    return static_cast<long long>(static_cast<unsigned long long>(a) + static_cast<unsigned long long>(b));
}

constexpr long long WrappedDifference(long long a, long long b)
{
    return static_cast<long long>(static_cast<unsigned long long>(a) - static_cast<unsigned long long>(b));
}

constexpr long long WrappedProduct(long long a, long long b)
{
    return static_cast<long long>(static_cast<unsigned long long>(a) * static_cast<unsigned long long>(b));
}
