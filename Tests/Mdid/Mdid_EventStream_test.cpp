#include "Mdid/Mdid_EventStream.h"

#include "CFnd/Sys_StreamException.h"
#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdid_ExtendedEventList.h"
#include "Mdid/Mdid_IRTProperties.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <functional>

namespace
{

constexpr auto kTick = Time_EType::kTick;

struct Stream : Mdid_EventStream
{
    explicit Stream(bool iQuantizeContents = false) : Mdid_EventStream(kNotUndoable, iQuantizeContents) {}
};

Mdie_TimedEvent Event(std::int64_t iTime, int iNumber)
{
    return {{iTime, kTick}, BareEvent(Mdid_Event::kValue32Event, iNumber)};
}

RC_GTEST_PROP(Mdid_EventStream, EditsFromStreamsAgreeWithANaiveModel, (bool iSnaps, bool iErases))
{
    const TickTimesMatter::Scoped ticksMatter(true);
    const auto anyTime = [] { return *rc::gen::inRange<std::int64_t>(0, 6) * 400; };
    Stream stream(iSnaps), other(iSnaps);
    for (int i = *rc::gen::inRange(0, 30); i > 0; --i)
        (*rc::gen::arbitrary<bool>() ? stream : other).AddEvent(Event(anyTime(), *rc::gen::inRange(0, 3)));
    const Stream& from = *rc::gen::arbitrary<bool>() ? stream : other;
    const Time_Typed start(anyTime(), kTick), end(anyTime(), kTick);
    const Time_TypedLength offset(*rc::gen::inRange<std::int64_t>(-3, 4) * 400, kTick);

    std::vector model(stream.begin(), stream.end()), source(from.begin(), from.end());
    std::erase_if(source, [&](const auto& e) { return e.GetTime() < start || e.GetTime() >= end; });
    for (Mdie_TimedEvent& event : source)
    {
        event.SetTime(event.GetTime() + offset);
        if (const auto match = std::ranges::find(model, event); iErases && match != model.end())
            model.erase(match);
        else if (iSnaps)
            event.SetTime({(event.GetTime().AsInt64() + 100'500) / 1000 * 1000 - 100'000, kTick});
    }
    model.insert(model.begin(), source.begin(), iErases ? source.begin() : source.end());
    std::ranges::stable_sort(model, {}, [](const Mdie_TimedEvent& i) { return i.GetTime(); });
    const auto edit = iErases ? &Mdid_EventStream::EraseFromStream : &Mdid_EventStream::AddFromStream;
    (stream.*edit)(&from, start, end, offset);
    RC_ASSERT(std::equal(stream.begin(), stream.end(), model.begin(), model.end()));
}

TEST(Mdid_EventStream, SavesStateOnlyWhenAnEditFindsSomething)
{
    Stream source;
    source.AddEvent(Event(140, 1));
    source.AddEvent(Event(140, 2));
    EXPECT_TRUE(source[0] == Event(140, 2)); // kept: last in first
    const Time_Typed zero, at(140, kTick), after(141, kTick);
    const Time_TypedLength seven(7, kTick);
    const std::tuple<std::function<void(Mdid_EventStream&)>, bool, std::size_t> kCases[] = {
        {[](auto& i) { i.AddEvent(Event(1, 1)); }, true, 3}, // saves state, three events then
        {[](auto& i) { i.EraseEvent(Event(140, 4)); }, false, 2},
        {[&](auto& i) { i.EraseRange(at, at); }, true, 0}, // kept: both ends belong to it
        {[&](auto& i) { i.EraseRange(after, at); }, false, 2},
        {[&](auto& i) { i.AddFromStream(&source, zero, at, seven); }, false, 2},
        {[&](auto& i) { i.AddFromStream(nullptr, at, after, seven); }, false, 2}, // no source
        {[&](auto& i) { i.EraseFromStream(&source, at, after, seven); }, true, 2},
        {[](auto& i) { i.ReplaceData(&i); }, true, 2},      // kept
        {[&](auto& i) { i.OffsetTimes(seven); }, false, 2}, // kept: the caller has
    };
    for (const auto& [edit, saves, size] : kCases)
    {
        Mdid_EventStream stream(Ndo_Object::kUndoable, false);
        stream = source;
        Ndo_gManager.BeginStep("Edit");
        edit(stream);
        Ndo_gManager.EndStep();
        EXPECT_TRUE(stream.size() == size && Ndo_gManager.CanUndo() == saves) << &edit - &std::get<0>(kCases[0]);
        Ndo_gManager.DropHistory();
    }
    RecordingAssertHandler asserts;
    source.NdoRestoreState(nullptr);
    EXPECT_EQ(asserts.Take(), std::vector<std::string>{"state@$^$@NewFileLibs/Mdid/Mdid_EventStream"});
    EXPECT_EQ(source.size(), 2u);
}

TEST(Mdid_EventStream, OddOnPurpose)
{
    const TickTimesMatter::Scoped ticksMatter(true);
    Stream stream, source(true);
    source.AddEvent({{140, Time_EType::kSample}, Mdid_StartEvent()});
    stream.ReplaceData(&source);
    const std::uint64_t calls = Time_Convert::GetSnapCallCount();
    source.OffsetTimes({}); // kept: times of every kind are put to the snapping
    stream.OffsetTimes({}); // kept: the flag was not taken over
    EXPECT_EQ(Time_Convert::GetSnapCallCount(), calls + 1);
    for (const std::int64_t time : {5599, 5600, 5601})
        source.AddEvent({{time, kTick}, Mdid_Event()});
    source.EraseFromStream(&stream, {0, kTick}, {9999, kTick}, {});
    EXPECT_EQ(source.size(), 2u); // kept: null events where it looked go
    Stream crossing(true);
    crossing.AddEvent(Event(600, 1));                                  // goes to 1000
    crossing.AddEvent({{20, Time_EType::kSample}, Mdid_StartEvent()}); // 800 ticks, stays
    crossing.OffsetTimes({});
    EXPECT_TRUE(crossing[0].GetTime() > crossing[1].GetTime()); // kept: no order is restored
}

struct Properties : Mdid_IRTProperties
{
    void Apply(Mdid_ExtendedEvent& ioEvent, int iFlag) const override
    {
        mSeen += std::to_string(ioEvent.GetTime().AsInt64()) + "/" + std::to_string(iFlag) + " ";
        ioEvent.GetEvent().SetChannel(5);
    }
    mutable std::string mSeen;
};

TEST(Mdid_EventStream, RangesAndQueries)
{
    Stream stream;
    for (const std::int64_t time : {4000, 8000, 12000, 16000, 20000})
        stream.AddEvent(Event(time, 0));
    const Time_Typed first(4000, kTick), last(12000, kTick);
    Mdid_EventStreamTimedEventsInRangeIter timed(&stream, first, last);
    Mdid_ExtendedEventIteratorInterface extended(Mdid_EventStreamExtendedEventsInRangeIter(&stream, first, last));
    for (int i = 0; i < 3; ++i, ++timed, ++extended) // kept: both ends belong to it
        EXPECT_TRUE((*timed).IsIdenticalTo(*extended));
    EXPECT_TRUE(!timed.IsMore() && extended == decltype(extended)::EndSentinel());
    EXPECT_FALSE(Mdid_EventStreamTimedEventsInRangeIter(&stream, last, first).IsMore());
    // Found from 8000 to 16000, shown 9000 earlier but not before 0, in a window from 1 on; in samples.
    const Properties properties;
    Mdie_TimedEventList list;
    Mdid_DisplayItemList items;
    Mdid_EventListWrapper listOut(list), itemsOut(items);
    for (Mdid_EventListWrapper* const outP : {&listOut, &itemsOut})
        stream.GetEventsInRange(outP, {8000, kTick}, {20000, kTick}, {1, kTick}, {7000, kTick}, {9000, kTick},
                                {0, kTick}, Time_EType::kSample, &properties, true, 3);
    EXPECT_EQ(properties.mSeen, "0/4 75/4 175/4 0/4 3000/4 7000/4 "); // display items in the kind of the offset
    stream.GetEventsInRange(&listOut, {8000, kTick}, {8001, kTick}, {8000, kTick}, {8001, kTick}, nullptr, 0);
    ASSERT_TRUE(list.size() == 2 && items.size() == 1 && items[0].GetFlag());
    EXPECT_TRUE(list[0].GetTime().AsInt64() == 75 && list[0].GetEvent().GetChannel() == 5);
    EXPECT_TRUE(list[1].IsIdenticalTo(stream[1])); // the short form: as it is stored
}

constexpr const char* kHead = "04 4d 64 45 53 01 00";                           // "MdES", version
constexpr const char* kBody = "05 4d 64 54 45 4c 01 00 1f 00 00 00 00 00 00 00" // "MdTEL", version, size
                              "01 00 00 00 01 98 3a 00 00 00 00 00"             // events; 960,000 << 2 | ticks
                              "00 01 00 0800000000000000 00 03000000 41 10 42"; // a sysex event

TEST(Mdid_EventStream, TheRecordIsWrittenToTheLetterAndDamageIsRefused)
{
    const ByteVector body = FromHex(kBody), whole = Record(kHead, body);
    Stream stream, loaded;
    stream.AddEvent({{960000, kTick}, MakeSysex({0x41, 0x10, 0x42}), {1, 2}});
    EXPECT_EQ(ToHex(Saved(stream)), ToHex(whole));
    Load(loaded, Record(kHead, FromHex(kBody + std::string("99 99")))); // appended by a newer writer
    EXPECT_TRUE(loaded == stream);
    for (std::ptrdiff_t length = 0; length < std::ssize(body); ++length)
    {
        EXPECT_THROW(Load(loaded, {whole.begin(), whole.begin() + 15 + length}), Sys_StreamException);
        EXPECT_THROW(Load(loaded, Record(kHead, {body.begin(), body.begin() + length})), Sys_StreamException);
    }
}

} // namespace
