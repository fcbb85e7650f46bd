#pragma once

#include <cstddef>
#include <cstdint>

// What its thread takes from the general heap in its scope. Works in programs that link the AllocationCounter target,
// which replaces operator new.
class AllocationCounter
{
public:
    AllocationCounter();

    int GetCount() const { return GetTotals().mCount - mBefore.mCount; }
    int GetLive() const { return GetTotals().mLive - mBefore.mLive; }
    std::size_t GetBytes() const { return GetTotals().mBytes - mBefore.mBytes; } // as asked for

    // Calls of malloc, free and their kin, operator new's and those of a throw among them, of what locks mutexes, and
    // of what guards local statics. 0 with a sanitizer, which has its own.
    int GetSystemCalls() const { return GetTotals().mSystemCalls - mBefore.mSystemCalls; }

    // The most bytes that were live at once since the innermost counter was made, beyond those that were live then.
    std::int64_t GetPeakBytes() const { return GetTotals().mPeakBytes - mBefore.mLiveBytes; }

    struct Totals
    {
        int mCount = 0;
        int mLive = 0;
        int mSystemCalls = 0;
        std::size_t mBytes = 0;
        std::int64_t mLiveBytes = 0;
        std::int64_t mPeakBytes = 0;
    };

    // Of the thread, since its start.
    static const Totals& GetTotals();

private:
    Totals mBefore;
};

// Lets one allocation of its thread fail: the next one is number 1.
class FailingAllocation
{
public:
    explicit FailingAllocation(int iNumber);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};
