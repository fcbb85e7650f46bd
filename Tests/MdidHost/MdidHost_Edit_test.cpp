#include "MdidHost/Edit/MdidHost_Edit.h"

#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "MdidHost/Edit/MdidHost_Diff.h"
#include "MdidHost/Listing/MdidHost_EventListing.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <sstream>

namespace
{

using Kind = MdidHost_EditRequest::Kind;
using Events = std::vector<Mdid_ExtendedEvent>;

// In ticks of the file.
constexpr auto At = [](int iTick) { return Time_Typed(std::int64_t{iTick} * 2000, Time_EType::kTick); };

Mdid_ExtendedEvent NoteAt(int iTick, int iPitch)
{
    const Mdid_NoteWithDurationEvent note(0, static_cast<signed char>(iPitch), At(480) - At(0), 100, 64);
    return Mdid_NoteWithDurationExtendedEvent(At(iTick), note, false);
}

// Tracks on the channels 1 and 10 with the same events.
struct Song
{
    explicit Song(const Events& iEvents, Ndo_Object::EUndoFlag iUndoFlag = Ndo_Object::kNotUndoable)
    {
        for (const int channel : {0, 9})
        {
            MdidHost_Track& track = mSession.mTracks.emplace_back();
            track.mChannel = channel;
            track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(iUndoFlag, false));
            for (const Mdid_ExtendedEvent& event : iEvents)
                track.mChunk->AddEvent(event, Mdie_SubStream::kOrdinary);
        }
    }
    ~Song() { Ndo_gManager.DropHistory(); }

    // What it has more (+) and less (-) than another one.
    std::string DifferencesFrom(const Song& iOther) const
    {
        std::ostringstream text;
        MdidHost_WriteDifferences(text, iOther.mSession, mSession);
        EXPECT_EQ(text.str().empty(), *mSession.mTracks[0].mChunk == *iOther.mSession.mTracks[0].mChunk &&
                                          *mSession.mTracks[1].mChunk == *iOther.mSession.mTracks[1].mChunk);
        return text.str();
    }

    MdidHost_Session mSession;
};

MdidHost_EditRequest Request(Kind iKind, int iStart, int iEnd, int iTarget = 0, std::optional<int> iTrack = 1)
{
    return {iKind, iStart, At(iStart) - At(0), At(iStart), At(iEnd), At(iTarget), iTrack};
}

constexpr auto AnyBelow = [](int iEnd) { return *rc::gen::inRange(0, iEnd); };

Events AnyEvents()
{
    Events events;
    for (int i = AnyBelow(20); i > 0; --i)
    {
        const auto value = static_cast<signed char>(AnyBelow(128));
        const Mdid_Event choice[] = {Mdid_ControllerEvent(0, 7, value), Mdid_PitchBendEvent(0, value),
                                     Mdid_PolyPressureEvent(0, static_cast<signed char>(60 + AnyBelow(3)), value),
                                     Mdid_SysexEvent(1, reinterpret_cast<const unsigned char*>(&value))};
        events.push_back({At(AnyBelow(2000)), choice[AnyBelow(4)]});
        events.push_back(NoteAt(AnyBelow(2000), 40 + AnyBelow(40)));
    }
    return events;
}

RC_GTEST_PROP(MdidHost_Edit, IsTakenBackAndDoneAgain, ())
{
    const Events events = AnyEvents();
    const auto track = *rc::gen::element<std::optional<int>>(std::nullopt, 1, 2);
    const int a = AnyBelow(2500), b = AnyBelow(2500);
    const auto kind = *rc::gen::element(Time_EType::kTick, Time_EType::kMicrosecond);
    const auto to = [=](int iTick) { return Time_Convert::ToType(At(iTick), kind); };
    const MdidHost_EditRequest request{
        static_cast<Kind>(AnyBelow(5)), a % 80 - 40, to(1 + a) - to(0), At(a), At(b), to(AnyBelow(2500)), track};
    const Song original(events);
    Song edited(events), song(events, Ndo_Object::kUndoable);
    const std::int64_t count = MdidHost_ApplyEdit(song.mSession, request);
    RC_ASSERT(MdidHost_ApplyEdit(edited.mSession, request) == count && song.DifferencesFrom(edited).empty());
    RC_ASSERT(count > 0 || song.DifferencesFrom(original).empty());
    RC_PRE(Ndo_gManager.Undo());
    RC_ASSERT(Ndo_gManager.GetRedoName() == MdidHost_NameOf(request));
    RC_ASSERT(song.DifferencesFrom(original).empty());
    RC_ASSERT(Ndo_gManager.Redo() && song.DifferencesFrom(edited).empty());
}

// One tick apart, they would meet where the tempo is slower. The last one can be told in microseconds alone.
TEST(MdidHost_Edit, KeepsBreakpointsApartAcrossAChangeOfTempo)
{
    Events events{{{std::int64_t{1} << 60, Time_EType::kMicrosecond}, Mdid_PolyPressureEvent(0, 61, 9)}};
    for (const int controller : {99, 98, 6, 6}) // the number of a parameter, then its data
        events.push_back({At(240) + Time_TypedLength(std::ssize(events), Time_EType::kTick),
                          Mdid_ControllerEvent(0, static_cast<signed char>(controller), 1)});
    Song song(events);
    Time_TempoMap tempos;
    tempos.Set(Time_Tick(0), 2);
    tempos.Set(Time_Tick(960'000), 40);
    song.mSession.mContext.SetTempoMap(tempos);
    MdidHost_EditRequest request = Request(Kind::kShift, 0, 0);
    request.mLength = Time_TypedLength(10, Time_EType::kMicrosecond);
    EXPECT_EQ(MdidHost_ApplyEdit(song.mSession, request), 5);
    EXPECT_EQ(MdidHost_ApplyEdit(song.mSession, Request(Kind::kTranspose, -5, 0)), 1);
    std::ostringstream text;
    const MdidHost_Session::Scope scope(song.mSession);
    MdidHost_ListEvents(text, song.mSession, {.mFormat = MdidHost_EventListing::Format::kCsv, .mTrack = 1});
    EXPECT_EQ(text.str().substr(text.str().find('\n')),
              "\n1,588,11,1:2:108,controller,0,,,,,,99,1,,,,,,\n1,588,11,1:2:108,controller,0,,,,,,98,1,,,,,,\n"
              "1,588,11,1:2:108,controller,0,,,,,,6,1,,,,,,\n1,588,11,1:2:108,controller,0,,,,,,6,1,,,,,,\n"
              "1,1152921504606847,1152921504606846986,600479950317:1:127,polyPressure,0,56,G#3,,,,,9,,,,,,\n");
}

// Either what changes, and how many events are touched, or why nothing does.
TEST(MdidHost_Edit, DoesWhatItSaysOrNothing)
{
    const Events events{NoteAt(100, 60), {At(480), Mdid_PolyPressureEvent(0, 61, 9)}};
    const std::string played = " 1:1:100 C4 velocity 100/64 to 1:2:100\n";
    const std::string note = "track 1: note 1:1:100 ch 1 C4 velocity 100/64 to 1:2:100";
    const std::tuple<MdidHost_EditRequest, std::int64_t, std::string> table[] = {
        {Request(Kind::kTranspose, -12, 0, 0, {}), 2, // not the drums
         "- " + note + "\n+ track 1: note 1:1:100 ch 1 C3 velocity 100/64 to 1:2:100, played" + played +
             "+ track 1: polyPressure 1:2:000 ch 1 C#3 = 9\n- track 1: polyPressure 1:2:000 ch 1 C#4 = 9\n"},
        {Request(Kind::kTranspose, -61, 0, 0, 2), 0, "track 2: the note at 1:1:100 C4 would get pitch -1"},
        {Request(Kind::kTranspose, 67, 0), 0, "track 1: the pressure of C#4 would get pitch 128"},
        {Request(Kind::kTranspose, 1, 0, 0, 3), 0, "there is no track 3"},
        {Request(Kind::kShift, -101, 0), 0, "track 1: what stands at 1:1:100 would come before the start"},
        {Request(Kind::kQuantize, 0, 0), 0, "the grid has to be longer than 0"},
        {Request(Kind::kQuantize, 200, 0), 1, // halves go upward
         "- " + note + "\n+ track 1: note 1:1:200 ch 1 C4 velocity 100/64 to 1:2:200, played" + played},
        {Request(Kind::kCopy, 110, 481, 960), 1, "+ track 1: polyPressure 1:3:370 ch 1 C#4 = 9\n"},
        {Request(Kind::kErase, 100, 480), 1, "- " + note + "\n"}, // the end is not part of the range
    };
    for (const auto& [request, count, expected] : table)
    {
        const Song original(events);
        Song song(events, Ndo_Object::kUndoable);
        std::string result;
        try
        {
            EXPECT_EQ(MdidHost_ApplyEdit(song.mSession, request), count) << expected;
        }
        catch (const std::invalid_argument& error)
        {
            result = error.what();
        }
        EXPECT_EQ(result + song.DifferencesFrom(original), expected);
        EXPECT_EQ(Ndo_gManager.CanUndo(), count > 0);
    }
}

} // namespace
