#include "MdidHost/Import/MdidHost_NotePairing_Private.h"

#include <algorithm>
#include <tuple>

void MdidHost_NotePairing::NoteOn(std::int64_t iTime, int iChannel, signed char iPitch, signed char iVelocity)
{
    const auto index = static_cast<std::uint32_t>(mNotes.size());
    mNotes.push_back({iTime, kOpen, kNone, static_cast<signed char>(iChannel), iPitch, iVelocity, kDefaultOffVelocity});
    Queue& queue = QueueOf(iChannel, iPitch);
    (queue.mFirst == kNone ? queue.mFirst : mNotes[queue.mLast].mNext) = index;
    queue.mLast = index;
}

MdidHost_NotePairing::Note* MdidHost_NotePairing::NoteOff(std::int64_t iTime, int iChannel, signed char iPitch,
                                                          signed char iVelocity)
{
    Queue& queue = QueueOf(iChannel, iPitch);
    if (queue.mFirst == kNone)
        return nullptr;
    Note& note = mNotes[queue.mFirst];
    queue.mFirst = note.mNext;
    note.mEnd = iTime;
    note.mOffVelocity = iVelocity;
    return &note;
}

std::int64_t MdidHost_NotePairing::CloseAll(std::int64_t iTime, std::int64_t iEndOfShortest)
{
    std::int64_t count = 0;
    for (Note& note : mNotes)
    {
        if (note.mEnd != kOpen)
            continue;
        note.mEnd = note.mStart < iTime ? iTime : iEndOfShortest;
        QueueOf(note.mChannel, note.mPitch) = {};
        ++count;
    }
    return count;
}

// They came in order of time: only those of one start may be out of order.
void MdidHost_NotePairing::SortTies()
{
    const auto less = [](const Note& iA, const Note& iB)
    {
        return std::tie(iA.mChannel, iA.mPitch, iA.mVelocity, iA.mOffVelocity, iA.mEnd) <
               std::tie(iB.mChannel, iB.mPitch, iB.mVelocity, iB.mOffVelocity, iB.mEnd);
    };
    for (auto first = mNotes.begin(); first != mNotes.end();)
    {
        auto last = first + 1;
        bool isSorted = true;
        for (; last != mNotes.end() && last->mStart == first->mStart; ++last)
            isSorted = isSorted && !less(*last, last[-1]);
        if (!isSorted)
            std::sort(first, last, less);
        first = last;
    }
}
