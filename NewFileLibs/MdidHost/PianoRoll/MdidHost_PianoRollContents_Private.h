#pragma once

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "MdidHost/PianoRoll/MdidHost_PianoRollLayout_Private.h"
#include "MdidHost/Session/MdidHost_NoteLaneTimes_Private.h"

#include <algorithm>
#include <utility>
#include <vector>

// What a piano roll reads of notes and lanes.
namespace MdidHost_Roll
{

// A bend of a note, in semitones.
constexpr double kBendSemitones = 48;
constexpr double kBendSteps = 8192;

constexpr double SemitonesOf(int iBend)
{
    return iBend / kBendSteps * kBendSemitones;
}

// Where a note starts and ends with what clips have cut off.
class WholeNote
{
public:
    using Note = Mdid_NoteWithDurationExtendedEvent;

    explicit WholeNote(const Note& iNote) : mStart(iNote.GetTime()), mEnd(iNote.GetEndTime())
    {
        if (!iNote.HasTrimExtension())
            return;
        Note whole = iNote;
        mIsHeadCut = whole.UntrimHead(nullptr);
        mIsTailCut = whole.UntrimTail(nullptr);
        mStart = whole.GetTime();
        mEnd = whole.GetEndTime();
    }

    Time_Typed GetStart() const { return mStart; }
    Time_Typed GetEnd() const { return mEnd; }
    bool IsHeadCut() const { return mIsHeadCut; }
    bool IsTailCut() const { return mIsTailCut; }

private:
    Time_Typed mStart;
    Time_Typed mEnd;
    bool mIsHeadCut = false;
    bool mIsTailCut = false;
};

inline bool IsSameLane(const Mdie_SubStream& iA, const Mdie_SubStream& iB)
{
    return iA.IsLane() && iB.IsLane() && iA.GetDataTypeIndex() == iB.GetDataTypeIndex();
}

// Calls iDo with each lane of a hand, not empty, that is among those of iLanes.
template <class Do>
void ForLanesOf(const Hand& iHand, const std::vector<Mdie_SubStream>& iLanes, Do iDo)
{
    for (const auto& laneP : *iHand.mChunkP->GetContinuousList())
        if (laneP && !laneP->IsEmpty() &&
            std::ranges::any_of(iLanes, [&](const auto& lane) { return IsSameLane(lane, laneP->GetSubStream()); }))
            iDo(*laneP);
}

// The lane of a note, not empty, or null.
const Mdid_PerNoteDataStream* FindLaneOf(const WholeNote::Note& iNote, const Mdie_SubStream& iLane);

// The lowest and the highest bend that is heard of a note in [iStart, iEnd), no bend being 0; 0 and 0 when it has none.
std::pair<int, int> BendsOf(const WholeNote::Note& iNote, Time_Typed iStart, Time_Typed iEnd);

} // namespace MdidHost_Roll
