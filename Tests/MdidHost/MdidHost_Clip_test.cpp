#include "MdidHost/Edit/MdidHost_Clip.h"

#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_Chunk.h"
#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"
#include "Support/ScopedAllowMPE.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <random>
#include <set>

namespace
{

using Note = Mdid_NoteListBase::Note;
using enum Time_EType;
constexpr Time_Typed kFirst = Time_Typed::MinTime(kSample), kLast = Time_Typed::MaxTime(kSample);

// What a clip leaves, once it is widened: what stands in it, and the notes that sound across its start.
MdidHost_Session Filtered(MdidHost_Session iSession, Time_Typed iFrom, Time_Typed iTo)
{
    for (MdidHost_Track& track : iSession.mTracks)
    {
        const Mdid_ChunkRef whole = track.mChunk;
        track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
        track.mChunk->AddEventsFromChunk(whole.Get(), iFrom, iTo, {0, kTick}, Mdie_Filter().SetAll());
        for (const Note& note : *whole->GetNoteList())
            if (note.GetTime() < iFrom && iFrom < note.GetEndTime())
                track.mChunk->AddEvent(note, {});
    }
    return iSession;
}

// Start, end and pitch of each note: cut to the nearest unit, of which one is left.
auto PlayedIn(const MdidHost_Session& iSession, Time_Typed iFrom, Time_Typed iTo)
{
    std::multiset<std::array<std::int64_t, 3>> played;
    for (const MdidHost_Track& track : iSession.mTracks)
        for (const Note& note : *track.mChunk->GetNoteList())
        {
            const auto in = [&](Time_Typed i) { return Time_Convert::ToType(i, note.GetTime().GetType()).AsInt64(); };
            const auto end = in(note.GetEndTime()), start = std::clamp(in(iFrom), in(note.GetTime()), end - 1);
            played.insert({start, std::clamp(in(iTo), start + 1, end), note.GetPitch()});
        }
    return played;
}

bool HaveSameChunks(const MdidHost_Session& iA, const MdidHost_Session& iB)
{
    return std::ranges::equal(iA.mTracks, iB.mTracks, [](auto& a, auto& b) { return *a.mChunk == *b.mChunk; });
}

void TestClip(MdidHost_Session ioSession, std::mt19937& ioRandom, const std::string& iFolder)
{
    const MdidHost_Session::Scope scope(ioSession);
    const auto anyTime = [&] // or as near to the end of a note as another kind of time comes
    {
        const Mdid_NoteListBase& notes =
            *ioSession.mTracks[ioRandom() % ioSession.mTracks.size()].mChunk->GetNoteList();
        const auto i = ioRandom();
        const Note& note = notes.empty() ? Note() : notes[i % notes.Size()];
        const Time_Typed times[] = {
            {static_cast<std::int64_t>(i % 90'000'000), kTick}, note.GetTime(), note.GetEndTime()};
        return Time_Convert::ToType(times[i % 3], static_cast<Time_EType>(ioRandom() % 3));
    };
    const auto [from, to] = std::minmax({anyTime(), anyTime()});
    const auto original = Filtered(ioSession, kFirst, kLast), expected = Filtered(ioSession, from, to);
    EXPECT_THROW(MdidHost_ClipSession(ioSession, to, from), std::invalid_argument);
    if (from == to)
        return;
    MdidHost_ClipSession(ioSession, from, to);
    EXPECT_EQ(PlayedIn(ioSession, kFirst, kLast), PlayedIn(expected, from, to));
    MdidHost_SaveSession(ioSession, iFolder);
    MdidHost_Session loaded = MdidHost_LoadSession(iFolder, Ndo_Object::kNotUndoable);
    const Time_Typed middle = to - Time_TypedLength((to - from).AsInt64() / 2, to.GetType());
    MdidHost_ClipSession(loaded, from, middle); // a clip of the clip
    MdidHost_WidenSession(loaded);
    EXPECT_TRUE(HaveSameChunks(loaded, Filtered(expected, from, middle)));
    MdidHost_WidenSession(ioSession);
    EXPECT_TRUE(HaveSameChunks(ioSession, expected));
    while (Ndo_gManager.Undo())
        continue;
    EXPECT_TRUE(HaveSameChunks(ioSession, original));
    EXPECT_EQ(Ndo_gManager.GetRedoName(), "Clip");
    while (Ndo_gManager.Redo())
        continue;
    EXPECT_TRUE(HaveSameChunks(ioSession, expected));
    Ndo_gManager.DropHistory();
}

TEST(MdidHost_Clip, PlaysWhatSoundsAndGivesItBackWhole)
{
    const ScopedAllowMPE option(false);
    const TemporaryFolder folder;
    std::mt19937 random(5);
    for (const auto& [name, runs] : {std::pair<const char*, int>(MDID_EXAMPLES "/Song", 24), {MDID_DAMAGED, 2}})
        for (const auto& file : std::filesystem::directory_iterator(name))
            for (int i = 0; i < runs && file.path().extension() == ".mid"; ++i)
            {
                SCOPED_TRACE(file.path().string() + ' ' + std::to_string(i));
                MdidHost_ImportReport report;
                TestClip(MdidHost_OpenSession(file.path(), {false, i % 2 == 1, Ndo_Object::kUndoable}, report), random,
                         folder.GetPath() / std::to_string(i));
            }
}

} // namespace
