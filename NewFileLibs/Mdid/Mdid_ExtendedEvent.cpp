#include "Mdid/Mdid_ExtendedEvent.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdid_Options.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <functional>

namespace
{

// Pitch-to-MIDI events have no equality of their own: of one time they count as equal.
bool AreEventsEqual(const Mdid_Event& iA, const Mdid_Event& iB)
{
    return iA.GetType() == iB.GetType() && (iA.GetType() == Mdid_Event::kPitchToMIDINoteWithDuration || iA == iB);
}

} // namespace

void Mdid_ExtendedEvent::Extension::TrimmedNoteExtensionConstruct(const Extension& iOther)
{
    mTrimExtensionP = std::make_unique<Mdid_TrimmedNoteExtension>(*iOther.mTrimExtensionP);
}

void Mdid_ExtendedEvent::Extension::PerNoteControllersCopyConstruct(const Extension& iOther)
{
    mPerNoteControllersP = iOther.mPerNoteControllersP;
    mPerNoteControllersP->AddReference();
}

void Mdid_ExtendedEvent::Extension::PerNoteControllersDestruct()
{
    std::exchange(mPerNoteControllersP, nullptr)->RemoveReference();
}

Mdid_PerNoteControllerList* Mdid_ExtendedEvent::WritePerNoteControllers()
{
    const bool sAllowMPE = Mdid_AllowMPE();
    if (!CMN_VERIFY(sAllowMPE && mU.mBase.mType == kNoteWithDurationExtEvent))
        return nullptr;
    Mdid_PerNoteControllerList* const thisList = mU.mPerNoteControllersP;
    if (!CMN_VERIFY(thisList))
        return nullptr;
    if (thisList->IsShared())
    {
        mU.mPerNoteControllersP =
            new Mdid_PerNoteControllerList(static_cast<const Mdid_PerNoteDataStreamList&>(*thisList));
        thisList->RemoveReference();
    }
    return mU.mPerNoteControllersP;
}

void Mdid_ExtendedEvent::SetPerNoteControllers()
{
    if (Mdid_AllowMPE() && IsNoteWithDurationExtendedEvent() && !HasPerNoteControllers())
        mU.mPerNoteControllersP = new Mdid_PerNoteControllerList;
}

void Mdid_ExtendedEvent::ClearPerNoteControllers()
{
    if (HasPerNoteControllers())
        mU.PerNoteControllersDestruct();
}

void Mdid_ExtendedEvent::SetTrimExtension(const Mdid_TrimmedNoteExtension& iExtension)
{
    if (IsNoteWithDurationExtendedEvent())
        mU.mTrimExtensionP = std::make_unique<Mdid_TrimmedNoteExtension>(iExtension);
}

void Mdid_ExtendedEvent::ClearTrimExtensionIfEmpty()
{
    if (HasTrimExtension() && mU.mTrimExtensionP->Empty())
        ClearTrimExtension();
}

Mdid_NoteWithDurationExtendedEvent::Mdid_NoteWithDurationExtendedEvent()
    : Mdid_NoteWithDurationExtendedEvent(Time_Typed(), Mdid_NoteWithDurationEvent(0, 0, {}, 0, 0), false)
{
}

Mdid_NoteWithDurationExtendedEvent::Mdid_NoteWithDurationExtendedEvent(Time_Typed iStart,
                                                                       const Mdid_NoteWithDurationBase& iEvent,
                                                                       bool iMuted)
    : Mdid_NoteWithDurationExtendedEvent(iStart, iEvent, iMuted, Time_TypedLength(0, iStart.GetType()), iEvent)
{
}

Mdid_NoteWithDurationExtendedEvent::Mdid_NoteWithDurationExtendedEvent(Time_Typed iStart,
                                                                       const Mdid_NoteWithDurationBase& iEvent,
                                                                       bool iMuted, Time_TypedLength iQuantizeTimeDelta,
                                                                       const Mdid_NoteWithDurationBase& iOriginal)
    : Mdid_ExtendedEvent(iStart, iEvent)
{
    mU.mBase.mType = kNoteWithDurationExtEvent;
    mU.mBase.mMuted = iMuted;
    mU.mQuantizeTimeDelta = iQuantizeTimeDelta;
    SetAsPerformedEvent(iOriginal);
}

Mdid_NoteWithDurationExtendedEvent::Mdid_NoteWithDurationExtendedEvent(const Mdie_TimedEvent& iNote)
    : Mdid_ExtendedEvent(iNote)
{
    mU.mBase.mType = kNoteWithDurationExtEvent;
    ResetQuantizeTimeDelta(iNote.GetTime().GetType());
    if (IsNoteWithDurationEvent())
        SetAsPerformedEvent(GetNote());
}

Mdid_NoteWithDurationEvent Mdid_NoteWithDurationExtendedEvent::GetAsPerformedEvent() const
{
    return {GetEvent().GetChannel(), GetOriginalPitch(), GetOriginalDuration(), GetOriginalOnVelocity(),
            GetOriginalOffVelocity()};
}

void Mdid_NoteWithDurationExtendedEvent::SetAsPerformedEvent(const Mdid_NoteWithDurationBase& iEvent)
{
    mU.mBase.mOriginalPitch = iEvent.GetPitch();
    mU.mBase.mOriginalOnVelocity = iEvent.GetVelocity();
    mU.mBase.mOriginalOffVelocity = iEvent.GetOffVelocity();
    mU.mOriginalDuration = iEvent.GetDuration();
}

void Mdid_NoteWithDurationExtendedEvent::AdjustQuantizeTimeDelta(Time_TypedLength iDelta)
{
    const bool bFail = iDelta.GetType() != mU.mQuantizeTimeDelta.GetType();
    if (CMN_VERIFY(!bFail))
        mU.mQuantizeTimeDelta += iDelta;
}

Time_TypedLength
Mdid_NoteWithDurationExtendedEvent::GetUntrimmedLeftDelta(const Mdid_TrimmedNotesContext* iContextP) const
{
    return GetUntrimmedDelta(&Mdid_TrimmedNoteExtension::mLeftUntrimmedDelta, iContextP);
}

Time_TypedLength
Mdid_NoteWithDurationExtendedEvent::GetUntrimmedRightDelta(const Mdid_TrimmedNotesContext* iContextP) const
{
    return GetUntrimmedDelta(&Mdid_TrimmedNoteExtension::mRightUntrimmedDelta, iContextP);
}

void Mdid_NoteWithDurationExtendedEvent::SetUntrimmedLeftDelta(std::int64_t iDelta,
                                                               const Mdid_TrimmedNotesContext* iContextP)
{
    SetUntrimmedDelta(&Mdid_TrimmedNoteExtension::mLeftUntrimmedDelta, iDelta, iContextP);
}

void Mdid_NoteWithDurationExtendedEvent::SetUntrimmedRightDelta(std::int64_t iDelta,
                                                                const Mdid_TrimmedNotesContext* iContextP)
{
    SetUntrimmedDelta(&Mdid_TrimmedNoteExtension::mRightUntrimmedDelta, iDelta, iContextP);
}

void Mdid_NoteWithDurationExtendedEvent::ResetUntrimmedDeltas(const Mdid_TrimmedNotesContext* iContextP)
{
    ForgetHead(iContextP);
    ForgetTail(iContextP);
    ClearTrimExtensionIfEmpty();
}

bool Mdid_NoteWithDurationExtendedEvent::MatchesContext(const Mdid_TrimmedNotesContext* iContextP) const
{
    return !HasTrimExtension() || !iContextP || iContextP->MatchesContext(*this);
}

Time_TypedLength Mdid_NoteWithDurationExtendedEvent::GetUntrimmedDelta(UntrimmedDelta iSide,
                                                                       const Mdid_TrimmedNotesContext* iContextP) const
{
    const Mdid_TrimmedNoteExtension* const extensionP = MatchesContext(iContextP) ? GetTrimExtension() : nullptr;
    return Time_TypedLength(extensionP ? extensionP->*iSide : 0, GetOriginalDuration().GetType());
}

void Mdid_NoteWithDurationExtendedEvent::SetUntrimmedDelta(UntrimmedDelta iSide, std::int64_t iDelta,
                                                           const Mdid_TrimmedNotesContext* iContextP)
{
    if (!MatchesContext(iContextP))
        return;
    if (!HasTrimExtension() && iDelta != 0)
    {
        SetTrimExtension({});
        if (iContextP)
            iContextP->AttachContextToNote(*this);
    }
    if (Mdid_TrimmedNoteExtension* const extensionP = GetTrimExtension())
        extensionP->*iSide = iDelta;
    ClearTrimExtensionIfEmpty();
}

bool Mdid_NoteWithDurationExtendedEvent::NoteCompare(const Mdid_NoteWithDurationExtendedEvent& iA,
                                                     const Mdid_NoteWithDurationExtendedEvent& iB)
{
    if (iA.GetTime() != iB.GetTime())
        return iA.GetTime() < iB.GetTime();
    if (iA.GetEvent().GetType() != iB.GetEvent().GetType())
        return iA.GetEvent().GetType() < iB.GetEvent().GetType();
    if (!AreEventsEqual(iA.GetEvent(), iB.GetEvent()))
        return iA.GetEvent() < iB.GetEvent();
    if (iA.GetPerNoteControllers() != iB.GetPerNoteControllers())
        return std::less<>()(iA.GetPerNoteControllers(), iB.GetPerNoteControllers());
    return iA.IsMuted() < iB.IsMuted();
}

bool Mdid_NoteWithDurationExtendedEvent::EquivalentNoteOnCompare(const Mdid_NoteWithDurationExtendedEvent& iA,
                                                                 const Mdid_NoteWithDurationExtendedEvent& iB)
{
    return iA.GetTime() == iB.GetTime() && iA.GetNote().IsSameNoteOn(iB.GetNote());
}

bool Mdid_NoteWithDurationExtendedEvent::operator==(const Mdid_NoteWithDurationExtendedEvent& iOther) const
{
    return GetTime() == iOther.GetTime() && AreEventsEqual(GetEvent(), iOther.GetEvent()) &&
           GetPerNoteControllers() == iOther.GetPerNoteControllers() && IsMuted() == iOther.IsMuted();
}
