#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdid_Export.h"

#include <array>
#include <cstdint>
#include <cstring>

class Mdid_SysexEvent;
class Mdid_SysexPacketEvent;
class Mdie_SysexDataBase;
class Sys_TypedInStream;
class Sys_TypedOutStream;

// One MIDI event, in 24 bytes, for every container of the library: a type tag, a channel, and what the type needs.
//
// The subclasses (Mdid_EventTypes.h, Mdid_SysexEvent.h) add constructors and accessors, never data: an event of any
// type is stored, copied and compared as an Mdid_Event, and seen again through As<Mdid_NoteOnEvent>().
// Only a long system-exclusive event owns anything: a reference to a block that its copies share. Every other copy is
// a copy of 24 bytes. Copies of one event may be used on different threads.
class MDID_EXPORT Mdid_Event
{
public:
    // The numbers are part of saved data and never change.
    enum Type : signed char
    {
        kNullEvent = 0,
        kNoteOn = 1,
        kNoteOff = 2,
        kNoteWithDuration = 3,
        kPitchBend = 4,
        kController = 5,
        kProgram = 6,
        kMonoPressure = 7,
        kPolyPressure = 8,
        kSongPosition = 9,
        kStart = 10,
        kContinue = 11,
        kStop = 12,
        kTimingClock = 13,
        kSysex = 14,       // complete, at most 14 bytes between F0 and F7, held inside the event
        kLongSysex = 15,   // a shared block: a longer complete message, or a fragment of more than 14 bytes
        kSysexPacket = 16, // a fragment of at most 14 bytes as received, held inside the event
        kClearNoteInProgress = 17,
        kAddNoteInProgress = 18,
        kValue32Event = 19, // a plain 32-bit value; makes no MIDI
        kAllNotesOff = 20,
        kQuarterFrame = 21,
        kPitchToMIDINoteWithDuration = 22,
        kClip = 23
    };

    static constexpr signed char kNoChannel = -1;

    // The null event.
    Mdid_Event() noexcept : Mdid_Event(kNullEvent, 0) {}

    Mdid_Event(const Mdid_Event& iOther) noexcept : mU(iOther.mU)
    {
        if (OwnsBlock()) [[unlikely]]
            AddBlockReference();
    }

    // Leaves a null event behind.
    Mdid_Event(Mdid_Event&& ioOther) noexcept : mU(ioOther.mU) { ioOther.mU.mBase.mType = kNullEvent; }

    Mdid_Event& operator=(const Mdid_Event& iOther) noexcept
    {
        if (OwnsBlock() || iOther.OwnsBlock()) [[unlikely]]
            AssignWithBlocks(iOther);
        else
            mU = iOther.mU;
        return *this;
    }

    Mdid_Event& operator=(Mdid_Event&& ioOther) noexcept
    {
        if (this != &ioOther)
        {
            ReleaseBlock();
            mU = ioOther.mU;
            ioOther.mU.mBase.mType = kNullEvent;
        }
        return *this;
    }

    ~Mdid_Event() { ReleaseBlock(); }

    signed char GetType() const { return mU.mBase.mType; }

    // 0 to 15, or kNoChannel.
    signed char GetChannel() const { return mU.mBase.mChannel; }
    void SetChannel(signed char iChannel) { mU.mBase.mChannel = iChannel; }

    // The event seen as its subclass. The caller knows the type.
    template <class T>
    T& As()
    {
        return static_cast<T&>(*this);
    }
    template <class T>
    const T& As() const
    {
        return static_cast<const T&>(*this);
    }
    Mdid_SysexEvent& AsSysex();
    const Mdid_SysexEvent& AsSysex() const;
    Mdid_SysexPacketEvent& AsSysexPacket();
    const Mdid_SysexPacketEvent& AsSysexPacket() const;

    // MIDI bytes. An event makes none, one, or (a program event) up to three messages, numbered from 0.
    // Types without any (16 to 18, 22, 23 where a line below does not name them) are reported as an assertion and
    // yield 0 or nothing.

    // 0 for types 0, 3, 16 and 19, and for a long sysex that is not complete.
    int GetNumMessages() const;

    // Bytes of a message; 0 for types 0, 3 and 19 and past the last message of a program event.
    int GetMessageLength(int iIndex) const;

    // Writes GetMessageLength(iIndex) bytes.
    void GetMessageData(unsigned char* oBytes, int iIndex) const;

    // Writes the bytes iFrom to iTo, both included, of the message to oBytes[0] on; what the message does not have is
    // not written. For sending a long sysex in pieces.
    void GetPartialMessageData(unsigned char* oBytes, int iIndex, int iFrom, int iTo) const;

    // Kept: the index takes no part, and a sysex packet does not count.
    bool IsMessageSysex(int iIndex) const;

    // A long sysex from F0 to F7.
    bool IsCompleteLongSysex() const;

    // Events at one time play in ascending order of this: programs and controllers before notes, note-offs before
    // note-ons, lower channels first.
    int GetPlaybackPriority() const;

    // Equality within a type: the channel of programs and the kind of durations take no part, and a long sysex equals
    // only the copies that share its block. Types 22 and 23 are reported as an assertion and count as equal.
    bool operator==(const Mdid_Event& iOther) const;

    // An order within a type only: events of different types are never less. It is no strict weak ordering for types
    // 0, 6, 10 to 13 and 20 (always less, or incomparable in circles), nor for 22 and 23 (an assertion, and less);
    // sort with Mdie_TimedEvent::PlaybackOrdering instead.
    bool operator<(const Mdid_Event& iOther) const;
    bool operator>=(const Mdid_Event& iOther) const { return !(*this < iOther); }

    // All that is stored is the same, in every bit: stricter than ==, for events of all types.
    bool IsIdenticalTo(const Mdid_Event& iOther) const { return GetWords() == iOther.GetWords(); }

    // Around raw memory images of arrays of events: nothing needs to be done before an image is taken; an event is
    // reset to null before an image is laid over it.
    void PrepareToImageOut() const {}
    void PrepareToImageIn() { *this = Mdid_Event(); }

    // Only system-exclusive events (14, 15) are saved. Any other event is reported as an assertion and leaves a record
    // without a body, which is read back as a null event.
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // Throws Sys_StreamException, or std::bad_alloc for a length that its record does not hold; the event is untouched
    // then.
    void StreamIn(Sys_TypedInStream& ioStream);

protected:
    Mdid_Event(Type iType, signed char iChannel) noexcept
    {
        std::memset(&mU, 0, sizeof mU);
        mU.mBase.mType = iType;
        mU.mBase.mChannel = iChannel;
    }

    // For a constructor that writes the whole value itself.
    enum EUninitialized
    {
        Uninitialized
    };
    explicit Mdid_Event(EUninitialized) noexcept {}

    void WriteWords(std::uint64_t iFirst, std::uint64_t iSecond, std::uint64_t iThird)
    {
        auto* const destP = reinterpret_cast<unsigned char*>(&mU);
        std::memcpy(destP, &iFirst, sizeof iFirst);
        std::memcpy(destP + 8, &iSecond, sizeof iSecond);
        std::memcpy(destP + 16, &iThird, sizeof iThird);
    }

    static constexpr int kMaxInlineSysex = 14;

    // The members of the union share the first two fields.
    struct Base
    {
        signed char mType;
        signed char mChannel;
    };
    struct Voice
    {
        signed char mType;
        signed char mChannel;
        signed char mData1; // pitch or controller number
        signed char mData2; // velocity, value or pressure
    };
    struct PitchBend
    {
        signed char mType;
        signed char mChannel;
        std::int16_t mBend; // -8192 to 8191, 0 is the centre
    };
    struct Program
    {
        signed char mType;
        signed char mChannel;
        unsigned char mProgram; // bit 7: disabled
        std::uint16_t mBank;    // bits 0-6 LSB, 7-13 MSB, bit 14: LSB disabled, bit 15: MSB disabled
    };
    struct SongPosition
    {
        signed char mType;
        signed char mChannel;
        std::int16_t mPosition; // in MIDI beats
    };
    struct Note
    {
        signed char mType;
        signed char mChannel;
        signed char mPitch;
        signed char mOnVelocity;
        signed char mOffVelocity;
        signed char mDurationType;
        std::int64_t mDuration;
        float mFractionalPitch; // type 22 only
    };
    struct InlineSysex
    {
        signed char mType;
        signed char mChannel;
        signed char mLength;
        unsigned char mData[kMaxInlineSysex];
    };
    struct LongSysex
    {
        signed char mType;
        signed char mChannel;
        Mdie_SysexDataBase* mBlockP;
    };
    struct QuarterFrame
    {
        signed char mType;
        signed char mChannel;
        unsigned char mByte;
    };
    struct Clip
    {
        signed char mType;
        signed char mChannel;
        void* mRegionRefP;
        std::uint64_t mDuration;
    };
    struct Value32
    {
        signed char mType;
        signed char mChannel;
        std::int32_t mValue;
    };

    union Payload
    {
        Base mBase;
        Voice mVoice;
        PitchBend mPitchBend;
        Program mProgram;
        SongPosition mSongPosition;
        Note mNote;
        InlineSysex mSysex;
        LongSysex mLongSysex;
        QuarterFrame mQuarterFrame;
        Clip mClip;
        Value32 mValue32;
    } mU;

    bool OwnsBlock() const { return mU.mBase.mType == kLongSysex; }

    void ReleaseBlock()
    {
        if (OwnsBlock()) [[unlikely]]
            DropBlock();
    }

private:
    struct ShortMessage;
    struct Keys;

    static void ReportUnknownType();

    // What no type uses is zero from construction on.
    std::array<std::uint64_t, 3> GetWords() const
    {
        std::array<std::uint64_t, 3> words;
        std::memcpy(words.data(), &mU, sizeof words);
        return words;
    }

    void AddBlockReference() const;
    void DropBlock() const;
    void AssignWithBlocks(const Mdid_Event& iOther);

    ShortMessage GetShortMessage(int iIndex) const;
    ShortMessage GetProgramMessage(int iIndex) const;
};

static_assert(sizeof(Mdid_Event) == 24);
