#pragma once

#include "MFnd/Time_FixedKind.h"

#include <span>
#include <vector>

// Wide enough for every exact position in time.
__extension__ typedef __int128 Time_Int128;

// The tempo of a session: each entry's tempo holds from its tick on, until the next entry.
//
// Before a first entry later than tick 0 the default tempo holds; below tick 0 the tempo at 0 holds backward.
// A value. Threads: any may read while none edits. An edit may throw std::bad_alloc and then changes nothing.
class MFND_EXPORT Time_TempoMap
{
public:
    static constexpr std::int32_t kDefaultMicrosecondsPerQuarter = 500'000; // 120 BPM

    struct Entry
    {
        Time_Tick mTick;
        std::int32_t mMicrosecondsPerQuarter;
        Time_Int128 mOffset; // From tick 0 to mTick, in 1/960,000 microseconds; the map keeps it up to date.

        bool operator==(const Entry&) const = default;
    };

    // Puts an entry, in place of one at the same tick. Linear in the number of later entries: building in ascending
    // order costs one step each.
    // False, reported and without effect: a negative tick, a tempo outside 1..2^31 - 1 microseconds per quarter.
    bool Set(Time_Tick iTick, std::int64_t iMicrosecondsPerQuarter);

    // False when there is no entry at this tick. Linear.
    bool Remove(Time_Tick iTick);

    void Clear() { mEntries.clear(); }

    // Ascending by tick, no two at one tick; valid until the next edit.
    std::span<const Entry> GetEntries() const { return mEntries; }

    // The entry whose tempo holds at a tick, or at an offset from tick 0 in 1/960,000 microseconds. Where the default
    // tempo holds, that is an entry of its own at tick 0. O(log n); valid until the next edit.
    const Entry& GetEntryAt(Time_Tick iTick) const;
    const Entry& GetEntryAtOffset(Time_Int128 iOffset) const;

    bool operator==(const Time_TempoMap&) const = default;

private:
    const Entry& EntryBefore(std::vector<Entry>::const_iterator iPosition) const;
    void UpdateOffsets(std::vector<Entry>::iterator iFirst);

    std::vector<Entry> mEntries;
};
