#include "Mdid/Mdie_TrackState.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_ChaseSpec.h"
#include "Mdid/Mdie_TimedEvent.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <utility>

namespace
{

class NoteOffMatcher final : public Mdie_TrackState_Matcher
{
public:
    explicit NoteOffMatcher(const Mdid_NoteOffEvent& iEvent) : mChannel(iEvent.GetChannel()), mPitch(iEvent.GetPitch())
    {
    }

    bool Matches(const Mdie_NoteInProgress& iNote) const override
    {
        return iNote.mChannel == mChannel && iNote.mPitch == mPitch;
    }

private:
    signed char mChannel;
    signed char mPitch;
};

class ClearNoteInProgressMatcher final : public Mdie_TrackState_Matcher
{
public:
    // Between kinds of time the sum of time and duration is rounded; the difference of release and time is what a
    // transition makes the duration of.
    ClearNoteInProgressMatcher(const Mdie_TimedEvent& iEvent, bool iByDifference)
        : mEvent(iEvent),
          mByDifference(iByDifference)
    {
    }

    bool Matches(const Mdie_NoteInProgress& iNote) const override
    {
        const auto& event = mEvent.GetEvent().As<Mdid_NoteWithDurationBase>();
        return iNote.mChannel == event.GetChannel() && iNote.mPitch == event.GetPitch() &&
               iNote.mVelocity == event.GetVelocity() && iNote.mOffVelocity == event.GetOffVelocity() &&
               EndsAt(iNote.mReleaseTime, event.GetDuration());
    }

private:
    bool EndsAt(Time_Typed iReleaseTime, Time_TypedLength iDuration) const
    {
        return mByDifference ? iReleaseTime - mEvent.GetTime() == iDuration
                             : iReleaseTime == mEvent.GetTime() + iDuration;
    }

    Mdie_TimedEvent mEvent;
    bool mByDifference;
};

// Traces "Mdie_TrackState <address> <feed> <what> <pitch>".
void TraceReceived(const Mdie_TrackState* iStateP, const char* iFeedAndWhat, int iPitch) noexcept
{
    PSUTIL_TRACE(kTraceDiagnostics, "Mdie_TrackState %p %s %d", static_cast<const void*>(iStateP), iFeedAndWhat,
                 iPitch);
}

} // namespace

Mdie_TrackState_Matcher::~Mdie_TrackState_Matcher() = default;

Mdie_TrackState::NoteInProgressFilter::~NoteInProgressFilter() = default;

Mdie_TrackState::Mdie_TrackState(const Mdie_TrackState& iOther) noexcept
{
    *this = iOther;
}

// Own notes are written over rather than given back first, so that a pool without a free block is no obstacle.
Mdie_TrackState& Mdie_TrackState::operator=(const Mdie_TrackState& iOther) noexcept
{
    if (this == &iOther)
        return *this;
    Mdie_NoteInProgress** linkPP = &mHeadP;
    for (const Mdie_NoteInProgress* sourceP = iOther.mHeadP; sourceP != nullptr; sourceP = sourceP->mNextP)
    {
        if (*linkPP == nullptr)
            *linkPP = Mdie_NoteInProgress::Alloc();
        if (*linkPP == nullptr)
            return *this;
        **linkPP = *sourceP;
        linkPP = &(*linkPP)->mNextP;
    }
    while (*linkPP != nullptr)
        FreeAt(*linkPP);
    return *this;
}

Mdie_TrackState::~Mdie_TrackState()
{
    Clear();
}

void Mdie_TrackState::ReceiveEvent(const Mdid_Event& iEvent) noexcept
{
    switch (iEvent.GetType())
    {
    case Mdid_Event::kNoteOn:
    {
        const auto& noteOn = iEvent.As<Mdid_NoteOnEvent>();
        constexpr Time_TypedLength kOneSample(1, Time_EType::kSample);
        constexpr signed char kOffVelocity = 64;
        TraceReceived(this, "ReceiveEvent note on", noteOn.GetPitch());
        return AddNoteInProgress(Time_Typed(),
                                 Mdid_NoteWithDurationEvent(noteOn.GetChannel(), noteOn.GetPitch(), kOneSample,
                                                            noteOn.GetVelocity(), kOffVelocity),
                                 nullptr);
    }
    case Mdid_Event::kNoteOff:
    {
        const auto& noteOff = iEvent.As<Mdid_NoteOffEvent>();
        TraceReceived(this, "ReceiveEvent note off", noteOff.GetPitch());
        return RemoveMatchingNoteInProgress(NoteOffMatcher(noteOff));
    }
    default:
        return;
    }
}

void Mdie_TrackState::ReceiveEvent(const Mdie_TimedEvent& iEvent,
                                   const Mdid_PerNoteControllerList* iPerNoteControllersP) noexcept
{
    switch (iEvent.GetEvent().GetType())
    {
    case Mdid_Event::kNoteOff:
    {
        const auto& noteOff = iEvent.GetEvent().As<Mdid_NoteOffEvent>();
        TraceReceived(this, "ReceiveTimedEvent note off", noteOff.GetPitch());
        return RemoveMatchingNoteInProgress(NoteOffMatcher(noteOff));
    }
    case Mdid_Event::kNoteWithDuration:
    {
        const auto& note = iEvent.GetEvent().As<Mdid_NoteWithDurationBase>();
        TraceReceived(this, "ReceiveTimedEvent note on", note.GetPitch());
        return AddNoteInProgress(iEvent.GetTime(), note, iPerNoteControllersP);
    }
    case Mdid_Event::kClearNoteInProgress:
    {
        TraceReceived(this, "ReceiveTimedEvent clear note",
                      iEvent.GetEvent().As<Mdid_NoteWithDurationBase>().GetPitch());
        const ClearNoteInProgressMatcher bySum(iEvent, false), byDifference(iEvent, true);
        return RemoveMatchingNoteInProgress(bySum, &byDifference);
    }
    case Mdid_Event::kAddNoteInProgress:
    {
        const auto& note = iEvent.GetEvent().As<Mdid_NoteWithDurationBase>();
        TraceReceived(this, "ReceiveTimedEvent add note", note.GetPitch());
        return AddNoteInProgress(iEvent.GetTime(), note, nullptr); // Kept: the list is not used.
    }
    default:
        return;
    }
}

void Mdie_TrackState::PopNoteOff() noexcept
{
    if (mHeadP != nullptr)
        FreeAt(mHeadP);
}

void Mdie_TrackState::OffsetTimes(Time_TypedLength iDelta) noexcept
{
    for (Mdie_NoteInProgress* noteP = mHeadP; noteP != nullptr; noteP = noteP->mNextP)
        noteP->mReleaseTime += iDelta;
    RestoreOrder();
}

void Mdie_TrackState::FilterNotesInProgress(const NoteInProgressFilter& iFilter)
{
    const Mdie_NoteInProgress* destTailP = nullptr;
    Mdie_NoteInProgress** linkPP = &mHeadP;
    while (*linkPP != nullptr)
    {
        const Mdie_NoteInProgress* const srcP = *linkPP;
        if (!iFilter.Keep(*srcP))
        {
            FreeAt(*linkPP);
            continue;
        }
        if (destTailP != nullptr)
            CMN_VERIFY(srcP->mReleaseTime >= destTailP->mReleaseTime);
        destTailP = srcP;
        linkPP = &(*linkPP)->mNextP;
    }
}

void Mdie_TrackState::Clear() noexcept
{
    while (mHeadP != nullptr)
        FreeAt(mHeadP);
}

void Mdie_TrackState::ComputeTransitionToNewState(const Mdie_TrackState* iNewStateP, Mdie_EventReceiver* iOutputP,
                                                  const Mdie_ChaseSpec& iSpec, bool iAdopt)
{
    if (iSpec.mEnable == 0)
        return;
    if (iOutputP != nullptr)
        ComputeNoteTransitions(iNewStateP, iOutputP, iSpec.mMode, iSpec.mTime);
    if (iAdopt && iNewStateP != nullptr)
        *this = *iNewStateP;
}

void Mdie_TrackState::AddNoteInProgress(Time_Typed iTime, const Mdid_NoteWithDurationBase& iNote,
                                        const Mdid_PerNoteControllerList* iPerNoteControllersP) noexcept
{
    Mdie_NoteInProgress* const noteP = Mdie_NoteInProgress::Alloc();
    if (noteP == nullptr)
        return; // Kept: without a message.
    noteP->mChannel = iNote.GetChannel();
    noteP->mPitch = iNote.GetPitch();
    noteP->mVelocity = iNote.GetVelocity();
    noteP->mOffVelocity = iNote.GetOffVelocity();
    noteP->mStartTime = iTime;
    noteP->mReleaseTime = iTime + iNote.GetDuration();
    noteP->mPerNoteControllersP = iPerNoteControllersP;

    Mdie_NoteInProgress** linkPP = &mHeadP;
    while (*linkPP != nullptr && (*linkPP)->mReleaseTime < noteP->mReleaseTime)
        linkPP = &(*linkPP)->mNextP;
    noteP->mNextP = std::exchange(*linkPP, noteP);
}

Mdie_NoteInProgress*& Mdie_TrackState::FindLink(const Mdie_TrackState_Matcher& iMatcher) noexcept
{
    Mdie_NoteInProgress** linkPP = &mHeadP;
    while (*linkPP != nullptr && !iMatcher.Matches(**linkPP))
        linkPP = &(*linkPP)->mNextP;
    return *linkPP;
}

void Mdie_TrackState::RemoveMatchingNoteInProgress(const Mdie_TrackState_Matcher& iMatcher,
                                                   const Mdie_TrackState_Matcher* iSecondChoiceP) noexcept
{
    Mdie_NoteInProgress** linkPP = &FindLink(iMatcher);
    if (*linkPP == nullptr && iSecondChoiceP != nullptr)
        linkPP = &FindLink(*iSecondChoiceP);
    const bool isFound = *linkPP != nullptr;
    if (isFound)
        FreeAt(*linkPP);
    PSUTIL_TRACE(kTraceDiagnostics, "Mdie_TrackState %p RemoveMatchingNoteInProgress %s", static_cast<void*>(this),
                 isFound ? "found" : "not found");
}

// Times of different kinds are laid out and rounded each in its own way, so that an offset may let neighbours change
// places. Equal ones stay as they were.
void Mdie_TrackState::RestoreOrder() noexcept
{
    Mdie_NoteInProgress* tailP = mHeadP;
    while (tailP != nullptr && tailP->mNextP != nullptr)
    {
        Mdie_NoteInProgress* const nextP = tailP->mNextP;
        if (nextP->mReleaseTime >= tailP->mReleaseTime) [[likely]]
        {
            tailP = nextP;
            continue;
        }
        tailP->mNextP = nextP->mNextP;
        Mdie_NoteInProgress** linkPP = &mHeadP;
        while (*linkPP != nullptr && (*linkPP)->mReleaseTime <= nextP->mReleaseTime)
            linkPP = &(*linkPP)->mNextP;
        nextP->mNextP = std::exchange(*linkPP, nextP);
    }
}

void Mdie_TrackState::FreeAt(Mdie_NoteInProgress*& ioLinkP) noexcept
{
    Mdie_NoteInProgress* const noteP = ioLinkP;
    ioLinkP = noteP->mNextP;
    noteP->Free();
}
