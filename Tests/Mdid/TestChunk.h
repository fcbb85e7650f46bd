#pragma once

#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/TestNotes.h"

using enum Mdie_SubStream::EStreamType;

// Events at ticks.
inline constexpr auto At = [](std::int64_t iTime, const Mdid_Event& i) { return Mdid_ExtendedEvent(Ticks(iTime), i); };
inline constexpr auto Bend = [](std::int64_t iTime, std::int16_t iValue, signed char iChannel)
{ return At(iTime, Mdid_PitchBendEvent(iChannel, iValue)); };
inline constexpr auto Controller = [](std::int64_t iTime, char iNumber, char iValue, signed char iChannel = 0)
{ return At(iTime, Mdid_ControllerEvent(iChannel, iNumber, iValue)); };
inline constexpr auto Sysex = [](std::int64_t iTime, int iLength = 3)
{ return At(iTime, MakeSysex(CountingBytes(iLength))); };
inline constexpr auto PitchToMIDI = [](std::int64_t iTime) -> Mdid_ExtendedEvent
{ return Note(At(iTime, Mdid_PitchToMIDINoteWithDuration(0, 60, TickLength(5), 9, 64, 60.5f))); };

// A quantizing chunk.
inline Ndo_unique_ptr<Mdid_Chunk> MakeChunk(const std::vector<Mdid_ExtendedEvent>& iEvents)
{
    auto chunk = Mdid_Chunk::MakeUnique(Ndo_Object::kUndoable, true);
    for (const Mdid_ExtendedEvent& event : iEvents)
        chunk->AddEvent(event, kOrdinary);
    return chunk;
}

inline Ndo_unique_ptr<Mdid_Chunk> Read(const ByteVector& iBytes, bool iQuantizeContents = true)
{
    Sys_MemoryInStream stream(iBytes);
    Sys_TypedInStream typed(stream);
    return Ndo_unique_ptr<Mdid_Chunk>(Mdid_Chunk::StreamIn(typed, Ndo_Object::kUndoable, iQuantizeContents));
}

// " 7.2.1 10=5 20=6": index, stream type and channel of a lane, and its breakpoints.
inline std::string Describe(const Mdid_ContinuousDataStreamCore& iLane)
{
    const Mdie_SubStream& key = iLane.GetSubStream();
    std::string text = " " + std::to_string(key.GetDataTypeIndex());
    text += "." + std::to_string(key.GetStreamType()) + "." + std::to_string(key.GetChannel());
    for (const auto& i : iLane.GetSegments())
        text += " " + std::to_string(i.mTime.AsInt64()) + "=" + std::to_string(i.mValue);
    return text;
}

// "0:60x500 | / 7.0.0 10=5 / 20": notes and long notes, lanes, the times of the event stream.
inline std::string Describe(const Mdid_Chunk& iChunk)
{
    std::string text = Describe(*iChunk.GetNoteList()) + "/";
    for (const auto& laneP : *iChunk.GetContinuousList())
        text += laneP ? Describe(*laneP) : " null";
    text += " /";
    for (const Mdie_TimedEvent& event : *iChunk.GetEventStream())
        text += " " + std::to_string(event.GetTime().AsInt64());
    return text;
}
