// What a clip's edges cut off a note, and how it comes back.
//
// Start, duration and original duration may be of three kinds of time. Each number is rounded to its own kind, but from
// places that stay: the end, in the kind of the duration, while the start moves; and where the note would start and
// end, in the kind of the original duration, while it is cut. So roundings do not add up.

#include "Mdid/Mdid_ExtendedEvent.h"

#include "MFnd/Time_Convert.h"

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

bool SoundsAcross(const Note& iNote, Time_Typed iTime)
{
    const bool isNote = iNote.IsNoteWithDurationExtendedEvent() && iNote.IsNoteWithDurationEvent();
    return isNote && iNote.GetTime() < iTime && iTime < iNote.GetEndTime();
}

// iEnd in the kind of the duration. False, and nothing changes, when less than one unit would be left, or more than
// there are times.
bool SetStartAndEnd(Note& ioNote, Time_Typed iStart, Time_Typed iEnd)
{
    const Time_Typed start = InKindOfDuration(ioNote, iStart);
    const Time_TypedLength duration = iEnd - start;
    if (duration.AsInt64() < 1 || start + duration != iEnd)
        return false;
    ioNote.SetTime(iStart);
    ioNote.GetNote().SetDuration(duration);
    return true;
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
    if (!SoundsAcross(*this, iStart) || start <= GetTime() || !MatchesContext(iContextP))
        return false;
    const Time_Typed untrimmed = InKindOfOriginal(*this, GetTime()) + GetUntrimmedLeftDelta(nullptr);
    const auto cut = [&](Mdid_TrimmedNoteExtension& oExtension)
    {
        if (!SetStartAndEnd(*this, start, EndOf(*this)))
            return false;
        oExtension.mLeftUntrimmedDelta = (untrimmed - InKindOfOriginal(*this, start)).AsInt64();
        return true;
    };
    return CutWithExtension(*this, iContextP, cut);
}

bool Mdid_NoteWithDurationExtendedEvent::TrimTail(Time_Typed iEnd, const Mdid_TrimmedNotesContext* iContextP)
{
    const Time_Typed end = InKindOfDuration(*this, iEnd);
    if (!SoundsAcross(*this, iEnd) || end >= EndOf(*this) || !MatchesContext(iContextP))
        return false;
    const Time_Typed untrimmed = UntrimmedEndOf(*this);
    const auto cut = [&](Mdid_TrimmedNoteExtension& oExtension)
    {
        if (!SetStartAndEnd(*this, GetTime(), end))
            return false;
        oExtension.mRightUntrimmedDelta = (untrimmed - InKindOfOriginal(*this, end)).AsInt64();
        return true;
    };
    return CutWithExtension(*this, iContextP, cut);
}

bool Mdid_NoteWithDurationExtendedEvent::UntrimHead(const Mdid_TrimmedNotesContext* iContextP)
{
    if (GetUntrimmedLeftDelta(iContextP).AsInt64() == 0)
        return false;
    if (IsNoteWithDurationEvent())
        SetStartAndEnd(*this, GetUntrimmedStart(), EndOf(*this));
    SetUntrimmedLeftDelta(0, iContextP);
    return true;
}

bool Mdid_NoteWithDurationExtendedEvent::UntrimTail(const Mdid_TrimmedNotesContext* iContextP)
{
    const std::int64_t delta = GetUntrimmedRightDelta(iContextP).AsInt64();
    if (delta == 0)
        return false;
    if (delta > 0 && IsNoteWithDurationEvent())
        SetStartAndEnd(*this, GetTime(), InKindOfDuration(*this, UntrimmedEndOf(*this)));
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
