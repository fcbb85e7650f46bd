// What a clip's edges cut off a note, and how it comes back.
//
// Start, duration and original duration may be of three kinds of time. Each number is rounded to its own kind, but from
// places that stay: the end, in the kind of the duration, while the start moves; and where the note would start and
// end, in the kind of the original duration, while it is cut. So roundings do not add up.

#include "Mdid/Mdid_ExtendedEvent.h"

#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_Options.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <iterator>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;

Time_Typed InKindOfDuration(const Note& iNote, Time_Typed iTime)
{
    return Time_Convert::ToType(iTime, iNote.GetDuration().GetType());
}

Time_Typed InKindOfOriginal(const Note& iNote, Time_Typed iTime)
{
    return Time_Convert::ToType(iTime, iNote.GetOriginalDuration().GetType());
}

Time_Typed EndOf(const Note& iNote)
{
    return InKindOfDuration(iNote, iNote.GetTime()) + iNote.GetDuration();
}

Time_Typed UntrimmedEndOf(const Note& iNote)
{
    return InKindOfOriginal(iNote, EndOf(iNote)) + iNote.GetUntrimmedRightDelta(nullptr);
}

// False, and nothing changes, when less than one unit would be left, or more than there are lengths.
bool SetStartAndDuration(Note& ioNote, Time_Typed iStart, std::int64_t iDuration)
{
    const Time_TypedLength duration(iDuration, ioNote.GetDuration().GetType());
    if (iDuration < 1 || duration.AsInt64() != iDuration)
        return false;
    ioNote.SetTime(iStart);
    ioNote.GetNote().SetDuration(duration);
    return true;
}

// The end stays, also where it lies behind all times. Counts have 62 bits, so that their sums fit.
bool MoveStart(Note& ioNote, Time_Typed iStart)
{
    const std::int64_t was = InKindOfDuration(ioNote, ioNote.GetTime()).AsInt64();
    const std::int64_t is = InKindOfDuration(ioNote, iStart).AsInt64();
    return SetStartAndDuration(ioNote, iStart, ioNote.GetDuration().AsInt64() + (was - is));
}

bool MoveEnd(Note& ioNote, Time_Typed iEnd)
{
    const std::int64_t start = InKindOfDuration(ioNote, ioNote.GetTime()).AsInt64();
    return SetStartAndDuration(ioNote, ioNote.GetTime(), iEnd.AsInt64() - start);
}

bool IsOfOneKind(const Note& iNote)
{
    return iNote.GetDuration().GetType() == iNote.GetOriginalDuration().GetType();
}

// Of what a lane holds before the start, the value that is in force there stands at the start.
void CountFrom(Time_Typed iStart, Time_Typed iUntrimmedStart, Mdid_PerNoteDataStream& ioLane)
{
    using Segment = Mdid_ContinuousDataStreamCore::Segment;
    const auto timeOf = [&](const Segment& iSegment)
    { return iUntrimmedStart + Time_TypedLength(iSegment.mTime.GetPacked()); };
    const auto& segments = ioLane.GetSegments();
    auto next = std::ranges::upper_bound(segments, iStart, {}, timeOf);
    Mdid_ContinuousDataStreamCore moved(ioLane.GetSnapToCoarseTicks());
    if (next != segments.begin())
        moved.AddBreakpoint(Time_Typed(0, iStart.GetType()), std::prev(next)->mValue);
    for (; next != segments.end(); ++next)
    {
        const Time_EType kind = next->mTime.GetType();
        const Time_TypedLength sinceStart =
            Time_Convert::ToType(timeOf(*next), kind) - Time_Convert::ToType(iStart, kind);
        moved.AddBreakpoint(Time_Typed(sinceStart.AsInt64(), kind), next->mValue);
    }
    ioLane.ReplaceData(&moved);
}

void CountLanesFromStart(Note& ioNote, Time_Typed iUntrimmedStart)
{
    if (!ioNote.HasPerNoteControllers() || !Mdid_AllowMPE())
        return;
    Mdid_PerNoteControllerList* const lanesP = ioNote.WritePerNoteControllers();
    for (Mdid_PerNoteDataStream& lane : *lanesP)
        CountFrom(ioNote.GetTime(), iUntrimmedStart, lane);
}

// Has an extension when iCut, which cannot fail for want of memory any more, is called. Returns what that returns.
template <class Cut>
bool CutWithExtension(Note& ioNote, const Mdid_TrimmedNotesContext* iContextP, Cut iCut)
{
    if (!ioNote.HasTrimExtension())
    {
        ioNote.SetTrimExtension({});
        if (iContextP)
            iContextP->AttachContextToNote(ioNote);
    }
    const bool isCut = iCut(*ioNote.GetTrimExtension());
    ioNote.ClearTrimExtensionIfEmpty();
    return isCut;
}

} // namespace

bool Mdid_NoteWithDurationExtendedEvent::SoundsAcross(Time_Typed iTime) const
{
    const bool isNote = IsNoteWithDurationExtendedEvent() && IsNoteWithDurationEvent();
    return isNote && GetTime() < iTime && iTime < GetEndTime();
}

void Mdid_NoteWithDurationExtendedEvent::TrimNote(Time_Typed iStart, Time_Typed iEnd,
                                                  const Mdid_TrimmedNotesContext* iContextP)
{
    Note note(*this); // the second cut may fail
    const bool isHeadCut = note.TrimHead(iStart, iContextP);
    const bool isTailCut = note.TrimTail(iEnd, iContextP);
    if (isHeadCut || isTailCut)
        *this = std::move(note);
}

bool Mdid_NoteWithDurationExtendedEvent::TrimHead(Time_Typed iStart, const Mdid_TrimmedNotesContext* iContextP)
{
    const Time_Typed start = Time_Convert::ToType(iStart, GetTime().GetType());
    if (!SoundsAcross(iStart) || start <= GetTime() || !MatchesContext(iContextP))
        return false;
    const Time_Typed untrimmed = InKindOfOriginal(*this, GetTime()) + GetUntrimmedLeftDelta(nullptr);
    const auto cut = [&](Mdid_TrimmedNoteExtension& oExtension)
    {
        if (!MoveStart(*this, start))
            return false;
        oExtension.mLeftUntrimmedDelta = (untrimmed - InKindOfOriginal(*this, start)).AsInt64();
        return true;
    };
    return CutWithExtension(*this, iContextP, cut);
}

bool Mdid_NoteWithDurationExtendedEvent::TrimTail(Time_Typed iEnd, const Mdid_TrimmedNotesContext* iContextP)
{
    const Time_Typed end = InKindOfDuration(*this, iEnd);
    if (!SoundsAcross(iEnd) || end >= EndOf(*this) || !MatchesContext(iContextP))
        return false;
    const Time_Typed untrimmed = UntrimmedEndOf(*this);
    const std::int64_t ofOneKind = GetDuration().AsInt64() + GetUntrimmedRightDelta(nullptr).AsInt64();
    const auto cut = [&](Mdid_TrimmedNoteExtension& oExtension)
    {
        if (!MoveEnd(*this, end))
            return false;
        oExtension.mRightUntrimmedDelta = IsOfOneKind(*this) ? ofOneKind - GetDuration().AsInt64()
                                                             : (untrimmed - InKindOfOriginal(*this, end)).AsInt64();
        return true;
    };
    return CutWithExtension(*this, iContextP, cut);
}

bool Mdid_NoteWithDurationExtendedEvent::UntrimHead(const Mdid_TrimmedNotesContext* iContextP)
{
    const Time_TypedLength delta = GetUntrimmedLeftDelta(iContextP);
    if (delta.AsInt64() == 0)
        return false;
    const Time_Typed start = InKindOfOriginal(*this, GetTime());
    if (delta.AsInt64() < 0 && start + delta - start == delta && IsNoteWithDurationEvent())
        MoveStart(*this, GetUntrimmedStart());
    SetUntrimmedLeftDelta(0, iContextP);
    return true;
}

bool Mdid_NoteWithDurationExtendedEvent::UntrimTail(const Mdid_TrimmedNotesContext* iContextP)
{
    const std::int64_t delta = GetUntrimmedRightDelta(iContextP).AsInt64();
    if (delta == 0)
        return false;
    const Time_Typed end = InKindOfOriginal(*this, EndOf(*this));
    if (delta > 0 && IsNoteWithDurationEvent() && IsOfOneKind(*this))
        SetStartAndDuration(*this, GetTime(), GetDuration().AsInt64() + delta);
    else if (delta > 0 && IsNoteWithDurationEvent() && (UntrimmedEndOf(*this) - end).AsInt64() == delta)
        MoveEnd(*this, InKindOfDuration(*this, UntrimmedEndOf(*this)));
    SetUntrimmedRightDelta(0, iContextP);
    return true;
}

Time_Typed Mdid_NoteWithDurationExtendedEvent::GetUntrimmedStart() const
{
    const Time_TypedLength delta = GetUntrimmedLeftDelta(nullptr);
    if (delta.AsInt64() >= 0)
        return GetTime();
    return Time_Convert::ToType(InKindOfOriginal(*this, GetTime()) + delta, GetTime().GetType());
}

bool Mdid_NoteWithDurationExtendedEvent::ForgetHead(const Mdid_TrimmedNotesContext* iContextP)
{
    if (GetUntrimmedLeftDelta(iContextP).AsInt64() == 0)
        return false;
    Mdid_NoteWithDurationExtendedEvent note(*this); // whose lanes are its own when they are written
    if (const Time_Typed untrimmed = GetUntrimmedStart(); untrimmed < GetTime())
        CountLanesFromStart(note, untrimmed);
    note.SetUntrimmedLeftDelta(0, iContextP);
    *this = std::move(note);
    return true;
}

bool Mdid_NoteWithDurationExtendedEvent::ForgetTail(const Mdid_TrimmedNotesContext* iContextP)
{
    if (GetUntrimmedRightDelta(iContextP).AsInt64() == 0)
        return false;
    SetUntrimmedRightDelta(0, iContextP);
    return true;
}
