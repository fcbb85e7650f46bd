#pragma once

#include <atomic>
#include <cstdint>

// A counter that several threads share.
class Sys_AtomicInt32
{
public:
    constexpr explicit Sys_AtomicInt32(std::int32_t iValue = 0) : mValue(iValue) {}

    // Takes part in nothing but the count itself: whoever adds a reference already holds one.
    void Increment() { mValue.fetch_add(1, std::memory_order_relaxed); }

    // Returns the value after the decrement. What other threads did before their decrements is visible after the last.
    std::int32_t Decrement() { return mValue.fetch_sub(1, std::memory_order_acq_rel) - 1; }

    std::int32_t Get() const { return mValue.load(std::memory_order_acquire); }

private:
    alignas(4) std::atomic<std::int32_t> mValue;
};
