#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/PianoRoll/MdidHost_PianoRollContents_Private.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>

namespace
{

using namespace MdidHost_Roll;
constexpr std::int64_t kBar = 3'840'000, kLast = Time_Packed::kMaxCount, kDay = 24 * 1800 * kBar;
const TextWidth kTextWidth = [](const std::string& i, double) { return 6.0 * static_cast<double>(i.size()); };

MdidHost_Session MakeSession(const std::vector<std::int64_t>& iStarts, MdidHost_Division iDivision = {},
                             std::int64_t iLength = kBar)
{
    MdidHost_Session session;
    session.mDivision = iDivision;
    session.mTracks.emplace_back().mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
    const Mdid_NoteWithDurationEvent event(1, 60, Time_TickLength(iLength), 64, 64);
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
    const auto draw = [&](const MdidHost_Session& iSession, const MdidHost_PianoRoll& iRoll)
    {
        Sys_MemoryOutStream stream;
        MdidHost_DrawPianoRoll(iSession, iRoll, MdidHost_PianoRoll::Format::kPDF, stream);
    };
    for (const char* const title : {"\xEF\xBF\xBE\xEF\xB7\x90", "\xC3", "\xFF"})
        EXPECT_NO_THROW(draw(MakeSession({0}), {.mTitle = title}));
    for (const Mdie_SubStream& lane : {Mdie_SubStream(), Mdie_SubStream::Program(), Mdie_SubStream::Controller(0)})
        EXPECT_THROW(draw(MakeSession({0}), {.mLanes = {lane}}), std::invalid_argument);
    const std::vector<Mdie_SubStream> lanes(10, Mdie_SubStream::PitchBend());
    EXPECT_THROW(draw(MakeSession({0, 8000 * kBar}), {.mLanes = lanes}), std::length_error); // pages
}

TEST(MdidHost_PianoRoll, KeepsWhatHasLittleRoom)
{
    auto session = MakeSession(std::vector<std::int64_t>(9));
    session.mTracks.push_back(MakeSession({kBar}, {}, 0).mTracks[0]);
    session.mTracks[0].mName = "Orchestra strings ensemble violins 1";
    session.mTracks[1].mName = "Orchestra strings ensemble violins 2";
    Time_TempoMap tempos;
    for (int i = 0; i < 40 && tempos.Set(Time_Tick(i * kBar / 20), 500'000 + i); ++i)
        session.mMarkers.push_back({Time_Tick(i * kBar / 20), "a marker of some length"});
    session.mContext.SetTempoMap(tempos);
    session.mKeys = {{Time_Tick(kBar / 8), {}}};
    const Layout layout(session, {}, 0, kTextWidth);
    EXPECT_NE(layout.GetHands()[0].mName, layout.GetHands()[1].mName);
    const System& system = layout.GetSystems().at(0);
    const auto bars = layout.MakeNotes(system);
    EXPECT_EQ(std::ssize(bars), 10); // with the one without length, in a bar of its own
    EXPECT_TRUE(bars[6].mBox.mTop > bars[5].mBox.mTop && bars[7].mNumCovering == 2);
    EXPECT_EQ(std::ranges::count(system.mMarks, Label::Kind::kMarker, &Mark::mKind), 40);
    EXPECT_EQ(std::ranges::count(system.mLabels, "C major", &Label::mText), 1); // rather than tempos

    auto large = MakeSession({0});
    large.mMeters = {{Time_Tick(0), 255, 4}};
    const Layout beats(large, {}, 0, kTextWidth);
    for (const System& each : beats.GetSystems())
        EXPECT_EQ(each.mStart.AsInt64() % (kBar / 4), 0);
    EXPECT_EQ(MdidHost_MinutesAndSeconds(-2'000'000) + MdidHost_MinutesAndSeconds(-499), "-0:02.0000:00.000");
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
    EXPECT_EQ(BendsOf(note, Time_Tick(0), Time_Tick(kBar)), std::pair(0, 1024));
    EXPECT_EQ(BendsOf(note, Time_Tick(0), Time_Tick(kBar / 2)), std::pair(0, 0));
}

} // namespace
