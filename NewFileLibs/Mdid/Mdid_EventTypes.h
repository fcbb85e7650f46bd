#pragma once

#include "Mdid/Mdid_Event.h"

class Mdid_PerNoteControllerListBase;

// The events other than system-exclusive ones. Channels are 0 to 15; pitches, velocities, controller numbers and
// values 0 to 127. Nothing is checked: what is set is what is stored, in the width of its field.

class MDID_EXPORT Mdid_NoteOnEvent : public Mdid_Event
{
public:
    Mdid_NoteOnEvent(signed char iChannel, signed char iPitch, signed char iVelocity)
        : Mdid_NoteOnEvent(kNoteOn, iChannel, iPitch, iVelocity)
    {
    }
    Mdid_NoteOnEvent(signed char iChannel, signed char iPitch)
        : Mdid_NoteOnEvent(iChannel, iPitch, GetDefaultVelocity())
    {
    }

    signed char GetPitch() const { return mU.mVoice.mData1; }
    void SetPitch(signed char iPitch) { mU.mVoice.mData1 = iPitch; }
    signed char GetVelocity() const { return mU.mVoice.mData2; }
    void SetVelocity(signed char iVelocity) { mU.mVoice.mData2 = iVelocity; }

    // The velocity of notes that are made without one, for the whole process: 80 until it is set.
    static signed char GetDefaultVelocity();
    static void SetDefaultVelocity(signed char iVelocity);

protected:
    Mdid_NoteOnEvent(Type iType, signed char iChannel, signed char iData1, signed char iData2)
        : Mdid_Event(iType, iChannel)
    {
        mU.mVoice.mData1 = iData1;
        mU.mVoice.mData2 = iData2;
    }
};

class MDID_EXPORT Mdid_NoteOffEvent : public Mdid_NoteOnEvent
{
public:
    Mdid_NoteOffEvent(signed char iChannel, signed char iPitch, signed char iVelocity)
        : Mdid_NoteOnEvent(kNoteOff, iChannel, iPitch, iVelocity)
    {
    }
};

class MDID_EXPORT Mdid_ControllerEvent : public Mdid_Event
{
public:
    Mdid_ControllerEvent(signed char iChannel, signed char iController, signed char iValue)
        : Mdid_Event(kController, iChannel)
    {
        mU.mVoice.mData1 = iController;
        mU.mVoice.mData2 = iValue;
    }

    signed char GetController() const { return mU.mVoice.mData1; }
    void SetController(signed char iController) { mU.mVoice.mData1 = iController; }
    signed char GetValue() const { return mU.mVoice.mData2; }
    void SetValue(signed char iValue) { mU.mVoice.mData2 = iValue; }
};

class MDID_EXPORT Mdid_PolyPressureEvent : public Mdid_Event
{
public:
    Mdid_PolyPressureEvent(signed char iChannel, signed char iPitch, signed char iValue)
        : Mdid_Event(kPolyPressure, iChannel)
    {
        mU.mVoice.mData1 = iPitch;
        mU.mVoice.mData2 = iValue;
    }

    signed char GetPitch() const { return mU.mVoice.mData1; }
    void SetPitch(signed char iPitch) { mU.mVoice.mData1 = iPitch; }
    signed char GetValue() const { return mU.mVoice.mData2; }
    void SetValue(signed char iValue) { mU.mVoice.mData2 = iValue; }
};

class MDID_EXPORT Mdid_MonoPressureEvent : public Mdid_Event
{
public:
    Mdid_MonoPressureEvent(signed char iChannel, signed char iValue) : Mdid_Event(kMonoPressure, iChannel)
    {
        mU.mVoice.mData2 = iValue;
    }

    signed char GetValue() const { return mU.mVoice.mData2; }
    void SetValue(signed char iValue) { mU.mVoice.mData2 = iValue; }
};

class MDID_EXPORT Mdid_PitchBendEvent : public Mdid_Event
{
public:
    // iBend: -8192 to 8191, 0 at the centre.
    Mdid_PitchBendEvent(signed char iChannel, std::int16_t iBend) : Mdid_Event(kPitchBend, iChannel)
    {
        mU.mPitchBend.mBend = iBend;
    }

    std::int16_t GetBendValue() const { return mU.mPitchBend.mBend; }
    void SetBendValue(std::int16_t iBend) { mU.mPitchBend.mBend = iBend; }
};

// A program change with the bank that goes before it. Program, bank MSB and bank LSB are each sent only when enabled;
// in the fields the enabling bits are stored inverted.
class MDID_EXPORT Mdid_ProgramEvent : public Mdid_Event
{
public:
    static constexpr std::uint16_t kBankDisabled = 0xC000;

    // On channel 0, with nothing enabled.
    Mdid_ProgramEvent() : Mdid_ProgramEvent(0, static_cast<signed char>(kProgramDisabled), kBankDisabled) {}

    // iProgram, iBank: the whole fields, enabling bits included.
    Mdid_ProgramEvent(signed char iChannel, signed char iProgram, std::uint16_t iBank) : Mdid_Event(kProgram, iChannel)
    {
        mU.mProgram.mProgram = static_cast<unsigned char>(iProgram);
        mU.mProgram.mBank = iBank;
    }

    int GetProgram() const { return mU.mProgram.mProgram & 0x7F; }

    // Kept: the value is ORed in unmasked, so a negative one disables the program.
    void SetProgram(signed char iProgram)
    {
        mU.mProgram.mProgram = static_cast<unsigned char>((mU.mProgram.mProgram & kProgramDisabled) | iProgram);
    }
    bool IsProgramEnabled() const { return (mU.mProgram.mProgram & kProgramDisabled) == 0; }
    void SetProgramEnable(bool iEnable);

    // Both bank parts as one number of 14 bits.
    int GetBank() const { return mU.mProgram.mBank & 0x3FFF; }

    // Kept: the value is ORed in unmasked.
    void SetBank(std::int16_t iBank)
    {
        mU.mProgram.mBank = static_cast<std::uint16_t>((mU.mProgram.mBank & kBankDisabled) | iBank);
    }

    // The whole word, enabling bits included.
    std::uint16_t GetFullBank() const { return mU.mProgram.mBank; }
    void SetFullBank(std::uint16_t iBank) { mU.mProgram.mBank = iBank; }

    int GetMSBBank() const { return (mU.mProgram.mBank >> 7) & 0x7F; }
    void SetMSBBank(signed char iValue)
    {
        // Shifted as an unsigned number: a negative value sets the enabling bits, as an unmasked one does.
        const unsigned shifted = static_cast<unsigned>(iValue) << 7;
        mU.mProgram.mBank = static_cast<std::uint16_t>((mU.mProgram.mBank & 0xC07Fu) | shifted);
    }
    int GetLSBBank() const { return mU.mProgram.mBank & 0x7F; }

    // Kept: the value is sign-extended, so a negative one sets all bits above it too.
    void SetLSBBank(signed char iValue)
    {
        mU.mProgram.mBank = static_cast<std::uint16_t>((mU.mProgram.mBank & 0xFF80) | iValue);
    }

    bool IsMSBBankEnabled() const { return (mU.mProgram.mBank & kMSBDisabled) == 0; }
    void SetMSBBankEnable(bool iEnable) { SetBankBit(kMSBDisabled, iEnable); }
    bool IsLSBBankEnabled() const { return (mU.mProgram.mBank & kLSBDisabled) == 0; }
    void SetLSBBankEnable(bool iEnable) { SetBankBit(kLSBDisabled, iEnable); }

    // 0xFF in the highest byte, then the enabled bank parts, then the program byte.
    // Kept: of the program the whole byte is taken, with its enabling bit.
    std::uint32_t GetOMSPatchNum() const;

private:
    static constexpr unsigned char kProgramDisabled = 0x80;
    static constexpr std::uint16_t kLSBDisabled = 0x4000;
    static constexpr std::uint16_t kMSBDisabled = 0x8000;

    void SetBankBit(std::uint16_t iDisabledBit, bool iEnable);
};

class MDID_EXPORT Mdid_SongPositionEvent : public Mdid_Event
{
public:
    // iPosition: in MIDI beats (sixteenth notes); its low 16 bits are kept.
    explicit Mdid_SongPositionEvent(int iPosition) : Mdid_Event(kSongPosition, 0)
    {
        mU.mSongPosition.mPosition = static_cast<std::int16_t>(iPosition);
    }

    int GetPosition() const { return mU.mSongPosition.mPosition; }
};

class MDID_EXPORT Mdid_StartEvent : public Mdid_Event
{
public:
    Mdid_StartEvent() : Mdid_Event(kStart, 0) {}
};

class MDID_EXPORT Mdid_ContinueEvent : public Mdid_Event
{
public:
    Mdid_ContinueEvent() : Mdid_Event(kContinue, 0) {}
};

class MDID_EXPORT Mdid_StopEvent : public Mdid_Event
{
public:
    Mdid_StopEvent() : Mdid_Event(kStop, 0) {}
};

class MDID_EXPORT Mdid_TimingClockEvent : public Mdid_Event
{
public:
    Mdid_TimingClockEvent() : Mdid_Event(kTimingClock, 0) {}
};

class MDID_EXPORT Mdid_AllNotesOffEvent : public Mdid_Event
{
public:
    explicit Mdid_AllNotesOffEvent(signed char iChannel) : Mdid_Event(kAllNotesOff, iChannel) {}
};

// One eighth of a MIDI time code: which of its nibbles, and the nibble.
class MDID_EXPORT Mdid_QuarterFrameEvent : public Mdid_Event
{
public:
    enum EQuarterFrameMessage
    {
        kFramesLow = 0,
        kFramesHigh = 1,
        kSecondsLow = 2,
        kSecondsHigh = 3,
        kMinutesLow = 4,
        kMinutesHigh = 5,
        kHoursLow = 6,
        kHoursHighAndRate = 7
    };

    explicit Mdid_QuarterFrameEvent(unsigned char iRawByte) : Mdid_Event(kQuarterFrame, 0)
    {
        mU.mQuarterFrame.mByte = iRawByte;
    }
    Mdid_QuarterFrameEvent(EQuarterFrameMessage iMessage, unsigned char iNibble)
        : Mdid_QuarterFrameEvent(static_cast<unsigned char>((iMessage << 4) | iNibble))
    {
    }

    EQuarterFrameMessage GetQFMessage() const
    {
        return static_cast<EQuarterFrameMessage>((mU.mQuarterFrame.mByte >> 4) & 7);
    }
    unsigned char GetQFNibble() const { return mU.mQuarterFrame.mByte & 0x0F; }
};

// Whatever has a pitch, a duration and two velocities: notes, and the markers of notes in progress.
class MDID_EXPORT Mdid_NoteWithDurationBase : public Mdid_Event
{
public:
    signed char GetPitch() const { return mU.mNote.mPitch; }
    void SetPitch(signed char iPitch) { mU.mNote.mPitch = iPitch; }
    signed char GetVelocity() const { return mU.mNote.mOnVelocity; }
    void SetVelocity(signed char iVelocity) { mU.mNote.mOnVelocity = iVelocity; }
    signed char GetOffVelocity() const { return mU.mNote.mOffVelocity; }
    void SetOffVelocity(signed char iVelocity) { mU.mNote.mOffVelocity = iVelocity; }

    Time_TypedLength GetDuration() const
    {
        return Time_TypedLength(mU.mNote.mDuration, static_cast<Time_EType>(mU.mNote.mDurationType));
    }
    void SetDuration(Time_TypedLength iDuration)
    {
        mU.mNote.mDuration = iDuration.AsInt64();
        mU.mNote.mDurationType = static_cast<signed char>(iDuration.GetType());
    }

    // Channel, pitch and on velocity; nothing else takes part.
    bool IsSameNoteOn(const Mdid_NoteWithDurationBase& iOther) const
    {
        return GetChannel() == iOther.GetChannel() && GetPitch() == iOther.GetPitch() &&
               GetVelocity() == iOther.GetVelocity();
    }

    // An on-velocity of 0 marks a note for deletion.
    void MarkForDeletion() { SetVelocity(0); }

protected:
    Mdid_NoteWithDurationBase(Type iType, signed char iChannel, signed char iPitch, Time_TypedLength iDuration,
                              signed char iVelocity, signed char iOffVelocity)
        : Mdid_Event(iType, iChannel)
    {
        mU.mNote.mPitch = iPitch;
        mU.mNote.mOnVelocity = iVelocity;
        mU.mNote.mOffVelocity = iOffVelocity;
        SetDuration(iDuration);
    }
};

class MDID_EXPORT Mdid_NoteWithDurationEvent : public Mdid_NoteWithDurationBase
{
public:
    Mdid_NoteWithDurationEvent(signed char iChannel, signed char iPitch, Time_TypedLength iDuration,
                               signed char iVelocity, signed char iOffVelocity)
        : Mdid_NoteWithDurationBase(kNoteWithDuration, iChannel, iPitch, iDuration, iVelocity, iOffVelocity)
    {
    }
};

class MDID_EXPORT Mdid_ClearNoteInProgressEvent : public Mdid_NoteWithDurationBase
{
public:
    Mdid_ClearNoteInProgressEvent(signed char iChannel, signed char iPitch, Time_TypedLength iDuration,
                                  signed char iVelocity, signed char iOffVelocity)
        : Mdid_NoteWithDurationBase(kClearNoteInProgress, iChannel, iPitch, iDuration, iVelocity, iOffVelocity)
    {
    }
};

class MDID_EXPORT Mdid_AddNoteInProgressEvent : public Mdid_NoteWithDurationBase
{
public:
    // Kept: the list is accepted and not stored; an event has no room for an owner.
    Mdid_AddNoteInProgressEvent(signed char iChannel, signed char iPitch, Time_TypedLength iDuration,
                                signed char iVelocity, signed char iOffVelocity,
                                const Mdid_PerNoteControllerListBase* /*iPerNoteControllers*/)
        : Mdid_NoteWithDurationBase(kAddNoteInProgress, iChannel, iPitch, iDuration, iVelocity, iOffVelocity)
    {
    }
};

// A note that also knows its pitch between the semitones.
class MDID_EXPORT Mdid_PitchToMIDINoteWithDuration : public Mdid_NoteWithDurationBase
{
public:
    Mdid_PitchToMIDINoteWithDuration(signed char iChannel, signed char iPitch, Time_TypedLength iDuration,
                                     signed char iVelocity, signed char iOffVelocity, float iFractionalPitch)
        : Mdid_NoteWithDurationBase(kPitchToMIDINoteWithDuration, iChannel, iPitch, iDuration, iVelocity, iOffVelocity)
    {
        SetFractionalPitch(iFractionalPitch);
    }

    float GetFractionalPitch() const { return mU.mNote.mFractionalPitch; }
    void SetFractionalPitch(float iPitch) { mU.mNote.mFractionalPitch = iPitch; }
};

// A clip of the host's, passed along with the events. The reference is the host's and is never followed here.
class MDID_EXPORT Mdid_ClipEvent : public Mdid_Event
{
public:
    Mdid_ClipEvent(void* iRegionRefP, std::uint64_t iDuration) : Mdid_Event(kClip, 0)
    {
        mU.mClip.mRegionRefP = iRegionRefP;
        mU.mClip.mDuration = iDuration;
    }

    void* GetRegionRefVoid() const { return mU.mClip.mRegionRefP; }
    std::uint64_t GetDuration() const { return mU.mClip.mDuration; }
};
