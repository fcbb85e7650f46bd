#include "MdidHost/Import/MdidHost_ImportExpression_Private.h"

#include <algorithm>
#include <limits>

namespace
{

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

// Walks one lane along the notes of its channel.
struct Listener
{
    std::size_t mNext = 0;
    std::int64_t mLatestEnd = 0; // of the notes so far

    // What stands before iStart, where a note starts that takes the last one over, unless there is one right there.
    void WalkTo(std::int64_t iStart, const std::vector<std::int64_t>& iTimes,
                MdidHost_ImportExpression::BetweenNotes& ioCounts)
    {
        for (; mNext < iTimes.size() && iTimes[mNext] < iStart; ++mNext)
        {
            const std::int64_t following = mNext + 1 < iTimes.size() ? iTimes[mNext + 1] : kNever;
            const bool isInForce = iStart != kNever && following > iStart;
            if (iTimes[mNext] >= mLatestEnd)
                ++(isInForce ? ioCounts.mMoved : ioCounts.mUnheard);
        }
    }
};

} // namespace

void MdidHost_ImportExpression::Clear()
{
    if (mSize == 0)
        return;
    for (auto& lanes : mTimes)
        for (Times& times : lanes)
            times.clear();
    mSize = 0;
}

std::int64_t MdidHost_ImportExpression::CountDuring(const Note& iNote) const
{
    std::int64_t count = 0;
    for (const Times& times : mTimes[static_cast<std::size_t>(iNote.mChannel)])
        count += std::ranges::lower_bound(times, iNote.mEnd) - std::ranges::lower_bound(times, iNote.mStart);
    return count;
}

MdidHost_ImportExpression::BetweenNotes MdidHost_ImportExpression::CountBetween(std::span<const Note> iNotes) const
{
    BetweenNotes counts;
    std::array<std::array<Listener, kNumLanes>, 16> listeners;
    for (const Note& note : iNotes)
        for (std::size_t lane = 0; lane < kNumLanes; ++lane)
        {
            const auto channel = static_cast<std::size_t>(note.mChannel);
            Listener& listener = listeners[channel][lane];
            listener.WalkTo(note.mStart, mTimes[channel][lane], counts);
            listener.mLatestEnd = std::max(listener.mLatestEnd, note.mEnd);
        }

    for (std::size_t channel = 0; channel < listeners.size(); ++channel)
        for (std::size_t lane = 0; lane < kNumLanes; ++lane)
            listeners[channel][lane].WalkTo(kNever, mTimes[channel][lane], counts);
    return counts;
}
