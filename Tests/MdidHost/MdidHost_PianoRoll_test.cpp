#include "MdidHost/MdidHost_OpenSession.h"
#include "MdidHost/MdidHost_PianoRollContents_Private.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>

namespace
{

using namespace MdidHost_Roll;
constexpr std::int64_t kBar = 3'840'000, kLast = Time_Packed::kMaxCount, kDay = 24 * 1800 * kBar;
const TextWidth kTextWidth = [](const std::string& i, double) { return 6.0 * static_cast<double>(i.size()); };

MdidHost_Session MakeSession(const std::vector<std::int64_t>& iStarts, MdidHost_Division iDivision = {})
{
    MdidHost_Session session;
    session.mDivision = iDivision;
    session.mTracks.emplace_back().mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
    const Mdid_NoteWithDurationEvent event(1, 60, Time_TickLength(kBar), 64, 64);
    for (const std::int64_t i : iStarts)
        session.mTracks[0].mChunk->AddEvent(WholeNote::Note(Time_Tick(i), event, true), {});
    return session;
}

bool Touch(const Box& a, const Box& b)
{
    return std::min(a.mRight, b.mRight) - std::max(a.mLeft, b.mLeft) > 0.1 &&
           std::min(a.mBottom, b.mBottom) - std::max(a.mTop, b.mTop) > 0.1;
}

TEST(MdidHost_PianoRoll, HasEachNoteOnceInEachSystemAndNothingOverlaps)
{
    MdidHost_ImportReport report;
    const auto session = MdidHost_OpenSession(MDID_EXAMPLES "/Song/canon.mid", {}, report);
    const MdidHost_Session::Scope scope(session);
    for (int i = 0; i < 60; ++i)
    {
        const MdidHost_PianoRoll roll{.mStart = Time_Tick(i * 31 % 90 * kBar / 4), .mWidth = 400 + i * 20};
        const Layout layout(session, roll, i % 3 * 424.0, kTextWidth);
        for (const System& system : layout.GetSystems())
        {
            auto surplus = std::ssize(layout.MakeNotes(system));
            for (const MdidHost_Track& track : session.mTracks)
                for (const WholeNote::Note& note : *track.mChunk->GetNoteList())
                    surplus -= note.GetTime() < system.mEnd && note.GetEndTime() > system.mStart ? 1 : 0;
            const auto [left, top, right, bottom] = system.mFrame;
            std::vector<Box> boxes{{0, top, left, bottom}, {right, top, 9999, bottom}};
            for (const NoteBar& bar : layout.MakeNotes(system))
                boxes.push_back(bar.mBox);
            for (const Label& label : system.mLabels)
                boxes.push_back(label.mBox);
            for (const Box& box : boxes)
                surplus += std::ranges::count_if(boxes, std::bind_front(Touch, box)) - 1;
            EXPECT_EQ(surplus, 0);
        }
    }
}

TEST(MdidHost_PianoRoll, DrawsWhatStandsAnywhereAndRefusesWhatNobodyCouldRead)
{
    const auto frames = MdidHost_Division::SMPTE(25, false, 40);
    auto dense = MakeSession({0, kBar});
    dense.mMeters = {{Time_Tick(0), 1, 1 << 30}};
    for (const auto& session : {dense, MakeSession({}), MakeSession({0}, frames), MakeSession({kLast})})
        for (const auto& [name, head] : {std::pair("a.svg", "<?xml"), {"B.PNG", "\x89PNG"}, {".pdf", "%PDF"}})
        {
            Sys_MemoryOutStream stream;
            MdidHost_DrawPianoRoll(session, {}, *MdidHost_PianoRoll::FormatOf(name), stream);
            EXPECT_EQ(std::memcmp(stream.GetBytes().data(), head, 4), 0);
        }
    const std::vector<std::int64_t> many(kMaxNotes + 1);
    for (const auto& session : {MakeSession(many), MakeSession({0, kLast}), MakeSession({0, kDay}, frames)})
        EXPECT_THROW(Layout(session, {}, 848, kTextWidth), std::length_error);
}

TEST(MdidHost_PianoRoll, BendsACutNoteFromWhereItStartedAndHasLanesInForce)
{
    const ScopedAllowMPE option(true);
    const auto session = MakeSession({0});
    auto note = session.mTracks[0].mChunk->GetNoteList()->at(0);
    note.SetPerNoteControllers();
    auto& lanes = *note.WritePerNoteControllers();
    lanes.InsertStream(Mdie_SubStream::PitchBend(), false)->AddBreakpoint(Time_Tick(kBar / 2), 1024);
    note.TrimNote(Time_Tick(kBar / 4), Time_Tick(kBar * 3 / 4), nullptr);
    session.mTracks[0].mChunk->Clear();
    session.mTracks[0].mChunk->AddEvent(note, {});
    session.mTracks[0].mChunk->AddEvent({Time_Tick(-5), Mdid_ControllerEvent(0, 7, 127)}, {});
    const MdidHost_PianoRoll roll{.mLanes = *MdidHost_PianoRoll::ParseLanes("7,7,bend")};
    const Layout layout(session, roll, 0, kTextWidth);
    const System& system = layout.GetSystems().front();
    const auto& [left, top, right, bottom] = system.mFrame;
    const NoteBar bar = layout.MakeNotes(system).at(0);
    EXPECT_TRUE(bar.mIsMuted && bar.mIsHeadCut && bar.mIsTailCut && bar.mWholeLeft == left && bar.mWholeRight == right);
    const auto [x, y] = bar.mBend.at(0);
    EXPECT_TRUE(x == (left + right) / 2 && y == bar.mBox.Middle() - 6 * layout.GetRowHeight());
    EXPECT_EQ(layout.MakeLanes(system).at(0).mCurves.at(0).mPoints.at(0).mX, left);
}

} // namespace
