#include "Mdid/Mdie_ChaseTracker.h"

#include "Mdid/Mdi_Parse.h"
#include "Mdid/TestChunk.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>

#include <random>

namespace
{

using Tracker = Mdie_ChaseTracker;
using Lane = Mdie_SubStream;
using Sent = std::vector<std::array<int, 3>>; // index of the lane, channel, value

struct Receiver : Mdie_EventReceiver
{
    void ReceiveEvent(const Mdid_Event& i) override
    {
        const Lane lane(i, kOrdinary);
        mSent.push_back({lane.GetDataTypeIndex(), i.GetChannel(), lane.GetValueFromEvent(i)});
    }
    Sent mSent;
};

const Mdid_Event kPedal = Mdid_ControllerEvent(3, 64, 127);
const Mdie_ChaseTrackerMap kMap;
const std::vector<Lane> kLanes = {Lane::PitchBend(),    Lane::Controller(64),  Lane::Controller(7),
                                  Lane::Controller(74), Lane::Program(),       Lane::MonoPressure(),
                                  Lane::Controller(0),  Lane::Controller(120), Lane::PolyPressure(60)};

TEST(Mdie_ChaseTrackerMap, KnowsItsLanesInTheOrderOfAppending)
{
    struct Handler : RecordingAssertHandler
    {
        void Report(const char* i, int iLine) override { mReports += std::to_string(iLine) + std::string(i, 20); }
        std::string mReports;
    } handler;
    int entry = 0;
    std::string found;
    for (const Lane& lane : kLanes)
        if (kMap.GetIndexForSubStream(&entry, lane) && kMap.GetEntryIsChasing(entry))
            found += std::to_string(entry) + "rR"[kMap.GetEntryIsReleasing(entry)] + "pP"[kMap.GetEntryPerNote(entry)];
    EXPECT_EQ(found, "119RP63Rp6rp73rP121rp120RP");
    Mdie_ChaseTrackerMap map;
    map.Clear(); // kept: the entries stay, and count as chased ones
    map.SetStandardReleasingNoChasing();
    map.AppendEntry(kLanes[1], true);
    map.AppendReleasingEntry(kLanes[1], 9, false); // kept: the later one is found
    EXPECT_TRUE(map.GetNumChasingIndices() == 122 && map.GetIndexForSubStream(&entry, kLanes[1]) && entry == 126);
    EXPECT_EQ(handler.mReports, "160mapRef == kNullIndex138mapRef == kNullIndex");
}

TEST(Mdie_ChaseTracker, MovesAnInstrumentFromAnyStateToAnyOtherWithoutANeedlessEvent)
{
    using Model = std::map<std::pair<int, int>, std::array<int, 3>>; // active, value, time by entry and slot
    auto below = [random = std::mt19937(1)](unsigned i) mutable { return static_cast<int>(random() % i); };
    const auto feed = [&](Tracker& ioTracker, Model& ioModel)
    {
        const Lane& lane = kLanes.begin()[below(6)];
        const int call = below(300) / 49, value = 1 + below(5), time = below(9);
        int entry = 0;
        const bool isPerNote = kMap.GetIndexForSubStream(&entry, lane) && kMap.GetEntryPerNote(entry);
        const int key = call > 1 && isPerNote ? below(40) - 20 : 0;
        call == 0   ? ioTracker.TrackEvent(lane.MakeEvent(value, 5))
        : call == 1 ? ioTracker.ChaseEvent(lane.MakeEvent(value, 5))
        : call == 2 ? ioTracker.TrackValue(lane, value, key)
        : call == 3 ? ioTracker.SetActiveValue(lane, value, key)
        : call == 4 ? ioTracker.SetActiveValueIfLater(lane, value, Ticks(time), key)
        : call == 5 ? ioTracker.ClearActiveFlag(lane, key)
                    : ioTracker.Clear();
        auto& slot = ioModel[{entry, key & 3}];
        const bool isSet = call < 4 || (call == 4 && (slot[0] == 0 || time >= slot[2]));
        slot = isSet ? std::array{1, value, call == 4 ? time : slot[2]} : slot;
        for (auto& [place, other] : ioModel) // kept: values and times stay
            other[0] &= call < 5 || (call == 5 && &other != &slot);
    };
    for (int round = 0; round < 2000; ++round)
    {
        Tracker now(&kMap, 4, false), other(now);
        Model model, unused;
        for (int i = 0; i < 40; ++i)
            feed(now, model), feed(other, unused);
        std::map<std::pair<int, int>, int> instrument;
        for (Mdie_ChaseTracker_ActiveChasingIterator i(other); !i.AtEnd(); ++i)
            instrument[{(*i).mSubStream.GetDataTypeIndex(), (*i).mKey}] = (*i).mValue;
        auto expected = instrument;
        for (Mdie_ChaseTracker_ActiveReleasingIterator i(other); !i.AtEnd(); ++i)
            expected[{(*i).mSubStream.GetDataTypeIndex(), (*i).mKey}] = (*i).mReleaseValue;
        for (const auto& [place, slot] : model)
            if (slot[0] != 0)
                expected[{kMap.GetEntrySubStream(place.first).GetDataTypeIndex(), place.second}] = slot[1];
        Receiver sent;
        now.ChaseAndRelease(&other, &sent);
        for (const auto& [index, channel, value] : sent.mSent)
            ASSERT_NE(std::exchange(instrument[{index, channel}], value), value) << round;
        ASSERT_TRUE(instrument == expected && Mdie_ChaseTracker_ActiveReleasingIterator(other).AtEnd()) << round;
    }
}

TEST(Mdie_ChaseTracker, EachOperationSendsItsPart)
{
    Tracker full(&kMap, 16, true), empty(full);
    full.SetActiveValue(Lane::Controller(64), 0, 0);
    full.TrackEvent(kPedal);
    full.TrackEvent(Mdid_ControllerEvent(9, 7, 20));
    full.TrackValue(Lane::PitchBend(), -8192, -1);
    const Sent volume{{7, 0, 20}}, all{volume[0], {64, 0, 127}, {0, 15, -8192}}, rest{{64, 0, 0}, {0, 15, 0}};
    EXPECT_TRUE(full.IsChanged(Lane::Controller(7), 0) && !full.IsChanged(Lane::Controller(64), 0)); // kept
    Receiver r;
    const auto check = [&](auto iCall, const Sent& iSent, const Sent& iSentByUnMuteThen)
    {
        Tracker copy(full);
        iCall(copy);
        EXPECT_EQ(std::exchange(r.mSent, {}), iSent);
        copy.DoUnMute(&r);
        EXPECT_EQ(std::exchange(r.mSent, {}), iSentByUnMuteThen);
    };
    check([&](Tracker& i) { i.DoCurrentPositionChase(&r); }, volume, all);
    check([&](Tracker& i) { i.Release(&r, Tracker::kClearActive); }, rest, volume);
    check([&](Tracker& i) { i.DoMute(&r, true), i.DoMute(&r, false); }, rest, all);
    check([&](Tracker& i) { (i.Clear(), i).DoMutedUpdate(&full); }, {}, all);
    check([&](Tracker& i) { empty.DoUnMutedUpdate(&i, &r); }, rest, volume);
}

TEST(Mdie_ChaseTracker, ASlotThatIsNotThereIsReportedAndPassedOver)
{
    RecordingAssertHandler asserts;
    Mdie_ChaseTrackerMap map;
    Tracker wide(&map, 16, false), narrow(&map, 1, false), none(nullptr, 3, false);
    wide.TrackEvent(kPedal);
    Receiver receiver;
    wide.ChaseAndRelease(&narrow, &receiver);
    EXPECT_EQ(receiver.mSent, (Sent{{64, 0, 127}}));
    EXPECT_EQ(asserts.Take()[2], "chasingEntryIndex < mNumIndices@$^$@NewFileLibs/Mdid/Mdie_ChaseTracker");
    Tracker unheard(wide);
    unheard.Prep(nullptr), unheard.DoCurrentPositionChase(nullptr), unheard.Release(nullptr, Tracker::kClearActive);
    unheard.ChaseAndRelease(&wide, nullptr), unheard.DoMute(nullptr, true);
    EXPECT_EQ(asserts.Take().size(), 5U);
    unheard.ChaseAndRelease(&unheard, &receiver); // is there already
    EXPECT_TRUE(unheard.IsActive(Lane::Controller(64), 0) && wide.IsActive(Lane::Controller(64), 0));
    EXPECT_TRUE(wide.IsReleasing(nullptr, Lane::Controller(64)));
    narrow.DoMutedUpdate(&wide);
    map.SetStandardReleasingNoChasing();
    Tracker released(&map, 1, false), empty(released);
    released.TrackEvent(kPedal);
    receiver.mSent.clear();
    released.ChaseAndRelease(&empty, &receiver), empty.ChaseAndRelease(&released, &receiver); // there is no value
    EXPECT_EQ(receiver.mSent, (Sent{{64, 0, 0}}));
}

TEST(Mdie_ChaseTracker, AChaseTakesWhatIsExactlyAtATimeOfAnyKindAndARangeTheRest)
{
    const auto chunk = MakeChunk({Controller(960'000, 7, 5), Controller(960'001, 7, 6)});
    const Time_Typed start(24'000, Time_EType::kSample), end(48'000, Time_EType::kSample); // at the first one
    Tracker tracker(&kMap, 1, false);
    chunk->GetChaseStateAtTime(&tracker, start, Ticks(0), TickLength(0));
    Receiver receiver;
    tracker.Prep(&receiver);
    EXPECT_EQ(receiver.mSent, (Sent{{7, 0, 5}}));
    for (const Mdie_ChaseView* const trackerP : {static_cast<const Mdie_ChaseView*>(&tracker), {}})
    {
        Mdid_DisplayItemList items;
        Mdid_EventListWrapper wrapper(items);
        chunk->GetMidiEventsInRange(&wrapper, {.mStart = start, .mEnd = end, .mTrackerP = trackerP});
        EXPECT_EQ(items.size(), trackerP == nullptr ? 2U : 1U);
    }
}

TEST(Mdie_ChaseTracker, AChunkAsksEveryLaneAndPlaybackTakesNoMemory)
{
    const auto chunk = MakeChunk({Controller(10, 7, 1), Controller(20, 7, 2), Controller(30, 7, 3), Bend(5, 9, 0)});
    chunk->AddEvent(Bend(20, 100, 2), kPerChannel);
    Tracker tracker(&kMap, 4, false), other(tracker);
    tracker.TrackEvent(kPedal); // is cleared before
    Receiver receiver;
    receiver.mSent.reserve(50);
    const AllocationCounter counter;
    chunk->GetChaseStateAtTime(&tracker, Ticks(20), Ticks(6), TickLength(100)); // the bend at 5 is too early
    tracker.Prep(&receiver);
    chunk->AddChaseStateAtTime(&tracker, Ticks(30), Ticks(0), TickLength(100));
    tracker.ChaseAndRelease(&other, &receiver);
    EXPECT_EQ(counter.GetCount(), 0);
    EXPECT_EQ(receiver.mSent, (Sent{{7, 0, 2}, {0, 2, 100}, {7, 0, 3}, {0, 0, 9}, {0, 2, 100}}));
}

} // namespace
