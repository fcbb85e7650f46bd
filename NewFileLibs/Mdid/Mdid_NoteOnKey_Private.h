#pragma once

#include "Mdid/Mdid_ExtendedEvent.h"
#include "Mdid/Mdid_PerNoteControllerList.h"

#include <array>
#include <tuple>

// What saved lanes know of the note that they belong to.
struct Mdid_NoteOnKey
{
    Time_Typed mTime;
    Time_EType mKind;
    std::array<signed char, 4> mEvent; // type, channel, pitch and on velocity

    explicit Mdid_NoteOnKey(const Mdie_TimedEvent& iNoteOn) : mTime(iNoteOn.GetTime()), mKind(mTime.GetType())
    {
        const auto& note = iNoteOn.GetEvent().As<Mdid_NoteWithDurationBase>();
        mEvent = {note.GetType(), note.GetChannel(), note.GetPitch(), note.GetVelocity()};
    }

    // Of the note as it comes back from a stream: pitch-to-MIDI notes as notes, without channel on the first.
    static Mdid_NoteOnKey AsReadBack(const Mdie_TimedEvent& iNoteOn)
    {
        Mdid_NoteOnKey key(iNoteOn);
        key.mEvent[0] = Mdid_Event::kNoteWithDuration;
        key.mEvent[1] = ChannelReadBack(key.mEvent[1]);
        return key;
    }

    static signed char ChannelReadBack(signed char iChannel)
    {
        return iChannel == Mdid_Event::kNoChannel ? static_cast<signed char>(0) : iChannel;
    }

    bool IsOf(const Mdie_TimedEvent& iNote) const { return mEvent == Mdid_NoteOnKey(iNote).mEvent; }

    friend bool operator<(const Mdid_NoteOnKey& iA, const Mdid_NoteOnKey& iB)
    {
        if (iA.mTime != iB.mTime)
            return iA.mTime < iB.mTime;
        return std::tie(iA.mKind, iA.mEvent) < std::tie(iB.mKind, iB.mEvent);
    }
};

inline bool Mdid_HasLane(const Mdid_ExtendedEvent& iNote, const Mdie_SubStream& iKey)
{
    if (!iNote.HasPerNoteControllers())
        return false;
    const Mdid_PerNoteDataStreamList& lanes = *iNote.GetPerNoteControllers();
    const auto found = lanes.FindStream(iKey);
    return found != lanes.end() && found->GetSubStream() == iKey;
}
