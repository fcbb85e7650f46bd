// How events of one type compare.

#include "Mdid/Mdid_Event.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_SysexEvent.h"

#include <algorithm>
#include <tuple>

namespace
{

struct ProgramPart
{
    bool mEnabled;
    int mValue;

    // What a disabled part holds does not matter.
    bool operator==(const ProgramPart& iOther) const
    {
        return mEnabled == iOther.mEnabled && (!mEnabled || mValue == iOther.mValue);
    }
};

ProgramPart MSBOf(const Mdid_ProgramEvent& iEvent)
{
    return {iEvent.IsMSBBankEnabled(), iEvent.GetMSBBank()};
}
ProgramPart LSBOf(const Mdid_ProgramEvent& iEvent)
{
    return {iEvent.IsLSBBankEnabled(), iEvent.GetLSBBank()};
}
ProgramPart ProgramOf(const Mdid_ProgramEvent& iEvent)
{
    return {iEvent.IsProgramEnabled(), iEvent.GetProgram()};
}

// The channel takes no part: programs are equal when they select the same sound.
bool SameSound(const Mdid_ProgramEvent& iA, const Mdid_ProgramEvent& iB)
{
    return MSBOf(iA) == MSBOf(iB) && LSBOf(iA) == LSBOf(iB) && ProgramOf(iA) == ProgramOf(iB);
}

// Kept: the first enabled part decides, and two events with nothing enabled are less than each other.
bool ProgramLess(const Mdid_ProgramEvent& iA, const Mdid_ProgramEvent& iB)
{
    if (iA.IsMSBBankEnabled() != iB.IsMSBBankEnabled())
        return false;
    if (iA.IsMSBBankEnabled())
        return iA.GetMSBBank() < iB.GetMSBBank();
    if (iA.IsLSBBankEnabled() != iB.IsLSBBankEnabled())
        return false;
    if (iA.IsLSBBankEnabled())
        return iA.GetLSBBank() < iB.GetLSBBank();
    if (iA.IsProgramEnabled() != iB.IsProgramEnabled())
        return iA.IsProgramEnabled();
    return !iA.IsProgramEnabled() || iA.GetProgram() < iB.GetProgram();
}

} // namespace

// What the members of a payload compare by, in order.
struct Mdid_Event::Keys
{
    static auto OfVoice(const Mdid_Event& iEvent)
    {
        const Voice& voice = iEvent.mU.mVoice;
        return std::tuple(voice.mChannel, voice.mData1, voice.mData2);
    }

    // The kind of the duration takes no part.
    static auto OfNote(const Mdid_Event& iEvent)
    {
        const Note& note = iEvent.mU.mNote;
        return std::tuple(note.mChannel, note.mPitch, note.mOnVelocity, note.mOffVelocity, note.mDuration);
    }

    static auto OfPitchBend(const Mdid_Event& iEvent)
    {
        return std::tuple(iEvent.mU.mPitchBend.mChannel, iEvent.mU.mPitchBend.mBend);
    }
};

bool Mdid_Event::operator==(const Mdid_Event& iOther) const
{
    if (GetType() != iOther.GetType())
        return false;
    switch (GetType())
    {
    case kNullEvent:
    case kStart:
    case kContinue:
    case kStop:
    case kTimingClock:
    case kAllNotesOff:
        return true;
    case kNoteOn:
    case kNoteOff:
    case kController:
    case kMonoPressure:
    case kPolyPressure:
        return Keys::OfVoice(*this) == Keys::OfVoice(iOther);
    case kNoteWithDuration:
    case kClearNoteInProgress:
    case kAddNoteInProgress:
        return Keys::OfNote(*this) == Keys::OfNote(iOther);
    case kPitchBend:
        return Keys::OfPitchBend(*this) == Keys::OfPitchBend(iOther);
    case kProgram:
        return SameSound(As<Mdid_ProgramEvent>(), iOther.As<Mdid_ProgramEvent>());
    case kSongPosition:
        return mU.mSongPosition.mPosition == iOther.mU.mSongPosition.mPosition;
    case kSysex:
    case kSysexPacket:
        return std::ranges::equal(AsSysex().GetStoredBytes(), iOther.AsSysex().GetStoredBytes());
    case kLongSysex:
        return mU.mLongSysex.mBlockP == iOther.mU.mLongSysex.mBlockP;
    case kValue32Event:
        return mU.mValue32.mValue == iOther.mU.mValue32.mValue;
    case kQuarterFrame:
        return mU.mQuarterFrame.mByte == iOther.mU.mQuarterFrame.mByte;
    default:
        ReportUnknownType();
        return true;
    }
}

bool Mdid_Event::operator<(const Mdid_Event& iOther) const
{
    if (GetType() != iOther.GetType())
        return false;
    switch (GetType())
    {
    case kNullEvent:
    case kStart:
    case kContinue:
    case kStop:
    case kTimingClock:
    case kAllNotesOff:
        // Kept, although no event should be less than itself.
        return true;
    case kNoteOn:
    case kNoteOff:
    case kController:
    case kMonoPressure:
    case kPolyPressure:
        return Keys::OfVoice(*this) < Keys::OfVoice(iOther);
    case kNoteWithDuration:
    case kClearNoteInProgress:
    case kAddNoteInProgress:
        return Keys::OfNote(*this) < Keys::OfNote(iOther);
    case kPitchBend:
        return Keys::OfPitchBend(*this) < Keys::OfPitchBend(iOther);
    case kProgram:
        return ProgramLess(As<Mdid_ProgramEvent>(), iOther.As<Mdid_ProgramEvent>());
    case kSongPosition:
        return mU.mSongPosition.mPosition < iOther.mU.mSongPosition.mPosition;
    case kSysex:
    case kLongSysex:
    case kSysexPacket:
        return AsSysex().IsShorterOrLess(iOther.AsSysex());
    case kValue32Event:
        return mU.mValue32.mValue < iOther.mU.mValue32.mValue;
    case kQuarterFrame:
        return mU.mQuarterFrame.mByte < iOther.mU.mQuarterFrame.mByte;
    default:
        ReportUnknownType();
        return true;
    }
}
