#include "MFnd/Time_TempoMap.h"

#include "CFnd/Cmn_Assert.h"

#include <limits>

namespace
{

constexpr Time_TempoMap::Entry kDefaultEntry{Time_Tick(0), Time_TempoMap::kDefaultMicrosecondsPerQuarter, 0};

} // namespace

bool Time_TempoMap::Set(Time_Tick iTick, std::int64_t iMicrosecondsPerQuarter)
{
    constexpr std::int64_t kMaxTempo = std::numeric_limits<std::int32_t>::max();
    if (!CMN_VERIFY(iTick >= Time_Tick(0)))
        return false;
    if (!CMN_VERIFY(iMicrosecondsPerQuarter >= 1 && iMicrosecondsPerQuarter <= kMaxTempo))
        return false;

    auto place = std::ranges::lower_bound(mEntries, iTick, {}, &Entry::mTick);
    if (place == mEntries.end() || place->mTick != iTick)
        place = mEntries.insert(place, Entry{iTick, 0, 0});
    place->mMicrosecondsPerQuarter = static_cast<std::int32_t>(iMicrosecondsPerQuarter);
    UpdateOffsets(place);
    return true;
}

bool Time_TempoMap::Remove(Time_Tick iTick)
{
    const auto place = std::ranges::lower_bound(mEntries, iTick, {}, &Entry::mTick);
    if (place == mEntries.end() || place->mTick != iTick)
        return false;
    UpdateOffsets(mEntries.erase(place));
    return true;
}

const Time_TempoMap::Entry& Time_TempoMap::GetEntryAt(Time_Tick iTick) const
{
    return EntryBefore(std::ranges::upper_bound(mEntries, iTick, {}, &Entry::mTick));
}

const Time_TempoMap::Entry& Time_TempoMap::GetEntryAtOffset(Time_Int128 iOffset) const
{
    return EntryBefore(std::ranges::upper_bound(mEntries, iOffset, {}, &Entry::mOffset));
}

const Time_TempoMap::Entry& Time_TempoMap::EntryBefore(std::vector<Entry>::const_iterator iPosition) const
{
    if (iPosition != mEntries.begin())
        return *std::prev(iPosition);
    // Below tick 0 an entry at 0 holds backward.
    const bool isSetAtZero = !mEntries.empty() && mEntries.front().mTick == kDefaultEntry.mTick;
    return isSetAtZero ? mEntries.front() : kDefaultEntry;
}

// An offset stays below 2^61 ticks times 2^31.
void Time_TempoMap::UpdateOffsets(std::vector<Entry>::iterator iFirst)
{
    for (auto entry = iFirst; entry != mEntries.end(); ++entry)
    {
        const Entry& before = entry == mEntries.begin() ? kDefaultEntry : *std::prev(entry);
        const Time_Int128 ticks = (entry->mTick - before.mTick).AsInt64();
        entry->mOffset = before.mOffset + ticks * before.mMicrosecondsPerQuarter;
    }
}
