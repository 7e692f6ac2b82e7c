#pragma once

#include <atomic>
#include <type_traits>

// Atomic access to plain fields that two threads use: the headers that declare them stay C++17, which has no
// std::atomic_ref.

template <typename T>
T LoadShared(T const& field, std::memory_order order = std::memory_order_acquire)
{
    return std::atomic_ref<T>(const_cast<T&>(field)).load(order);
}

template <typename T>
void StoreShared(T& field, std::type_identity_t<T> value, std::memory_order order = std::memory_order_release)
{
    std::atomic_ref<T>(field).store(value, order);
}

// Returns the old value.
template <typename T>
T ExchangeShared(T& field, std::type_identity_t<T> value)
{
    return std::atomic_ref<T>(field).exchange(value, std::memory_order_acq_rel);
}

template <typename T>
void IncrementShared(T& field)
{
    std::atomic_ref<T>(field).fetch_add(1, std::memory_order_acq_rel); // wraps
}
