#include "Mdid/Mdie_Filter.h"

#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdie_SubStream.h"

#include <gtest/gtest.h>

namespace
{

using Filter = Mdie_Filter;

// The types of the events that pass on channel 0; behind those of notes their velocities, which were 0.
std::string Passing(const Filter& iFilter)
{
    std::string types;
    for (const int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 14, 16, 17, 22})
    {
        BareEvent event(type);
        if (!iFilter.FilterEvent(&event))
            continue;
        types += " " + std::to_string(type);
        if (type >= Mdid_Event::kNoteOn && type <= Mdid_Event::kNoteWithDuration)
            types += "/" + std::to_string(event.As<Mdid_NoteOnEvent>().GetVelocity()); // where all have one
        if (type == Mdid_Event::kNoteWithDuration)
            types += "/" + std::to_string(event.As<Mdid_NoteWithDurationEvent>().GetOffVelocity());
    }
    return types;
}

TEST(Mdie_Filter, FlagsControllersAndChannelSayWhatPasses)
{
    for (const auto& [flag, type] : {std::pair{3, "4"}, {4, "6"}, {5, "7"}, {6, "8"}, {7, "14 16"}, {8, "9 13"}})
        EXPECT_EQ(Passing(Filter().Set(Filter::EDataType(flag), true)), " 0 " + (type + std::string(" 17 22")));
    const Filter notes = Filter().Set(Filter::kNotes, true);
    const std::pair<Filter, const char*> kCases[] = {
        {notes, " 0 1/80 2/64 3/64/64 17 22"}, // kept: the default velocity, and 64; pitch-to-MIDI notes always pass
        {Filter(notes).Set(Filter::kOnVelocities, true), " 0 1/0 2/64 3/0/64 17 22"},
        {Filter(notes).Set(Filter::kOffVelocities, true), " 0 1/80 2/0 3/64/0 17 22"},
        {Filter().SetControllers(Filter().SetAll().GetControllers()), " 0 5 17 22"},
        {Filter().SetDefault(), " 0 1/0 2/64 3/0/64 4 5 6 17 22"},
        {Filter().SetDefault().InvertAll(), " 0 7 8 9 13 14 16 17 22"},
        {Filter().SetAll().SetChannelFilterMode(Filter::kOnlyThisChannel).SetChannel(3), " 0 9 13 14 16 17 22"},
        {Filter().SetAll().SetChannelFilterMode(Filter::kDropChannel), " 0 9 13 14 16 17 22"},
    };
    for (const auto& [filter, types] : kCases)
        EXPECT_EQ(Passing(filter), types);
    EXPECT_FALSE(notes.FilterSubStream(Mdie_SubStream::Program()));

    Filter all = Filter().SetAll();
    const Filter other = Filter(all).SetChannel(5).SetChannelFilterMode(Filter::kOnlyThisChannel);
    EXPECT_EQ(other, all);                                               // kept: the channel settings take no part
    Mdid_ControllerEvent withoutChannel(-1, 119, 0), beyond(-1, 120, 0); // no controller of any filter
    EXPECT_TRUE(other.FilterEvent(&withoutChannel) && !other.FilterEvent(&beyond));
    EXPECT_EQ(all.InvertAll().Set(Filter::kHostFlag2, false), Filter()); // the one that SetAll leaves out
    EXPECT_TRUE(all.SetControllers(other.GetControllers()) != Filter() && Filter(other).ClearAll().GetChannel() == 5);
}

} // namespace
