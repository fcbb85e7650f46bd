#include "Mdid/Mdie_SubStream.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "MFnd/Time_TypedDefs.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_Messages.h"
#include "Mdid/Mdid_Options.h"
#include "Mdid/Mdie_TimedEvent.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <array>
#include <cstdio>
#include <tuple>

namespace
{

constexpr char kTag[] = "Mdss";
constexpr std::int16_t kVersion = 1;

constexpr int kMinController = 1;
constexpr int kMaxController = 119;
constexpr int kMonoPressureIndex = 120;
constexpr int kProgramIndex = 121;
constexpr int kFirstPolyPressureIndex = 122;
constexpr int kMaxPitch = 127;

constexpr Mdie_SubStream_ValueRange kSevenBits{0, 127};

constexpr signed char kNoteOffVelocity = 64;

using ENumber = Mdie_SubStreamDataType::ENumber;

bool IsLaneController(int iController)
{
    return iController >= kMinController && iController <= kMaxController;
}

// Nobody means to call it.
class NullDataType final : public Mdie_SubStreamDataType
{
public:
    int GetIndex(int) const override { return Report(0); }
    Mdid_Event MakeEvent(signed char, int, int) const override { return Report(Mdid_Event()); }
    Mdie_SubStream_ValueRange GetValueRange() const override { return Report(Mdie_SubStream_ValueRange()); }
    int GetValueFromEvent(const Mdid_Event&) const override { return Report(0); }
    int GetDataType() const override { return kNull; }
    bool IsValidSubType(int) const override { return Report(true); }

private:
    template <class T>
    static T Report(T iNeutral)
    {
        CMN_VERIFY(0);
        return iNeutral;
    }
};

class PitchBendDataType final : public Mdie_SubStreamDataType
{
public:
    int GetIndex(int) const override { return 0; }
    Mdid_Event MakeEvent(signed char iChannel, int, int iValue) const override
    {
        return Mdid_PitchBendEvent(iChannel, static_cast<std::int16_t>(iValue));
    }
    Mdie_SubStream_ValueRange GetValueRange() const override { return {-8192, 8191}; }
    int GetValueFromEvent(const Mdid_Event& iEvent) const override
    {
        return iEvent.As<Mdid_PitchBendEvent>().GetBendValue();
    }
    int GetDataType() const override { return kPitchBend; }
    bool IsValidSubType(int) const override { return true; }
};

class ControllerDataType final : public Mdie_SubStreamDataType
{
public:
    int GetIndex(int iSubType) const override { return iSubType; }
    Mdid_Event MakeEvent(signed char iChannel, int iSubType, int iValue) const override
    {
        return Mdid_ControllerEvent(iChannel, static_cast<signed char>(iSubType), static_cast<signed char>(iValue));
    }
    Mdie_SubStream_ValueRange GetValueRange() const override { return kSevenBits; }
    int GetValueFromEvent(const Mdid_Event& iEvent) const override
    {
        return iEvent.As<Mdid_ControllerEvent>().GetValue();
    }
    int GetDataType() const override { return kController; }
    bool IsValidSubType(int iSubType) const override { return IsLaneController(iSubType); }
};

// A value is the whole bank word above the whole program byte, enabling bits included.
class ProgramDataType final : public Mdie_SubStreamDataType
{
public:
    int GetIndex(int) const override { return kProgramIndex; }
    Mdid_Event MakeEvent(signed char iChannel, int, int iValue) const override
    {
        return Mdid_ProgramEvent(iChannel, static_cast<signed char>(iValue), static_cast<std::uint16_t>(iValue >> 8));
    }
    Mdie_SubStream_ValueRange GetValueRange() const override { return {0, 0xFFFFFF}; }
    int GetValueFromEvent(const Mdid_Event& iEvent) const override
    {
        const auto& program = iEvent.As<Mdid_ProgramEvent>();
        const int byte = program.GetProgram() | (program.IsProgramEnabled() ? 0 : 0x80);
        return (program.GetFullBank() * 256 + byte) & 0xFFFFFF;
    }
    int GetDataType() const override { return kProgram; }
    bool IsValidSubType(int) const override { return true; }
};

class MonoPressureDataType final : public Mdie_SubStreamDataType
{
public:
    int GetIndex(int) const override { return kMonoPressureIndex; }
    Mdid_Event MakeEvent(signed char iChannel, int, int iValue) const override
    {
        return Mdid_MonoPressureEvent(iChannel, static_cast<signed char>(iValue));
    }
    Mdie_SubStream_ValueRange GetValueRange() const override { return kSevenBits; }
    int GetValueFromEvent(const Mdid_Event& iEvent) const override
    {
        return iEvent.As<Mdid_MonoPressureEvent>().GetValue();
    }
    int GetDataType() const override { return kMonoPressure; }
    bool IsValidSubType(int) const override { return true; }
};

class PolyPressureDataType final : public Mdie_SubStreamDataType
{
public:
    int GetIndex(int iSubType) const override { return iSubType + kFirstPolyPressureIndex; }
    Mdid_Event MakeEvent(signed char iChannel, int iSubType, int iValue) const override
    {
        return Mdid_PolyPressureEvent(iChannel, static_cast<signed char>(iSubType), static_cast<signed char>(iValue));
    }
    Mdie_SubStream_ValueRange GetValueRange() const override { return kSevenBits; }
    int GetValueFromEvent(const Mdid_Event& iEvent) const override
    {
        return iEvent.As<Mdid_PolyPressureEvent>().GetValue();
    }
    int GetDataType() const override { return kPolyPressure; }
    bool IsValidSubType(int iSubType) const override { return iSubType >= 0 && iSubType <= kMaxPitch; }
};

// Made by the compiler and never destroyed: lanes that are static objects of the host outlive this library's.
union Instances
{
    struct
    {
        NullDataType mNull;
        PitchBendDataType mPitchBend;
        ControllerDataType mController;
        ProgramDataType mProgram;
        MonoPressureDataType mMonoPressure;
        PolyPressureDataType mPolyPressure;
    } mAll;

    constexpr Instances() : mAll() {}
    ~Instances() {} // NOLINT(modernize-use-equals-default): that would destroy them
};

const Mdie_SubStreamDataType& InstanceOf(ENumber iNumber)
{
    return *Mdie_SubStreamDataType::GetInstance(iNumber);
}

// The types of the events stand in the order of the kinds.
constexpr int kTypeMinusKind = int{Mdid_Event::kPitchBend} - ENumber::kPitchBend;
static_assert(int{Mdid_Event::kPolyPressure} - ENumber::kPolyPressure == kTypeMinusKind);

ENumber KindOf(signed char iType)
{
    if (iType < Mdid_Event::kPitchBend || iType > Mdid_Event::kPolyPressure)
        return ENumber::kNull;
    return static_cast<ENumber>(iType - kTypeMinusKind);
}

// Lanes of a list whose lanes have nothing but their index in common.
bool HasNoKeyButIndex(Mdie_SubStream::EStreamType iStreamType)
{
    return iStreamType == Mdie_SubStream::kOrdinary || iStreamType == Mdie_SubStream::kOfNote;
}

// A kind with one lane a channel has subtype 0: lanes with others could not be told apart in a list, but would be in a
// stream.
int MeaningfulSubType(const Mdie_SubStreamDataType& iDataType, int iSubType)
{
    const int kind = iDataType.GetDataType();
    const bool hasOneLane = kind == Mdie_SubStreamDataType::kPitchBend || kind == Mdie_SubStreamDataType::kProgram ||
                            kind == Mdie_SubStreamDataType::kMonoPressure;
    return hasOneLane ? 0 : iSubType;
}

} // namespace

Mdie_SubStreamDataType::~Mdie_SubStreamDataType() = default;

const Mdie_SubStreamDataType* Mdie_SubStreamDataType::GetInstance(int iNumber)
{
    static constinit Instances sInstances;
    static constexpr std::array<const Mdie_SubStreamDataType*, 6> kTable = {
        &sInstances.mAll.mNull,    &sInstances.mAll.mPitchBend,    &sInstances.mAll.mController,
        &sInstances.mAll.mProgram, &sInstances.mAll.mMonoPressure, &sInstances.mAll.mPolyPressure};
    if (iNumber < kNull || iNumber > kPolyPressure)
        return nullptr;
    return kTable[static_cast<std::size_t>(iNumber)];
}

Mdie_SubStream::Mdie_SubStream() : mDataTypeP(&InstanceOf(ENumber::kNull)) {}

Mdie_SubStream::Mdie_SubStream(const Mdie_SubStreamDataType& iDataType, int iSubType)
    : mDataTypeP(&iDataType),
      mSubType(MeaningfulSubType(iDataType, iSubType))
{
}

Mdie_SubStream::Mdie_SubStream(const Mdid_Event& iEvent, EStreamType iStreamType)
    : mDataTypeP(&InstanceOf(KindOf(iEvent.GetType()))),
      mStreamType(iStreamType)
{
    if (IsNull())
        return;
    mChannel = iEvent.GetChannel();
    if (iEvent.GetType() == Mdid_Event::kPolyPressure)
        mSubType = iEvent.As<Mdid_PolyPressureEvent>().GetPitch();
    if (iEvent.GetType() != Mdid_Event::kController)
        return;
    mSubType = iEvent.As<Mdid_ControllerEvent>().GetController();
    if (!IsLaneController(mSubType))
        mDataTypeP = &InstanceOf(ENumber::kNull); // Kept: its channel and subtype stay.
}

Mdie_SubStream::Mdie_SubStream(EStreamType iStreamType, Mdid_Event::Type iType, signed char iSubType) : Mdie_SubStream()
{
    // Kept: program and poly pressure are not among them, and what is not leaves an ordinary lane.
    if (iType != Mdid_Event::kPitchBend && iType != Mdid_Event::kController && iType != Mdid_Event::kMonoPressure)
        return;
    mStreamType = iStreamType;
    const bool isController = iType == Mdid_Event::kController;
    if (isController)
        mSubType = iSubType;
    if (!isController || IsLaneController(iSubType))
        mDataTypeP = &InstanceOf(KindOf(iType));
}

Mdie_SubStream::Mdie_SubStream(const Mdid_Event& iEvent, const Mdie_TimedEvent& iNote)
    : Mdie_SubStream(iEvent, kPerNote)
{
    LinkToNote(iNote);
}

Mdie_SubStream Mdie_SubStream::Controller(int iController)
{
    return Mdie_SubStream(InstanceOf(ENumber::kController), iController);
}

Mdie_SubStream Mdie_SubStream::PitchBend()
{
    return Mdie_SubStream(InstanceOf(ENumber::kPitchBend));
}

Mdie_SubStream Mdie_SubStream::Program()
{
    return Mdie_SubStream(InstanceOf(ENumber::kProgram));
}

Mdie_SubStream Mdie_SubStream::MonoPressure()
{
    return Mdie_SubStream(InstanceOf(ENumber::kMonoPressure));
}

Mdie_SubStream Mdie_SubStream::PolyPressure(int iPitch)
{
    return Mdie_SubStream(InstanceOf(ENumber::kPolyPressure), iPitch);
}

int Mdie_SubStream::GetNoteIndex() const
{
    switch (mStreamType)
    {
    case kPerChannel:
    case kPerNote:
        return mChannel;
    case kPerNotePitch:
        return mPitch;
    default:
        return 0;
    }
}

bool Mdie_SubStream::IsNull() const
{
    return mDataTypeP == &InstanceOf(ENumber::kNull);
}

Mdid_Event Mdie_SubStream::MakeEvent(int iValue, signed char iChannel) const
{
    return mDataTypeP->MakeEvent(iChannel, mSubType, iValue);
}

void Mdie_SubStream::GetInfo(Mdid_Event::Type& oEventType, int& oSubType) const
{
    const int number = mDataTypeP->GetDataType();
    const bool hasEvents = number >= ENumber::kPitchBend && number <= ENumber::kPolyPressure;
    oEventType = hasEvents ? static_cast<Mdid_Event::Type>(number + kTypeMinusKind) : Mdid_Event::kNullEvent;
    if (number == ENumber::kController)
        oSubType = mSubType;
}

void Mdie_SubStream::LinkToNote(const Mdie_TimedEvent& iNote)
{
    const auto& note = iNote.GetEvent().As<Mdid_NoteWithDurationBase>();
    mStreamType = kPerNote;
    mChannel = note.GetChannel();
    mPitch = note.GetPitch();
    mVelocity = note.GetVelocity();
    mTime = Time_TypedLength(iNote.GetTime().GetPacked());
}

void Mdie_SubStream::MakeNoteEvent(Mdie_TimedEvent& oNote) const
{
    const Time_TypedLength oneUnit(1, mTime.GetType());
    oNote = Mdie_TimedEvent(Time_Typed(mTime.GetPacked()),
                            Mdid_NoteWithDurationEvent(mChannel, mPitch, oneUnit, mVelocity, kNoteOffVelocity));
}

bool operator==(const Mdie_SubStream& iA, const Mdie_SubStream& iB)
{
    if (iA.GetDataTypeIndex() != iB.GetDataTypeIndex() || iA.mStreamType != iB.mStreamType)
        return false;
    if (HasNoKeyButIndex(iA.mStreamType))
        return true;
    if (iA.mChannel != iB.mChannel)
        return false;
    if (iA.mStreamType == Mdie_SubStream::kPerChannel)
        return true;
    return iA.mTime == iB.mTime && iA.mPitch != iB.mPitch; // Kept: equal when the pitches differ.
}

bool operator<(const Mdie_SubStream& iA, const Mdie_SubStream& iB)
{
    const int indexA = iA.GetDataTypeIndex();
    const int indexB = iB.GetDataTypeIndex();
    if (indexA != indexB)
        return indexA < indexB;
    if (iA.mStreamType == Mdie_SubStream::kOrdinary && iB.mStreamType == Mdie_SubStream::kPerNote)
        return true;
    if (iA.mStreamType == Mdie_SubStream::kPerNote && iB.mStreamType == Mdie_SubStream::kOrdinary)
        return false;
    if (HasNoKeyButIndex(iA.mStreamType))
        return false;
    if (iA.mChannel != iB.mChannel)
        return iA.mChannel < iB.mChannel;
    if (iA.mStreamType == Mdie_SubStream::kPerChannel)
        return false;
    return std::tie(iA.mTime, iA.mPitch) < std::tie(iB.mTime, iB.mPitch);
}

// "Mdss", version 1:
//   int8   kind of data (Mdie_SubStreamDataType::ENumber)
//   int32  subtype
// and with "AllowMPE":
//   int8   stream type
//   int8   channel
//   int8   pitch
//   int8   velocity
//   int64  time (Time_TypedDefs::GetRawDataForSave)
void Mdie_SubStream::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, kTag, kVersion);
    ioStream.Write(static_cast<signed char>(mDataTypeP->GetDataType()));
    ioStream.Write(static_cast<std::int32_t>(mSubType));
    if (Mdid_AllowMPE())
    {
        ioStream.Write(static_cast<unsigned char>(mStreamType));
        ioStream.Write(mChannel);
        ioStream.Write(mPitch);
        ioStream.Write(mVelocity);
        ioStream.Write(Time_TypedDefs::GetRawDataForSave(mTime));
    }
    header.PatchSize();
}

void Mdie_SubStream::StreamIn(Sys_TypedInStream& ioStream)
{
    StreamIn(ioStream, false);
}

void Mdie_SubStream::StreamIn(Sys_TypedInStream& ioStream, bool iGroupHeadAllowed)
{
    Sys_StdStreamHeaderReader header(ioStream, kTag);
    header.CheckVersion(1, kVersion);
    const Mdie_SubStreamDataType* const dataTypeP = Mdie_SubStreamDataType::GetInstance(ioStream.Read<signed char>());
    const auto subType = ioStream.Read<std::int32_t>();
    if (!dataTypeP)
        Mdid_ThrowMessage(202); // "bad data encountered"
    const bool isValid = dataTypeP->IsValidSubType(subType);
    if (!isValid && !iGroupHeadAllowed)
        Mdid_ThrowMessage(201); // "bad subtype encountered"

    EStreamType streamType = kOrdinary;
    if (header.IsMoreLeft())
    {
        streamType = static_cast<EStreamType>(ioStream.Read<unsigned char>());
        ioStream.Read(mChannel);
        ioStream.Read(mPitch);
        ioStream.Read(mVelocity);
        if (!Time_TypedDefs::SetFromRawSavedData(ioStream.Read<std::int64_t>(), mTime))
            Mdid_ThrowMessage(202); // "bad data encountered"
    }
    if (!isValid && (streamType != kGroupHead || subType != 0))
        Mdid_ThrowMessage(201); // "bad subtype encountered"
    mDataTypeP = dataTypeP;
    mSubType = MeaningfulSubType(*dataTypeP, subType);
    mStreamType = streamType;
    header.SkipTheRest();
}

void Mdie_SubStream::Dump() const
{
    PSUTIL_TRACE(kTraceDiagnostics, "%s", Describe().c_str());
}

std::string Mdie_SubStream::Describe() const
{
    char text[160]; // more than the longest numbers need
    std::snprintf(text, sizeof text, "data type %d subtype %d stream type %d channel %d pitch %d velocity %d time %lld",
                  mDataTypeP->GetDataType(), mSubType, mStreamType, mChannel, mPitch, mVelocity,
                  static_cast<long long>(mTime.AsInt64()));
    return text;
}

bool Mdie_SubStream::IsIdenticalTo(const Mdie_SubStream& iOther) const
{
    return mDataTypeP == iOther.mDataTypeP && mSubType == iOther.mSubType && mStreamType == iOther.mStreamType &&
           mChannel == iOther.mChannel && mPitch == iOther.mPitch && mVelocity == iOther.mVelocity &&
           mTime.GetPacked().GetRaw() == iOther.mTime.GetPacked().GetRaw();
}

Mdie_SubStream Mdie_SubStream::AsGroupHead() const
{
    Mdie_SubStream head = *this;
    head.mStreamType = kGroupHead;
    head.mSubType = 0;
    // By its pitch the head of a per-note lane is known.
    if (!IsPerNote())
        head.mPitch = -1;
    return head;
}
