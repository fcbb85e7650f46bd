// Saved lanes after a saved note list, as a chunk holds them; the first byte sets "AllowMPE" for reading and writing.
// Whatever the bytes, reading ends and nothing leaks; what could be read is written, and what was written is read back.

#include "FuzzSupport.h"

#include "CFnd/Sys_DelayedDeletion.h"
#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdid_Options.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <memory>

namespace
{

struct Contents
{
    Mdid_NoteList mNotes{Ndo_Object::kNotUndoable, false};
    Mdid_ContinuousDataStreamList mLanes;

    Contents() = default;
    Contents(const Contents&) = delete;
    Contents& operator=(const Contents&) = delete;
    ~Contents()
    {
        for (const auto& lane : mLanes)
            lane->NdoDelete();
    }
};

// An inserted lane belongs to the list, also when an exception leaves afterwards.
void ReadLane(Sys_TypedInStream& ioTyped, Contents& oContents)
{
    Ndo_unique_ptr<Mdid_ContinuousDataStream> lane(new Mdid_ContinuousDataStream(Ndo_Object::kNotUndoable));
    bool isInserted = false;
    try
    {
        lane->StreamIn(ioTyped, false, oContents.mLanes, oContents.mNotes, isInserted);
    }
    catch (...)
    {
        if (isInserted)
            static_cast<void>(lane.release());
        throw;
    }
    if (isInserted)
        static_cast<void>(lane.release());
}

bool Read(Cmn_InStream& ioStream, Contents& oContents)
{
    Sys_TypedInStream typed(ioStream);
    return ReadsWell(
        [&]
        {
            oContents.mNotes.StreamIn(typed);
            const Mdid_NoteListBase::ReadingScope scope(oContents.mNotes);
            while (typed.GetBytesLeft() > 0)
                ReadLane(typed, oContents);
        });
}

// A lane of a note may stand in the list of a chunk that was read without "AllowMPE"; with it, only the notes' own
// lanes are written.
std::vector<unsigned char> Write(Contents& ioContents)
{
    Mdid_ContinuousDataStreamList lanes;
    for (const auto& lane : ioContents.mLanes)
        if (!Mdid_AllowMPE() || !lane->GetSubStream().IsPerNote())
            lanes.push_back(lane);
    auto bytes = BytesOf(
        [&](Sys_TypedOutStream& ioTyped)
        {
            ioContents.mNotes.StreamOut(ioTyped, lanes);
            for (auto* cursor = lanes.data(); cursor != lanes.data() + lanes.size();)
                (*cursor)->StreamOut(ioTyped, lanes, cursor);
        });
    for (const auto& lane : lanes)
        if (std::ranges::find(ioContents.mLanes, lane) == ioContents.mLanes.end())
            lane->NdoDelete();
    return bytes;
}

// Keys that no writer makes come to rest when they have been read and written once, but that ordinary lanes and lanes
// of a channel, which never share a list, may change places.
void RequireThatItSettles(const std::vector<unsigned char>& iBytes)
{
    Contents once;
    Sys_MemoryInStream stream(iBytes);
    Require(Read(stream, once), "what is written cannot be read");
    const std::vector<unsigned char> bytes = Write(once);
    Contents twice;
    Sys_MemoryInStream again(bytes);
    Require(Read(again, twice), "what is written again cannot be read");
    Require(Write(twice).size() == bytes.size(), "what is read back is not what was written");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    if (iSize == 0)
        return 0;
    const SilentAssertHandler silence;
    Mdid_AllowMPE().Set((iData[0] & 1) != 0);
    Sys_MemoryInStream whole({iData + 1, iSize - 1});
    TinyWindowInStream tiny({iData + 1, iSize - 1});
    {
        Contents contents;
        Contents fromTiny;
        const bool isRead = Read(whole, contents);
        Require(Read(tiny, fromTiny) == isRead && fromTiny.mLanes.size() == contents.mLanes.size(),
                "the lanes depend on the windows");
        Mdid_AllowMPE().Set((iData[0] & 2) != 0);
        if (isRead)
            RequireThatItSettles(Write(contents));
    }
    Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
    return 0;
}
