#include "Mdid/Mdid_ExtendedEventList.h"

#include "Mdid/EventsOfAllTypes.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;
constexpr auto kTick = Time_EType::kTick;

TEST(Mdid_DisplayItem, ShowsTheStoredEventOrTheNewOne)
{
    const Note newNote({9, kTick}, Mdid_NoteWithDurationEvent(0, 62, {7, kTick}, 80, 1), false);
    const Note stored({1, kTick}, Mdid_NoteWithDurationEvent(0, 60, {5, kTick}, 90, 64), true);
    const Note pitch({1, kTick}, Mdid_PitchToMIDINoteWithDuration(0, 60, {5, kTick}, 90, 64, 0.5f), false);
    const Mdid_DisplayItem item(stored, newNote, true, 5), pitchItem(pitch, newNote, false, 0);
    for (const bool effects : {false, true})
    {
        Mdid_DisplayItem::sMIDIDisplayPropertyEffects = effects;
        EXPECT_EQ(item.GetDisplayedTime().AsInt64() * item.GetDisplayedVelocity(), effects ? 9 * 80 : 90);
        EXPECT_EQ(item.GetDisplayedPitch() + item.GetDisplayedDuration().AsInt64(), effects ? 69 : 65);
        EXPECT_EQ(pitchItem.GetDisplayedPitch(), 62); // kept: new values although effects are off
        EXPECT_TRUE(item.GetDisplayedEvent().IsIdenticalTo(effects ? item.GetNewNote() : stored));
        EXPECT_TRUE(pitchItem.GetDisplayedEvent().IsIdenticalTo(pitch)); // kept: the stored event
    }
    Mdid_DisplayItem::sMIDIDisplayPropertyEffects = false;
}

// An event of any of the ways to compare, with few values, so that ties are many.
Mdid_Event AnyEvent()
{
    const int type = *rc::gen::element(0, 3, 6, 10, 15, 19, 22, 23);
    if (type == Mdid_Event::kProgram)
        return Mdid_ProgramEvent(0, *rc::gen::element<signed char>(0, 1, -128),
                                 *rc::gen::element<std::uint16_t>(0, 1, 0x80, 0x4000, 0x8000, 0xC000, 0xC001));
    if (type == Mdid_Event::kLongSysex)
        return MakeSysex(CountingBytes(*rc::gen::element(20, 21)));
    return BareEvent(type, *rc::gen::inRange(0, 3));
}

RC_GTEST_PROP(Mdid_DisplayItem, PlaybackOrderingIsFitForSorting, ())
{
    RecordingAssertHandler asserts;
    Mdid_DisplayItemList items;
    while (items.size() < 8)
    {
        const Mdid_ExtendedEvent stored({*rc::gen::inRange(0, 2), kTick}, AnyEvent());
        items.push_back({*rc::gen::arbitrary<bool>() ? stored : Mdid_ExtendedEvent({}, AnyEvent()), stored, 0});
    }
    const auto less = Mdid_DisplayItem::PlaybackOrdering;
    const auto tied = [&](const auto& iA, const auto& iB) { return !less(iA, iB) && !less(iB, iA); };
    for (const auto& a : items)
        for (const auto& b : items)
            for (const auto& c : items)
            {
                RC_ASSERT(!(less(a, b) && (less(b, a) || (less(b, c) && !less(a, c)))));
                RC_ASSERT(!tied(a, b) || !tied(b, c) || tied(a, c));
            }
    RC_ASSERT(asserts.Take().empty());
}

TEST(Mdid_EventListWrapper, SortsWhatWasDeliveredFromAnIndexOn)
{
    Mdid_DisplayItemList items;
    Mdid_ExtendedEventList extended;
    Mdie_TimedEventList timed;
    Mdid_EventListWrapper itemsOut(items), extendedOut(extended), timedOut(timed);
    for (Mdid_EventListWrapper* const outP : {&itemsOut, &extendedOut, &timedOut})
    {
        for (const int time : {9, 3, 2, 1})
            outP->Deliver(Mdid_ExtendedEvent({time, kTick}, Mdid_StartEvent()), true, 3);
        outP->sort(5);
        outP->sort(1);
        const auto at = [&](std::size_t i) { return outP == &itemsOut ? items[i].GetNewEvent() : (*outP)[i]; };
        EXPECT_EQ(at(0).GetTime().AsInt64() * 10 + at(1).GetTime().AsInt64(), 91); // kept: what is before it stays
    }
    itemsOut.sort(0);
    EXPECT_EQ(items.FindTime({3, kTick}), items.begin() + 2);
    itemsOut.Deliver(Mdid_ExtendedEvent({}, Mdid_NoteWithDurationEvent(0, 60, {}, 1, 2)), true, 3);
    EXPECT_TRUE(itemsOut.LastDisplayItem().IsNote() && !items[0].IsNote() && items[0].GetFlag());
}

TEST(Mdid_EventListWrapper, CopiesOwnTheirListAndMovesTakeIt)
{
    RecordingAssertHandler asserts;
    Mdid_ExtendedEventList list(1);
    Mdid_EventListWrapper wrapper(list), copy = wrapper;
    copy.Deliver(Mdid_ExtendedEvent(), false, 0);
    wrapper = copy;
    copy = std::move(wrapper);
    EXPECT_TRUE(copy.size() == 2 && list.size() == 1 && copy.GetExtendedEventList() != &list);
    EXPECT_EQ(wrapper[0].GetEvent().GetType() + wrapper.GetExtendedEvent(0).GetExtensionType(), 0); // NOLINT: no list
    wrapper.Deliver(Mdid_ExtendedEvent(), false, wrapper.GetDisplayItem(7).GetNumber());
    const std::string where = "@$^$@NewFileLibs/Mdid/Mdid_ExtendedEventList", items = "mDisplayItemListP" + where;
    EXPECT_EQ(asserts.Take(), (std::vector{"mTimedListP != nullptr || mExtListP != nullptr" + where,
                                           "mExtListP" + where, items, items}));
}

} // namespace
