#include "Mdid/Mdid_DisplayItem.h"

#include <tuple>

namespace
{

// What is disabled does not matter. Agrees with the order of events wherever that one decides, and has an answer for
// all others.
auto ProgramKey(const Mdid_ProgramEvent& iEvent)
{
    const auto part = [](bool iIsEnabled, int iValue) { return std::pair(!iIsEnabled, iIsEnabled ? iValue : 0); };
    return std::tuple(part(iEvent.IsMSBBankEnabled(), iEvent.GetMSBBank()),
                      part(iEvent.IsLSBBankEnabled(), iEvent.GetLSBBank()),
                      part(iEvent.IsProgramEnabled(), iEvent.GetProgram()));
}

// Mdid_Event::operator< where it is fit for sorting; events without any order of their own are equivalent.
bool IsLessWithinItsType(const Mdid_Event& iA, const Mdid_Event& iB)
{
    switch (iA.GetType())
    {
    case Mdid_Event::kProgram:
        return ProgramKey(iA.As<Mdid_ProgramEvent>()) < ProgramKey(iB.As<Mdid_ProgramEvent>());
    case Mdid_Event::kNullEvent:
    case Mdid_Event::kStart:
    case Mdid_Event::kContinue:
    case Mdid_Event::kStop:
    case Mdid_Event::kTimingClock:
    case Mdid_Event::kAllNotesOff:
    case Mdid_Event::kPitchToMIDINoteWithDuration:
    case Mdid_Event::kClip:
        return false;
    default:
        return iA < iB;
    }
}

} // namespace

bool Mdid_DisplayItem::sMIDIDisplayPropertyEffects = false;

Mdid_DisplayItem::Mdid_DisplayItem(Time_Typed iDisplayedTime, const Mdie_TimedEvent& iNewEvent,
                                   const Mdid_ExtendedEvent& iStored, bool iFlag, int iNumber)
    : mDisplayedTime(iDisplayedTime),
      mStored(iStored),
      mNew(iNewEvent),
      mFlag(iFlag),
      mNumber(iNumber)
{
}

Mdid_DisplayItem::Mdid_DisplayItem(const Mdie_TimedEvent& iNewEvent, const Mdid_ExtendedEvent& iStored, int iNumber)
    : Mdid_DisplayItem(iStored.GetTime(), iNewEvent, iStored, false, iNumber)
{
}

Mdid_DisplayItem::Mdid_DisplayItem(const Mdid_NoteWithDurationExtendedEvent& iStored,
                                   const Mdid_NoteWithDurationExtendedEvent& iNew, bool iFlag, int iNumber)
    : Mdid_DisplayItem(iStored.GetTime(), iNew, iStored, iFlag, iNumber)
{
}

// Kept: the new values of a stored pitch-to-MIDI note show always.
bool Mdid_DisplayItem::ShowsNewEvent() const
{
    return sMIDIDisplayPropertyEffects || mStored.GetEvent().GetType() == Mdid_Event::kPitchToMIDINoteWithDuration;
}

const Mdie_TimedEvent& Mdid_DisplayItem::GetShownEvent() const
{
    return ShowsNewEvent() ? mNew : mStored;
}

Time_Typed Mdid_DisplayItem::GetDisplayedTime() const
{
    return ShowsNewEvent() ? mNew.GetTime() : mDisplayedTime;
}

signed char Mdid_DisplayItem::GetDisplayedPitch() const
{
    const Mdie_TimedEvent& shown = GetShownEvent();
    return shown.IsNoteWithDurationEvent() ? shown.GetEvent().As<Mdid_NoteWithDurationBase>().GetPitch()
                                           : static_cast<signed char>(0);
}

signed char Mdid_DisplayItem::GetDisplayedVelocity() const
{
    const Mdie_TimedEvent& shown = GetShownEvent();
    return shown.IsNoteWithDurationEvent() ? shown.GetEvent().As<Mdid_NoteWithDurationBase>().GetVelocity()
                                           : static_cast<signed char>(0);
}

Time_TypedLength Mdid_DisplayItem::GetDisplayedDuration() const
{
    return GetShownEvent().GetDuration();
}

Mdid_ExtendedEvent Mdid_DisplayItem::GetDisplayedEvent() const
{
    if (!sMIDIDisplayPropertyEffects || mStored.GetEvent().GetType() == Mdid_Event::kPitchToMIDINoteWithDuration)
        return mStored;
    if (IsNote() && mNew.IsNoteWithDurationEvent())
        return GetNewNote();
    return Mdid_ExtendedEvent(mNew);
}

Mdid_NoteWithDurationExtendedEvent Mdid_DisplayItem::GetNewNote() const
{
    if (!IsNote())
        return Mdid_NoteWithDurationExtendedEvent(mNew);
    Mdid_NoteWithDurationExtendedEvent note = mStored.AsNote();
    static_cast<Mdie_TimedEvent&>(note) = mNew;
    return note;
}

bool Mdid_DisplayItem::PlaybackOrdering(const Mdid_DisplayItem& iA, const Mdid_DisplayItem& iB)
{
    const Time_Typed timeA = iA.GetDisplayedTime();
    const Time_Typed timeB = iB.GetDisplayedTime();
    if (timeA != timeB)
        return timeA < timeB;

    const auto key = [](const Mdid_DisplayItem& iItem)
    {
        const Mdid_Event& stored = iItem.mStored.GetEvent();
        return std::tuple(stored.GetPlaybackPriority(), stored.GetType(), iItem.mNew.GetEvent().GetType());
    };
    const auto keyA = key(iA);
    const auto keyB = key(iB);
    return keyA == keyB ? IsLessWithinItsType(iA.mNew.GetEvent(), iB.mNew.GetEvent()) : keyA < keyB;
}
