#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdi_Parse.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdie_TrackState.h"

#include <boost/container/static_vector.hpp>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace
{

constexpr std::size_t kCapacity = Mdie_TrackState::kMaxSorted;

// The first notes of a state by channel, then pitch, then the order of their release. Copies, so that the receiver of
// what comes of them may change the state.
class SortedNotes
{
public:
    static constexpr int kBeyondTheLast = 0x10000;

    explicit SortedNotes(const Mdie_NoteInProgress* iHeadP) : mRestP(iHeadP)
    {
        for (; mRestP != nullptr && mNotes.size() < kCapacity; mRestP = mRestP->GetNext())
        {
            mKeys.push_back(MakeKey(*mRestP, static_cast<std::uint32_t>(mNotes.size())));
            mNotes.push_back(*mRestP);
        }
        std::ranges::sort(mKeys);
    }

    // Those that did not fit, as in their state.
    const Mdie_NoteInProgress* GetRest() const { return mRestP; }

    bool HasMore() const { return mCursor < mKeys.size(); }

    // Of the next note: a number that grows with channel and pitch.
    int PeekSound() const { return HasMore() ? static_cast<int>(mKeys[mCursor] >> 16) : kBeyondTheLast; }
    const Mdie_NoteInProgress& TakeNext() { return mNotes[mKeys[mCursor++] & 0xFFFF]; }

private:
    // Inverting the sign bit lets signed bytes compare as parts of one unsigned number. The index keeps equal sounds in
    // order: std::stable_sort would take memory.
    static std::uint32_t MakeKey(const Mdie_NoteInProgress& iNote, std::uint32_t iIndex)
    {
        const auto biased = [](signed char byte) { return static_cast<std::uint32_t>(byte + 128); };
        return biased(iNote.mChannel) << 24 | biased(iNote.mPitch) << 16 | iIndex;
    }

    boost::container::static_vector<Mdie_NoteInProgress, kCapacity> mNotes;
    boost::container::static_vector<std::uint32_t, kCapacity> mKeys;
    std::size_t mCursor = 0;
    const Mdie_NoteInProgress* mRestP;
};

class Transition
{
public:
    Transition(Mdie_EventReceiver& ioOutput, Mdie_TrackState::ETransitionMode iMode, Time_Typed iTime)
        : mOutput(ioOutput),
          mMode(iMode),
          mTime(iTime)
    {
    }

    void SendNoteOff(const Mdie_NoteInProgress& iNote)
    {
        mOutput.ReceiveEvent(Mdid_NoteOffEvent(iNote.mChannel, iNote.mPitch, iNote.mOffVelocity));
    }

    void SendNoteOn(const Mdie_NoteInProgress& iNote)
    {
        mOutput.ReceiveEvent(Mdid_NoteOnEvent(iNote.mChannel, iNote.mPitch, iNote.mVelocity));
    }

    void Start(const Mdie_NoteInProgress& iNote)
    {
        if (mMode == Mdie_TrackState::kPlainMIDI)
            SendNoteOn(iNote);
        else if (mMode == Mdie_TrackState::kTimedEvents && iNote.mReleaseTime > mTime)
            SendTimed<Mdid_NoteWithDurationEvent>(iNote);
    }

    void Continue(const Mdie_NoteInProgress& iOldNote, const Mdie_NoteInProgress& iNewNote)
    {
        if (mMode != Mdie_TrackState::kTimedEvents)
            return;
        SendTimed<Mdid_ClearNoteInProgressEvent>(iOldNote);
        SendTimed<Mdid_AddNoteInProgressEvent>(iNewNote, iNewNote.mPerNoteControllersP);
    }

private:
    // iMore: what else the event's constructor takes.
    template <class Event, class... More>
    void SendTimed(const Mdie_NoteInProgress& iNote, More... iMore)
    {
        mOutput.ReceiveEvent(Event(iNote.mChannel, iNote.mPitch, iNote.mReleaseTime - mTime, iNote.mVelocity,
                                   iNote.mOffVelocity, iMore...));
    }

    Mdie_EventReceiver& mOutput;
    Mdie_TrackState::ETransitionMode mMode;
    Time_Typed mTime;
};

} // namespace

void Mdie_TrackState::ComputeNoteTransitions(const Mdie_TrackState* iNewStateP, Mdie_EventReceiver* iOutputP,
                                             ETransitionMode iMode, Time_Typed iTime) const
{
    if (!CMN_VERIFY(iOutputP) || !CMN_VERIFY(iNewStateP))
        return;

    Transition transition(*iOutputP, iMode, iTime);
    SortedNotes oldNotes(mHeadP);
    SortedNotes newNotes(iNewStateP->mHeadP);
    for (const Mdie_NoteInProgress* noteP = oldNotes.GetRest(); noteP != nullptr;)
        transition.SendNoteOff(*std::exchange(noteP, noteP->GetNext()));
    for (const Mdie_NoteInProgress* noteP = newNotes.GetRest(); noteP != nullptr; noteP = noteP->GetNext())
        transition.SendNoteOn(*noteP);

    while (oldNotes.HasMore() || newNotes.HasMore())
    {
        const int oldSound = oldNotes.PeekSound();
        const int newSound = newNotes.PeekSound();
        if (oldSound < newSound)
            transition.SendNoteOff(oldNotes.TakeNext());
        else if (newSound < oldSound)
            transition.Start(newNotes.TakeNext());
        else
        {
            const Mdie_NoteInProgress& oldNote = oldNotes.TakeNext();
            transition.Continue(oldNote, newNotes.TakeNext());
        }
    }
}
