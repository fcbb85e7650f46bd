#include "Mdid/Mdie_TimedEvent.h"

#include "CFnd/Sys_StdStreamHeader.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_TypedDefs.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_Messages.h"

#include <algorithm>
#include <stdexcept>

namespace
{

constexpr char kTag[] = "MdTEL";
constexpr std::int16_t kVersion = 1;

// A time and the header of an empty event record.
constexpr std::int64_t kMinEntrySize = 8 + 1 + 2 + 8;

constexpr std::int64_t kChordWindowInTicks = 480000;

// A negative count is one that no array could hold.
std::size_t CheckedCount(std::int32_t iCount)
{
    if (iCount < 0)
        throw std::length_error(kTag);
    return static_cast<std::size_t>(iCount);
}

template <class Events>
void ReadEvents(Events& oEvents, Sys_TypedInStream& ioStream)
{
    oEvents.clear();
    Sys_StdStreamHeaderReader header(ioStream, kTag);
    header.CheckVersion(1, kVersion);
    const std::size_t count = CheckedCount(ioStream.Read<std::int32_t>());
    oEvents.reserve(std::min(count, static_cast<std::size_t>(ioStream.GetBytesLeft() / kMinEntrySize)));
    for (std::size_t i = 0; i < count; ++i)
    {
        Time_Typed time;
        if (!Time_TypedDefs::SetFromRawSavedData(ioStream.Read<std::int64_t>(), time))
            Mdid_ThrowMessage(100); // "bad data encountered"
        Mdid_Event event;
        event.StreamIn(ioStream);
        oEvents.push_back(Mdie_TimedEvent(time, std::move(event)));
    }
    header.SkipTheRest();
}

} // namespace

bool Mdie_TimedEvent::IsNoteWithDurationEvent() const
{
    const auto type = mEvent.GetType();
    return type == Mdid_Event::kNoteWithDuration || type == Mdid_Event::kPitchToMIDINoteWithDuration;
}

Time_TypedLength Mdie_TimedEvent::GetDuration() const
{
    if (IsNoteWithDurationEvent())
        return mEvent.As<Mdid_NoteWithDurationBase>().GetDuration();
    return Time_TypedLength(0, mTime.GetType());
}

bool Mdie_TimedEvent::operator<(const Mdie_TimedEvent& iOther) const
{
    if (mTime != iOther.mTime)
        return mTime < iOther.mTime;
    return mEvent < iOther.mEvent;
}

bool Mdie_TimedEvent::PlaybackOrdering(const Mdie_TimedEvent& iA, const Mdie_TimedEvent& iB)
{
    if (iA.mTime != iB.mTime)
        return iA.mTime < iB.mTime;
    return iA.mEvent.GetPlaybackPriority() < iB.mEvent.GetPlaybackPriority();
}

bool operator==(const Mdie_TimedEvent& iA, const Mdie_TimedEvent& iB)
{
    return iA.GetTime() == iB.GetTime() && iA.GetEvent() == iB.GetEvent();
}

Time_Typed Mdie_TimedEventList::GetLatestNoteOff() const
{
    Time_Typed latest;
    for (const Mdie_TimedEvent& event : *this)
        if (event.GetEvent().GetType() == Mdid_Event::kNoteWithDuration)
            latest = std::max(latest, Time_Convert::ToType(event.GetEndTime(), latest.GetType()));
    return latest;
}

// "MdTEL", version 1:
//   int32  N
//   N times:  int64 time (Time_TypedDefs::GetRawDataForSave), event record (Mdid_Event::StreamOut)
void Mdie_TimedEventList::StreamOut(std::span<const Mdie_TimedEvent> iEvents, Sys_TypedOutStream& ioStream)
{
    Sys_StdStreamHeaderWriter header(ioStream, kTag, kVersion);
    ioStream.Write(static_cast<std::int32_t>(iEvents.size()));
    for (const Mdie_TimedEvent& event : iEvents)
    {
        ioStream.Write(Time_TypedDefs::GetRawDataForSave(event.GetTime()));
        event.GetEvent().StreamOut(ioStream);
    }
    header.PatchSize();
}

void Mdie_TimedEventList::StreamOut(Sys_TypedOutStream& ioStream) const
{
    StreamOut({data(), size()}, ioStream);
}

void Mdie_TimedEventList::StreamIn(std::vector<Mdie_TimedEvent>& oEvents, Sys_TypedInStream& ioStream)
{
    ReadEvents(oEvents, ioStream);
}

void Mdie_TimedEventList::StreamIn(Sys_TypedInStream& ioStream)
{
    ReadEvents(*this, ioStream);
}

bool Mdie_Chord::InChord(const Mdie_TimedEvent& iEvent) const
{
    return std::ranges::find(*this, iEvent) != end();
}

bool Mdie_Chord::CanAdd(const Mdie_TimedEvent& iCandidate) const
{
    if (empty())
        return true;

    const Mdie_TimedEvent& last = back();
    const Time_TypedLength overlap =
        std::min(iCandidate.GetEndTime(), last.GetEndTime()) - std::max(iCandidate.GetTime(), last.GetTime());
    const Time_TypedLength longer = std::max(iCandidate.GetDuration(), last.GetDuration());
    if (overlap >= Time_TypedLength(longer.AsInt64() * 3 / 4, longer.GetType()))
        return true;

    const Time_TypedLength duration = last.GetDuration();
    const Time_Typed windowEnd =
        Time_Convert::AddLength(last.GetTime(), Time_TypedLength(kChordWindowInTicks, Time_EType::kTick));
    const Time_Typed quarterEnd =
        last.GetTime() + Time_TypedLength((duration.AsInt64() + 2) / 4, duration.GetType()); // rounded
    return iCandidate.GetTime() < std::min(windowEnd, quarterEnd);
}
