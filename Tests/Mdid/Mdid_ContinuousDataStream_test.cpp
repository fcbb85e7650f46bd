#include "Mdid/Mdid_ContinuousDataStream.h"

#include "CFnd/Sys_StreamException.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Support/RecordingAssertHandler.h"
#include "Support/ScopedAllowMPE.h"

#include <set>
#include <sstream>

namespace
{

using enum Time_EType;
constexpr auto kNotUndoable = Ndo_Object::kNotUndoable;

// The lanes and notes of a chunk.
struct Chunk
{
    ~Chunk()
    {
        std::ranges::for_each(mLanes, [this](const auto& iLane) { mMade.insert(iLane.Get()); });
        std::ranges::for_each(mMade, [](auto* iLaneP) { delete iLaneP; });
    }

    void AddLane(const Mdie_SubStream& iSubStream, const std::vector<int>& iValues)
    {
        auto* const laneP = new Mdid_ContinuousDataStream(iSubStream, kNotUndoable, false);
        mLanes.InsertStream(laneP);
        std::ranges::for_each(iValues, [&](int iValue) { laneP->AddBreakpoint({iValue, kTick}, iValue); });
    }

    void AddNote(std::int64_t iTime, signed char iPitch, std::int64_t iDuration,
                 const std::vector<std::pair<Mdid_Event, int>>& iLanes)
    {
        Mdid_NoteWithDurationExtendedEvent note(
            Mdie_TimedEvent({iTime, kTick}, Mdid_NoteWithDurationEvent(2, iPitch, {iDuration, kTick}, 90, 64)));
        note.SetPerNoteControllers();
        for (const auto& [key, value] : iLanes)
        {
            auto* const laneP = note.WritePerNoteControllers()->InsertStream({key, Mdie_SubStream::kOfNote}, false);
            if (value > 0)
                laneP->AddBreakpoint({0, kTick}, value);
        }
        mNotes.AddNote(note);
    }

    // The notes, which add their lanes to a copy of the list, and this.
    ByteVector Save()
    {
        Sys_MemoryOutStream stream;
        Sys_TypedOutStream typed(stream);
        Mdid_ContinuousDataStreamList lanes = mLanes;
        mNotes.StreamOut(typed, lanes);
        mNumRecords = 0;
        for (auto* cursorP = lanes.data(); cursorP != lanes.data() + lanes.size(); ++mNumRecords)
            (*cursorP)->StreamOut(typed, lanes, cursorP);
        std::ranges::for_each(lanes, [this](const auto& iLane) { mMade.insert(iLane.Get()); });
        return {stream.GetBytes().begin(), stream.GetBytes().end()};
    }

    void Load(const ByteVector& iBytes, bool iHasNotes, int iNumRecords, bool iInOneBatch)
    {
        Sys_MemoryInStream stream(iBytes);
        Sys_TypedInStream typed(stream);
        if (iHasNotes)
            mNotes.StreamIn(typed);
        Mdid_NoteList other(kNotUndoable, false);
        const Mdid_NoteListBase::ReadingScope scope(iInOneBatch ? mNotes : other);
        while (iNumRecords-- > 0)
        {
            bool isInserted = false;
            auto* const laneP = *mMade.insert(new Mdid_ContinuousDataStream(kNotUndoable)).first;
            laneP->StreamIn(typed, false, mLanes, mNotes, isInserted);
            EXPECT_EQ(isInserted, std::ranges::count(mLanes, Mdid_ContinuousDataStream::TrackedPtr(laneP)) == 1);
        }
        EXPECT_TRUE(stream.IsAtEnd());
    }

    // " 7:0=80 / 60 9 0:3=5": index, stream type and values of the lanes; then pitch, duration and lanes of the notes.
    std::string Describe() const
    {
        std::ostringstream text;
        const auto add = [&text](const Mdid_ContinuousDataStreamCore& iLane)
        {
            text << ' ' << iLane.GetSubStream().GetDataTypeIndex() << ':' << int{iLane.GetSubStream().GetStreamType()};
            std::ranges::for_each(iLane.GetSegments(), [&](const auto& iSegment) { text << '=' << iSegment.mValue; });
        };
        std::ranges::for_each(mLanes, [&](const auto& iLane) { add(*iLane); });
        for (const auto& note : mNotes)
        {
            text << " / " << int{note.GetPitch()} << ' ' << note.GetDuration().AsInt64();
            if (note.HasPerNoteControllers())
                std::ranges::for_each(*note.GetPerNoteControllers(), add);
        }
        EXPECT_EQ(mNotes.IsMPE(), text.str().find(":3") != std::string::npos);
        return text.str();
    }

    Mdid_ContinuousDataStreamList mLanes;
    Mdid_NoteList mNotes{kNotUndoable, true};
    std::set<Mdid_ContinuousDataStream*> mMade;
    int mNumRecords = 0;
};

std::string Reload(Chunk& ioChunk, bool iAllowWriting = true, bool iAllowReading = true, bool iInOneBatch = true)
{
    const ScopedAllowMPE allow(iAllowWriting);
    const ByteVector saved = ioChunk.Save();
    Mdid_AllowMPE().Set(iAllowReading);
    Chunk loaded;
    loaded.Load(saved, true, ioChunk.mNumRecords, iInOneBatch);
    return loaded.Describe();
}

const Mdid_Event kBend = Mdid_PitchBendEvent(2, 0);
const Mdid_Event kBrightness = Mdid_ControllerEvent(2, 74, 0);

TEST(Mdid_ContinuousDataStream, LanesComeBackAsFarAsTheOptionLetsThem)
{
    const ScopedAllowMPE allow(true);
    Chunk chunk;
    for (const int controller : {7, 74})
        chunk.AddLane(Mdie_SubStream::Controller(controller), {controller});
    chunk.AddLane(Mdie_SubStream::PitchBend(), {1});
    chunk.AddLane(Mdie_SubStream::PolyPressure(60), {});
    chunk.AddNote(1000, 60, 8, {{kBend, 4}, {kBrightness, 5}});
    chunk.AddNote(1000, 64, 8, {{kBrightness, 6}, {Mdid_MonoPressureEvent(2, 0), 7}}); // a chord
    chunk.AddNote(2000, 60, 8, {{kBrightness, 0}});
    const std::string lanes = " 0:0=1 7:0=7 74:0=74 182:0";
    EXPECT_EQ(Reload(chunk), lanes + " / 60 8 0:3=4 74:3=5 / 64 8 74:3=6 120:3=7 / 60 8 74:3");
    EXPECT_EQ(Reload(chunk, false, true), lanes + " / 60 8 / 64 8 / 60 8"); // what notes have is not written
    // A note's lane that is alone in its record is read as a lane of the chunk.
    EXPECT_EQ(Reload(chunk, true, false), " 0:0=1 7:0=7 74:0=74 120:4=7 182:0 / 60 8 / 64 8 / 60 8");

    EXPECT_TRUE(Chunk().mLanes == chunk.mLanes && !(chunk.mLanes == Chunk().mLanes)); // kept: the right may be longer
    chunk.mLanes.insert(chunk.mLanes.begin(), nullptr);                               // is passed over
    EXPECT_EQ(chunk.mLanes.FindStream(Mdie_SubStream::Controller(8)), &chunk.mLanes[3]);
}

TEST(Mdid_ContinuousDataStream, WhatIsHardToReadComesBackToo)
{
    const ScopedAllowMPE allow(true);
    const TickTimesMatter::Scoped ticksMatter(true);
    Chunk equal; // note-ons; the lane at the head of the first group is empty
    equal.AddNote(1000, 60, 9, {{kBend, 4}, {kBrightness, 5}});
    equal.AddNote(1000, 60, 12, {{kBend, 0}, {kBrightness, 7}});
    // An empty lane says that a note has none which an equal note-on before it has.
    EXPECT_EQ(Reload(equal), " / 60 9 0:3=4 74:3=5 / 60 12 74:3=7");
    Chunk onlyTheFirst;
    onlyTheFirst.AddNote(1000, 60, 9, {{kBend, 4}});
    onlyTheFirst.AddNote(1000, 60, 12, {{kBrightness, 7}});
    onlyTheFirst.AddNote(1000, 60, 15, {});
    EXPECT_EQ(Reload(onlyTheFirst), " / 60 9 0:3=4 / 60 12 74:3=7 / 60 15");

    Chunk close; // to the grid, where they go with their first lane, or all at the end
    close.AddNote(1123, 60, 8, {{kBend, 4}, {kBrightness, 5}});
    close.AddNote(1124, 61, 9, {{kBrightness, 6}});
    for (const bool inOneBatch : {true, false})
        EXPECT_EQ(Reload(close, true, true, inOneBatch), " / 60 8 0:3=4 74:3=5 / 61 9 74:3=6");

    Chunk perChannel; // the empty lane is left out
    perChannel.AddLane({Mdid_PitchBendEvent(0, 0), Mdie_SubStream::kPerChannel}, {});
    perChannel.AddLane({kBend, Mdie_SubStream::kPerChannel}, {7});
    const ByteVector saved = perChannel.Save();
    perChannel.mLanes.erase(perChannel.mLanes.begin());
    EXPECT_EQ(perChannel.Save(), saved);

    Chunk both; // kinds of lanes of one index, and of one lane times of one count
    both.AddLane(Mdie_SubStream::PitchBend(), {4});
    both.mLanes[0]->AddBreakpoint({4, kSample}, 9);
    both.AddLane({Mdid_PitchBendEvent(0, 0), Mdie_SubStream::kPerChannel}, {2});
    EXPECT_EQ(Reload(both), " 0:2=2 0:0=4=9");

    Chunk bad; // lanes that could not be read are written repaired
    RecordingAssertHandler asserts;
    bad.AddLane(Mdie_SubStream::PitchBend(), {-9, -8, 5});
    bad.mLanes[0]->AddBreakpoint({1, kSample}, 4);                  // 40 ticks
    bad.mLanes[0]->NdoRestoreState(bad.mNotes.NdoGetState().get()); // of another class: changes nothing
    EXPECT_EQ(Reload(bad), " 0:0=-8=5=4");
    EXPECT_EQ(asserts.Take().size(), 2u); // -9, and 1 after 5
}

// Keys on channel 2, and breakpoints: none, one at 5 ticks.
constexpr auto Key = [](const std::string& iKindAndSubType, const char* iRest = "00 02 ff ff 0000000000000000")
{ return "04 4d647373 0100 1100000000000000" + iKindAndSubType + iRest; };
const std::string kNone = "04 4d644344 0100 0400000000000000 00000000";
const std::string kFive = "04 4d644344 0100 1000000000000000 01000000 1500000000000000 05000000";
const std::string kBendHead = Key("01 00000000", "01 02 ff ff 0000000000000000") + kFive;
const std::string kPlaceholder = Key("02 00000000", "01 02 ff ff 0000000000000000");
const std::string kOfNote = Key("01 00000000", "04 02 3c 5a a10f000000000000") + kFive; // at 1000

constexpr auto RecordOf = [](const std::string& iBody) { return Record("05 4d6443445302 00", FromHex(iBody)); };

TEST(Mdid_ContinuousDataStream, TheRecordsAreWrittenToTheLetterAndDamageRefused)
{
    const Mdie_SubStream bend(kBend, Mdie_SubStream::kOrdinary);
    const Mdie_SubStream seven(Mdid_ControllerEvent(2, 7, 0), Mdie_SubStream::kOrdinary);
    const Mdie_SubStream ofNote(kBend, {{1000, kTick}, Mdid_NoteWithDurationEvent(2, 60, {9, kTick}, 90, 64)});
    const std::tuple<bool, std::vector<Mdie_SubStream>, std::string> kCases[] = {
        {true, {bend}, Key("01 00000000") + kFive},
        {true, {bend, ofNote}, kBendHead + "01000000" + kOfNote},
        {true, {seven}, kPlaceholder + kNone + "01000000" + Key("02 07000000") + kFive},  // kept: even alone
        {false, {bend, ofNote}, "04 4d647373 0100 0500000000000000 01 00000000" + kFive}, // the first of its index
    };
    for (const auto& [allowMPE, keys, body] : kCases)
    {
        const ScopedAllowMPE allow(allowMPE);
        Chunk chunk;
        for (const auto& key : keys)
            chunk.AddLane(key, {5});
        EXPECT_TRUE(ToHex(chunk.Save()).ends_with(ToHex(RecordOf(body))) && chunk.mNumRecords == 1) << body;
    }

    const ScopedAllowMPE allow(true);
    const RecordingAssertHandler asserts;
    const auto load = [](const std::string& iBody)
    {
        Chunk chunk;
        chunk.Load(RecordOf(iBody), false, 1, true);
        return chunk.Describe();
    };
    // Kept: behind a lane without its note nothing can be read, which is no harm for the last one.
    const std::string group = kBendHead + "02000000" + Key("01 00000000", "02 03 ff ff 0000000000000000") + kFive;
    EXPECT_EQ(load(group + kOfNote), " 0:2=5 0:2=5");
    EXPECT_THROW(load(kBendHead + "02000000" + kOfNote + Key("01 00000000") + kFive), Sys_StreamException);
    EXPECT_EQ("", load(kOfNote) + load(Key("00 00000000") + kFive) + load(kPlaceholder + kFive + "00000000"));
    const std::string digits = ToHex(FromHex(group));
    for (std::size_t length = 0; length <= digits.size(); length += 3)
        EXPECT_THROW(load(digits.substr(0, length)), Sys_StreamException) << length;
    EXPECT_THROW(load(kBendHead + "ffffffff"), std::runtime_error);
    const std::string volume = Key("02 07000000") + kFive;
    EXPECT_THROW(load(kPlaceholder + kNone + "02000000" + volume + volume), std::runtime_error); // not unique
    EXPECT_THROW(load(Key("02 00000000") + kNone), std::runtime_error); // a placeholder without group
}

} // namespace
