#include "Mdid/Mdid_ContinuousDataStreamCore.h"

#include "CFnd/Sys_StreamException.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdid_ExtendedEventList.h"
#include "Mdid/Mdid_IRTProperties.h"
#include "Mdid/Mdie_ChaseView.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <rapidcheck/gtest.h>

#include <map>

namespace
{

using enum Time_EType;
using Pairs = std::vector<std::pair<std::int64_t, int>>;

constexpr auto Ticks = [](std::int64_t iCount) { return Time_Typed(iCount, kTick); };
constexpr auto Shift = [](std::int64_t iCount) { return Time_TypedLength(iCount, kTick); };
constexpr auto Snapped = [](std::int64_t iTime) { return (iTime + 1'000'500) / 1000 * 1000 - 1'000'000; };

// A lane of controller 7 on channel 3 that counts how often it saved.
struct Lane : Mdid_ContinuousDataStreamCore
{
    explicit Lane(const Pairs& iPairs = {}, bool iSnaps = false) : Mdid_ContinuousDataStreamCore(iSnaps)
    {
        SetSubStream(Mdie_SubStream(Mdid_ControllerEvent(3, 7, 0), Mdie_SubStream::kOrdinary));
        for (const auto& [time, value] : iPairs)
            mSegments.push_back({Ticks(time), value});
    }
    void AboutToModify() override { ++mSaves; }
    bool Holds(const Pairs& iPairs) const { return mSegments == Lane(iPairs).mSegments; }
    int mSaves = 0;
};

// Edits as numbers: which, start, end or value, offset.
RC_GTEST_PROP(Mdid_ContinuousDataStreamCore, EditsEqualThoseOfAMap,
              (const std::vector<std::array<unsigned char, 4>>& iEdits, bool iSnaps))
{
    const TickTimesMatter::Scoped ticksMatter(true);
    Lane lanes[2] = {Lane({}, iSnaps), Lane({}, iSnaps)};
    std::map<std::int64_t, int> models[2];
    for (const auto& [which, startNumber, endNumber, offsetNumber] : iEdits)
    {
        Lane& lane = lanes[which & 1];
        const Lane& from = lanes[which >> 1 & 1]; // may be the same
        auto& model = models[which & 1];
        std::map<std::int64_t, int> copied = models[which >> 1 & 1], block;
        const std::int64_t start = startNumber * 100, end = endNumber * 100, offset = offsetNumber % 8 * 250 - 750;
        const auto isIn = [&](auto iTime) { return start <= iTime && iTime < end; };
        const int edit = which / 4 % 5; // 0 copies all, 1 copies, 2 erases, the others set a value
        for (const auto& [time, value] : copied)
            if (edit == 0 || (edit == 1 && isIn(time)))
                block.emplace(iSnaps && (edit == 1 || offset != 0) ? Snapped(time + offset) : time + offset, value);
            else if (edit == 2 && isIn(time) && model.contains(time + offset) && model[time + offset] == value)
                model.erase(time + offset);
        block.merge(model);
        model.swap(block);
        if (edit == 0)
            lane.AddAllFromStream(&from, Shift(offset));
        else if (edit == 1)
            lane.AddFromStream(&from, Ticks(start), Ticks(end), Shift(offset));
        else if (edit == 2)
            lane.EraseFromStream(&from, Ticks(start), Ticks(end), Shift(offset));
        else
            lane.AddBreakpoint(Ticks(start), model[start] = endNumber % 4);
        RC_ASSERT(lane.Holds(Pairs(model.begin(), model.end())));
    }
}

TEST(Mdid_ContinuousDataStreamCore, WhatIsSnappedDiffersOnPurpose)
{
    const TickTimesMatter::Scoped ticksMatter(true);
    const Lane close({{100, 1}, {140, 2}, {1200, 3}}, true);
    Lane lane({{1000, 9}}, true);
    lane.AddAllFromStream(&close, Shift(0)); // not without an offset
    EXPECT_TRUE(lane.Holds({{100, 1}, {140, 2}, {1000, 9}, {1200, 3}}));
    lane.AddFromStream(&close, Ticks(0), Ticks(2000), Shift(0)); // the copied value and the earlier one stay
    EXPECT_TRUE(lane.Holds({{0, 1}, {100, 1}, {140, 2}, {1000, 3}, {1200, 3}}));
    lane.OffsetTimes(Shift(10)); // equal times stay, and the later one is heard
    EXPECT_TRUE(lane.NumSegments() == 5 && lane.GetValueAtTime(Ticks(999)) == 2 && lane.GetValueAtTime(Ticks(0)) == 2);
    lane.AddBreakpoint(Ticks(0), 5); // which one edit puts right
    EXPECT_TRUE(lane.Holds({{0, 5}, {1000, 3}, {1000, 3}}));

    // 40 ticks are a sample here. Who asks for sample times to be snapped, which never changes them.
    Lane samples({}, true);
    samples.AddBreakpoint({7, kSample}, 1);
    const auto before = Time_Convert::GetSnapCallCount();
    samples.AddAllFromStream(&samples, Shift(40)); // does not
    samples.OffsetTimes(Shift(40));
    EXPECT_EQ(Time_Convert::GetSnapCallCount(), before + 2);
    samples.ConvertTimes(Shift(40), {1, kSample});
    samples.ConvertTimes({1, kSample}, Shift(-620));
    EXPECT_TRUE(Time_Convert::GetSnapCallCount() == before + 4 && samples.Holds({{1000, 1}, {1000, 1}}));
}

TEST(Mdid_ContinuousDataStreamCore, AnswersAboutValues)
{
    RecordingAssertHandler asserts;
    Lane lane({{10, 1}, {20, 2}});
    EXPECT_EQ(lane.GetValueAtTime(Ticks(9)), 0);
    EXPECT_TRUE(asserts.Take().at(0).starts_with("i != mSegments.begin()@$^$@"));
    Time_Typed time;
    int value = 0;
    EXPECT_FALSE(lane.GetLastValueChangeBeforeTime(&time, &value, Ticks(10)));
    EXPECT_TRUE(lane.GetLastValueChangeBeforeTime(&time, &value, Ticks(20)) && time == Ticks(10) && value == 1);
    EXPECT_TRUE(lane.IsEventInRange(Ticks(20), Ticks(21)) && !lane.IsEventInRange(Ticks(11), Ticks(20)));
    EXPECT_TRUE(lane.GetFirstEvent()->GetEvent() == Mdid_ControllerEvent(3, 7, 1) && !Lane().GetFirstEvent());

    lane.EraseEvent({Ticks(9), Mdid_ControllerEvent(3, 7, 1)}); // nothing
    lane.EraseRange(Ticks(21), Ticks(9));                       // nothing
    lane.ReplaceData(&lane);                                    // kept: saves
    lane.AddBreakpoint(Ticks(10), 1);                           // kept: saves
    lane.EraseEvent({Ticks(10), Mdid_ControllerEvent(3, 7, 9)});
    EXPECT_TRUE(lane.mSaves == 3 && lane.NumSegments() == 1);
    Lane bend({{1, 1}}, true);
    bend.SetSubStream(Mdie_SubStream::PitchBend());
    bend.ReplaceData(&lane); // kept: takes over the flag, not the sub-stream
    EXPECT_TRUE(!bend.GetSnapToCoarseTicks() && bend.GetSubStream().GetDataTypeIndex() == 0);
}

// Chases controller 7, and remembers what it was offered and asked for.
struct Host : Mdie_ChaseView, Mdid_IRTProperties
{
    bool IsChasing(const Mdie_SubStream& iSubStream) const override { return iSubStream.GetSubType() == 7; }
    bool GetChasingEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, const Mdie_SubStream&, int) const override
    {
        return *oEntryP = mEntry, true;
    }
    void SetActiveValueIfLater(const Mdie_SubStream&, int iValue, Time_Typed iTime, int iKey) override
    {
        mOffered += " " + std::to_string(iKey) + ":" + std::to_string(iValue) + "@" + std::to_string(iTime.AsInt64());
    }
    void Apply(Mdid_ExtendedEvent&, int iFlag) const override { mFlags.push_back(iFlag); }
    Mdie_ChaseTracker_ChasingEntry mEntry{true, 1, {}, 0};
    std::string mOffered;
    mutable std::vector<int> mFlags;
};

TEST(Mdid_ContinuousDataStreamCore, DeliversEventsThatTheChaseHasNotDelivered)
{
    Lane lane({{10, 1}, {20, 2}, {30, 3}, {40, 4}});
    Host host;
    const auto deliver = [&](auto&& ioList)
    {
        Mdid_EventListWrapper wrapper(ioList);
        lane.GetMidiEventsInRange(&wrapper, Ticks(10), Ticks(40), Ticks(-5), Ticks(20), &host, Shift(10), Ticks(15),
                                  kSample, &host, true, 8);
        return ioList;
    };
    const auto events = deliver(Mdie_TimedEventList()); // 10 sounds; 20 - 10 is clamped; 30 - 10 is outside
    EXPECT_TRUE(events.size() == 1 &&
                events[0] == Mdie_TimedEvent(Time_Convert::ToType(Ticks(15), kSample), Mdid_ControllerEvent(3, 7, 2)));
    lane.AccumulateChaseStateAtTime(&host, 5, Ticks(30), Ticks(30), Shift(100));
    lane.AccumulateChaseStateAtTime(&host, 6, Ticks(39), Ticks(31), Shift(100)); // too early

    lane.SetSubStream(Mdie_SubStream::PolyPressure(60));
    lane.AccumulateChaseStateAtTime(&host, 7, Ticks(30), Ticks(0), Shift(0)); // not chased
    EXPECT_EQ(host.mOffered, " 5:3@130");
    host.mEntry.mIsActive = false;
    const auto items = deliver(Mdid_DisplayItemList());
    ASSERT_TRUE(items.size() == 2 && items[0].GetFlag() && items[0].GetNumber() == 8);
    EXPECT_EQ(items[0].GetDisplayedTime().GetPacked().GetRaw(), Ticks(15).GetPacked().GetRaw()); // as the offset's
    EXPECT_EQ(host.mFlags, (std::vector<int>{4, 4, 16, 4, 16, 4, 16, 4})); // also outside of the window
}

TEST(Mdid_ContinuousDataStreamCore, TheRecordIsWrittenToTheLetterAndDamageRefused)
{
    RecordingAssertHandler asserts;
    const AllocationCounter counter;
    constexpr const char* kHead = "04 4d 64 43 44 01 00";                             // "MdCD", version
    const ByteVector body = FromHex("02 00 00 00 28 00 00 00 00 00 00 00 ff ff ff ff" // 10 << 2 | samples, -1
                                    "51 00 00 00 00 00 00 00 7f 00 00 00");           // 20 << 2 | ticks, 127
    ByteVector newer = body;
    newer.push_back(0x99); // appended by a newer writer
    Lane lane({{1, 1}});
    Load(lane, Record(kHead, newer));
    EXPECT_TRUE(lane.Holds({{400, -1}, {20, 127}}));
    EXPECT_EQ(ToHex(Saved(lane)), ToHex(Record(kHead, body)));
    Load(lane, Saved(Lane({{10, 1}, {10, 2}})));
    EXPECT_TRUE(lane.Holds({{10, 2}}));                                          // kept: unlike in edits
    EXPECT_EQ(Saved(Lane({{-1, 1}, {20, 2}, {19, 3}})).size(), 7u + 8 + 4 + 36); // kept: reported, and written
    EXPECT_EQ(asserts.Take().size(), 2u);

    EXPECT_THROW(Load(lane, Record(kHead, {body.begin(), body.end() - 1})), Sys_StreamException);
    EXPECT_TRUE(lane.Holds({{400, -1}}));                                                       // what was read before
    for (const char* const bad : {"ffffff7f", "ffffffff", "01000000 fcffffffffffffff 00000000", // a count, or time
                                  "01000000 0300000000000000 00000000",                         // of no kind
                                  "02000000 2800000000000000 00000000 2400000000000000 00000000"}) // not ascending
        EXPECT_THROW(Load(lane, Record(kHead, FromHex(bad))), std::runtime_error) << bad;
    EXPECT_LT(counter.GetPeakBytes(), 20000);
}

} // namespace
