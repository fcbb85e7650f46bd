#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdid_Event.h"

#include <string>

class Mdie_TimedEvent;

// The range of a lane's values, both ends included.
struct Mdie_SubStream_ValueRange
{
    int mMinimum = 0;
    int mMaximum = 0;

    bool operator==(const Mdie_SubStream_ValueRange&) const = default;
};

// What a kind of continuous data means: one shared instance for each kind. Any thread; nothing here takes memory.
// The operations of the null kind are not meant to be called: each is reported and gives a neutral value.
class MDID_EXPORT Mdie_SubStreamDataType
{
public:
    // The numbers are saved in files.
    enum ENumber : signed char
    {
        kNull = 0,
        kPitchBend = 1,
        kController = 2,
        kProgram = 3,
        kMonoPressure = 4,
        kPolyPressure = 5
    };

    virtual ~Mdie_SubStreamDataType();

    // The lane's number among all lanes of a channel, 0 to Mdie_SubStream::GetNumIndices() - 1.
    virtual int GetIndex(int iSubType) const = 0;

    // An event that sets the lane to a value.
    virtual Mdid_Event MakeEvent(signed char iChannel, int iSubType, int iValue) const = 0;
    virtual Mdie_SubStream_ValueRange GetValueRange() const = 0;

    // iEvent: one of this kind.
    virtual int GetValueFromEvent(const Mdid_Event& iEvent) const = 0;
    virtual int GetDataType() const = 0;
    virtual bool IsValidSubType(int iSubType) const = 0;

    // iNumber: 0 to 5; null for anything else.
    static const Mdie_SubStreamDataType* GetInstance(int iNumber);

protected:
    Mdie_SubStreamDataType() = default;
    Mdie_SubStreamDataType(const Mdie_SubStreamDataType&) = default;
    Mdie_SubStreamDataType& operator=(const Mdie_SubStreamDataType&) = default;
};

// The key of one lane of continuous data: which kind of data, which controller or pitch, and whether it is an ordinary
// lane or belongs to one note. A plain value of 24 bytes, copied freely on any thread.
class MDID_EXPORT Mdie_SubStream
{
public:
    // The numbers are saved in files.
    enum EStreamType : unsigned char
    {
        kOrdinary = 0,
        kGroupHead = 1,    // only in streams: the first lane of a group
        kPerChannel = 2,   // a lane of one channel among many: compared by channel
        kOfNote = 3,       // a per-note lane in its note's own list: the note says the rest
        kPerNote = 4,      // a per-note lane among others: channel, pitch, velocity and time name its note
        kPerNotePitch = 5, // one told from others by its pitch
    };

    // Null kind, subtype 0, ordinary, channel 0, pitch and velocity -1, time zero. The others start from this.
    Mdie_SubStream();
    // iSubType: a controller or a pitch; 0 whatever it is for the kinds of one lane a channel.
    explicit Mdie_SubStream(const Mdie_SubStreamDataType& iDataType, int iSubType = 0);

    // The lane that a channel event belongs to, on its channel. An event of another kind, and a controller outside of
    // 1 to 119, gives the null kind; such a controller keeps its channel and subtype.
    Mdie_SubStream(const Mdid_Event& iEvent, EStreamType iStreamType);

    // Pitch bend, controller (iSubType: 1 to 119, otherwise null) or mono pressure, on channel 0.
    // Kept: any other type, program and poly pressure included, gives the null kind as an ordinary lane.
    Mdie_SubStream(EStreamType iStreamType, Mdid_Event::Type iType, signed char iSubType);

    // The per-note lane of iNote that iEvent belongs to.
    Mdie_SubStream(const Mdid_Event& iEvent, const Mdie_TimedEvent& iNote);

    // iController: 1 to 119, iPitch: 0 to 127; others make a key that names no lane.
    static Mdie_SubStream Controller(int iController);
    static Mdie_SubStream PitchBend();
    static Mdie_SubStream Program();
    static Mdie_SubStream MonoPressure();
    static Mdie_SubStream PolyPressure(int iPitch);

    // Lanes of one channel are numbered: 0 pitch bend, 1 to 119 controllers, 120 mono pressure, 121 program, 122 to
    // 249 poly pressure by pitch.
    static constexpr int GetNumIndices() { return 250; }

    const Mdie_SubStreamDataType& GetDataType() const { return *mDataTypeP; }
    int GetSubType() const { return mSubType; } // controller number or poly pressure pitch, otherwise 0
    EStreamType GetStreamType() const { return mStreamType; }
    void SetStreamType(EStreamType iStreamType) { mStreamType = iStreamType; }
    signed char GetChannel() const { return mChannel; }
    void SetChannel(signed char iChannel) { mChannel = iChannel; }
    signed char GetPitch() const { return mPitch; }       // of the note of a per-note lane, otherwise -1
    signed char GetVelocity() const { return mVelocity; } // its on velocity, otherwise -1
    Time_TypedLength GetTime() const { return mTime; }    // its start, otherwise zero

    int GetDataTypeIndex() const { return mDataTypeP->GetIndex(mSubType); }

    // What tells lanes of one index apart in playback: the channel for stream types 2 and 4, the pitch for 5, else 0.
    int GetNoteIndex() const;

    bool IsNull() const;

    // Whether a list can hold a lane of this key: neither null nor of a subtype that its kind does not have, such as
    // controller 0 or 120.
    bool IsLane() const { return !IsNull() && mDataTypeP->IsValidSubType(mSubType); }
    bool IsPerNote() const { return mStreamType == kPerNote || mStreamType == kPerNotePitch; }

    Mdie_SubStream_ValueRange GetValueRange() const { return mDataTypeP->GetValueRange(); }
    int GetValueFromEvent(const Mdid_Event& iEvent) const { return mDataTypeP->GetValueFromEvent(iEvent); }
    Mdid_Event MakeEvent(int iValue) const { return MakeEvent(iValue, mChannel); }
    Mdid_Event MakeEvent(int iValue, signed char iChannel) const;

    // The type tag of the lane's events, kNullEvent for the null kind, and for controllers the controller number.
    // oSubType is written for controllers only.
    void GetInfo(Mdid_Event::Type& oEventType, int& oSubType) const;

    // Makes this a per-note lane (stream type 4) of a note.
    void LinkToNote(const Mdie_TimedEvent& iNote);

    // The note that a per-note lane names, with off velocity 64 and a duration of one unit: for finding the real one.
    void MakeNoteEvent(Mdie_TimedEvent& oNote) const;

    // Not the opposite of each other: == answers whether two keys may not share a list, < where a key stands in one.
    // Ordinary lanes and lanes of a note: equal when their indices are. Per channel: when the channels are too.
    // Kept: types 1, 4 and 5 are equal when index, channel and time are and the pitches are *different*, so that a key
    // of these types is not equal to itself. < orders pitches as usual. It is a strict weak order within one stream
    // type, and for lists of the types 0 and 3, 0 and 4, 1 and 4, 1 and 5, 4 and 5 together; for no other mixture.
    MDID_EXPORT friend bool operator==(const Mdie_SubStream& iA, const Mdie_SubStream& iB);
    MDID_EXPORT friend bool operator<(const Mdie_SubStream& iA, const Mdie_SubStream& iB);

    // Throws Sys_StreamException, or std::runtime_error with message 202 for an unknown kind of data or of time, 201
    // for a subtype that the kind does not have; the object is partly read then, but of the kind that it was. Fields
    // that an older writer, or one without "AllowMPE", left out keep what they were, but the stream type becomes 0. The
    // option takes no part.
    void StreamIn(Sys_TypedInStream& ioStream);
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // One line to the trace.
    void Dump() const;

    // "data type 2 subtype 7 stream type 0 channel 0 pitch -1 velocity -1 time 0"
    std::string Describe() const;

    // Nothing at all tells the two apart.
    bool IsIdenticalTo(const Mdie_SubStream& iOther) const;

private:
    friend class Mdid_ContinuousDataStream;

    // The head of a group of controller lanes is no controller of its own: it is written with subtype 0.
    void StreamIn(Sys_TypedInStream& ioStream, bool iGroupHeadAllowed);
    Mdie_SubStream AsGroupHead() const; // stream type 1, subtype 0

    const Mdie_SubStreamDataType* mDataTypeP; // never null
    int mSubType = 0;
    EStreamType mStreamType = kOrdinary;
    signed char mChannel = 0;
    signed char mPitch = -1;
    signed char mVelocity = -1;
    Time_TypedLength mTime;
};
