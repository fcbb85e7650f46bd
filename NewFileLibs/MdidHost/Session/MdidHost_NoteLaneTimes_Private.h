#pragma once

#include "Mdid/Mdid_ContinuousDataStreamCore.h"
#include "Mdid/Mdid_ExtendedEvent.h"

#include <algorithm>

// When the breakpoints of a note's lanes are heard. They count from where the note starts without the cuts of a clip.
// Of a note that is cut, the clip plays what a whole note has between the cuts: at its start the value in force there,
// and nothing from its end on. The note must outlive this.
class MdidHost_NoteLaneTimes
{
public:
    using Note = Mdid_NoteWithDurationExtendedEvent;
    using Segment = Mdid_ContinuousDataStreamCore::Segment;
    using Segments = std::vector<Segment>;

    explicit MdidHost_NoteLaneTimes(const Note& iNote)
        : mNoteP(&iNote),
          mOrigin(iNote.HasTrimExtension() ? iNote.GetUntrimmedStart() : iNote.GetTime())
    {
    }

    const Note& GetNote() const { return *mNoteP; }

    // The first that is heard.
    Segments::const_iterator FindFirst(const Segments& iSegments) const
    {
        if (!mNoteP->HasTrimExtension())
            return iSegments.begin();
        const auto isAtStart = [this](const Segment& iSegment) { return IsAtStart(iSegment); };
        const auto next = std::ranges::partition_point(iSegments, isAtStart);
        return next == iSegments.begin() ? next : next - 1;
    }

    Time_Typed TimeOf(const Segment& iSegment) const
    {
        const Time_Typed time = mOrigin + Time_TypedLength(iSegment.mTime.GetPacked());
        return mNoteP->HasTrimExtension() ? std::max(mNoteP->GetTime(), time) : time;
    }

    bool IsAtStart(const Segment& iSegment) const
    {
        return mNoteP->HasTrimExtension() ? TimeOf(iSegment) <= mNoteP->GetTime() : iSegment.mTime.AsInt64() <= 0;
    }

    // Whether a cut has silenced the note by then.
    bool IsCutOff(Time_Typed iTime) const { return mNoteP->HasTrimExtension() && iTime >= mNoteP->GetEndTime(); }

    // Where the note would end without cuts.
    Time_Typed GetUntrimmedEnd() const
    {
        const Time_Typed end = mNoteP->GetEndTime();
        return mNoteP->HasTrimExtension() ? end + mNoteP->GetUntrimmedRightDelta(nullptr) : end;
    }

private:
    const Note* mNoteP;
    Time_Typed mOrigin;
};
