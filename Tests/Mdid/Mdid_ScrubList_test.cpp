#include "Mdid/Mdid_ScrubList.h"

#include "Mdid/TestNotes.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <climits>

namespace
{

using Event = std::array<int, 3>; // time, kind, value
using Events = std::vector<Event>;

// A list, and the plainest thing that holds the same. Events come in pairs.
struct Scrub
{
    void Add(Event iA, Event iB, bool iFromEnd)
    {
        const Mdid_PitchBendEvent bend(0, std::int16_t(iB[2]));
        const Time_TypedLength duration(iB[0] - iA[0], Time_EType::kSample); // kept: the kind takes no part
        const Mdid_NoteWithDurationEvent note(0, Mdid_Event::Type(iA[2]), duration, 1, 1);
        iA[1] == 1 ? mList.AddPitchBend({Ticks(iA[0]), bend}, std::int16_t(iA[2]), iFromEnd)
                   : mList.AddNote({Ticks(iA[0]), note}, iFromEnd);
        for (const Event& i : {iA, iB})
            mEvents.insert(std::ranges::lower_bound(mEvents, Event{i[0], i[1], iFromEnd ? INT_MAX : INT_MIN}), i);
    }
    Events Drag(int iTime, int iSteps = INT_MAX)
    {
        Events passed;
        while (const auto* const i = iSteps-- > 0 ? mList.MoveTowards({iTime, Time_EType(iTime & 1)}) : nullptr)
            passed.push_back({static_cast<int>(i->mTime), i->mKind, i->mValue});
        return passed;
    }
    Events Expect(int iTime)
    {
        const std::array<Event, 2> ends{{{mPosition, 1, INT_MAX}, {iTime, 1, INT_MAX}}};
        Events passed = mEvents;
        std::erase_if(passed, [&](const Event& i) { return (i > ends[0]) == (i > ends[1]); });
        return std::exchange(mPosition, iTime) > iTime ? Events(passed.rbegin(), passed.rend()) : passed;
    }
    Mdid_ScrubList mList;
    Events mEvents;
    int mPosition = 0;
};

RC_GTEST_PROP(Mdid_ScrubList, EmitsWhatLiesBetween, (const std::vector<std::array<unsigned char, 3>>& iEdits))
{
    Scrub scrubs[2];
    for (int id = 0; const auto& [which, timeNumber, number] : iEdits)
    {
        Scrub& scrub = scrubs[which & 1];
        const int edit = which / 4 % 8, time = timeNumber % 16 - 3, value = ++id % 128;
        const bool isBend = edit == 1 || (scrub.mEvents.empty() && number % 6 == 2);
        const Event second = isBend ? Event{time, 2, -value} : Event{time + number % 6 - 2, 0, value};
        if (edit == 0)
            scrub = scrubs[number & 1]; // may be the same
        else if (edit < 4)
            scrub.Add({time, isBend ? 1 : 3, value}, second, (which & 2) != 0);
        else
        {
            const Events there = scrub.Drag(time, number % 4);
            RC_ASSERT(scrub.Drag(scrub.mPosition) == Events(there.rbegin(), there.rend()));
            RC_ASSERT(scrub.Drag(time) == scrub.Expect(time));
        }
    }
}

TEST(Mdid_ScrubList, KindsAndSidesDecideAtEqualTimes)
{
    Scrub list, fresh, zero;
    list.Add({5, 1, 7}, {5, 2, -7}, true), list.Add({5, 3, 1}, {5, 0, 1}, true), list.Add({5, 3, 2}, {5, 0, 2}, false);
    EXPECT_EQ(list.Drag(5), (Events{{5, 0, 2}, {5, 0, 1}, {5, 1, 7}}));  // kept: ends before they start, ...
    EXPECT_EQ(list.Drag(6), (Events{{5, 2, -7}, {5, 3, 2}, {5, 3, 1}})); // ... bend back beyond, by sides
    list.Drag(0, 2), list.Add({5, 1, 9}, {5, 2, -9}, true);              // in front of what was passed last
    EXPECT_EQ(list.Drag(6), (Events{{5, 2, -9}, {5, 3, 2}, {5, 3, 1}}));
    list.Drag(4), list.Drag(6, 2), list.Add({5, 1, 8}, {5, 2, -8}, false); // at the position: counts as passed
    EXPECT_EQ(list.Drag(5), (Events{{5, 1, 7}, {5, 1, 9}}));
    fresh.Add({0, 1, 7}, {0, 2, -7}, true), zero.Add({0, 3, 1}, {0, 0, 1}, true);
    EXPECT_EQ(fresh.Drag(1), (Events{{0, 2, -7}}));          // kept: the bend counts as passed
    EXPECT_EQ(zero.Drag(1), (Events{{0, 3, 1}, {0, 0, 1}})); // kept: in order only in an empty list
}

TEST(Mdid_ScrubList, TakesOnlyNotesAndBends)
{
    RecordingAssertHandler asserts;
    Mdid_ScrubList list;
    const Mdie_TimedEvent note(Ticks(1), Mdid_PitchToMIDINoteWithDuration(0, 60, TickLength(1), -1, 64, 60));
    list.AddNote({}, true), list.AddPitchBend(note, 1, true), list.AddNote(note, true);
    EXPECT_EQ(asserts.Take().size(), 2u);
    EXPECT_EQ(list.MoveTowards(Ticks(2))->mVelocity, 255); // nothing before it
}

TEST(Mdid_ScrubEventPool, GrowsByBlocks)
{
    RecordingAssertHandler asserts;
    Mdid_ScrubEventPool::Free();
    std::make_unique<Mdid_ScrubEventPool>().reset(); // leaves with its events
    const Mdid_ScrubEventPool block;
    const AllocationCounter counter;
    Mdid_ScrubList list;
    const Mdie_TimedEvent bend(Ticks(1), Mdid_PitchBendEvent(0, 0));
    for (int i = 0; i < 1023; ++i) // 511 times, and again
        i != 511 ? list.AddPitchBend(bend, 1, true) : void(list = {});
    auto* const eventP = Mdid_ScrubEventPool::GetEvent(); // one is left
    const FailingAllocation failing(1);
    EXPECT_THROW(list.AddPitchBend(bend, 1, true), std::bad_alloc);
    for (int i = 0; i <= 1022; ++i)
        EXPECT_EQ(list.MoveTowards(Ticks(2)) != nullptr, i < 1022);
    list.AddPitchBend(bend, 1, true);
    EXPECT_EQ(counter.GetCount(), 1);
    Mdid_ScrubEventPool::ReleaseEvent(eventP), Mdid_ScrubEventPool::ReleaseEvent(eventP), list = {};
    EXPECT_EQ(asserts.Take().size(), 1u); // released twice
    Mdid_ScrubEventPool::Free();
    EXPECT_EQ(counter.GetLive(), 0);
}

} // namespace
