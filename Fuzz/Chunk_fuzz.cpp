// A saved chunk; the first byte sets "AllowMPE" for reading (bit 0) and for writing (bit 1). Whatever the bytes,
// reading ends and nothing leaks. What could be read is written, and comes back equal, and the same bytes when it is
// written again. It can be walked, asked, edited and cut by a clip, and every edit taken back.

#include "FuzzSupport.h"

#include "CFnd/Cmn_XMLNode.h"
#include "CFnd/Sys_DelayedDeletion.h"
#include "MFnd/Ndo_Manager.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"
#include "Mdid/Mdid_Options.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <array>
#include <sstream>

namespace
{

using ChunkPtr = Ndo_unique_ptr<Mdid_Chunk>;

constexpr Time_TypedLength kLength(1'000'000, Time_EType::kTick);

ChunkPtr Read(Cmn_InStream& ioStream, Ndo_Object::EUndoFlag iUndoFlag = Ndo_Object::kNotUndoable)
{
    ChunkPtr chunkP;
    Sys_TypedInStream typed(ioStream);
    ReadsWell([&] { chunkP.reset(Mdid_Chunk::StreamIn(typed, iUndoFlag, false)); });
    return chunkP;
}

ChunkPtr Read(const std::vector<unsigned char>& iBytes, Ndo_Object::EUndoFlag iUndoFlag = Ndo_Object::kNotUndoable)
{
    Sys_MemoryInStream stream(iBytes);
    ChunkPtr chunkP = Read(stream, iUndoFlag);
    Require(chunkP != nullptr, "what is written is not read back");
    return chunkP;
}

std::vector<unsigned char> Write(const Mdid_Chunk& iChunk)
{
    return BytesOf([&](Sys_TypedOutStream& ioTyped) { iChunk.StreamOut(ioTyped); });
}

std::size_t CountEvents(const Mdid_Chunk& iChunk)
{
    std::size_t count = iChunk.GetNoteList()->Size() + iChunk.GetEventStream()->size();
    for (const auto& laneP : *iChunk.GetContinuousList())
        count += laneP ? laneP->NumSegments() : 0;
    return count;
}

void Ask(const Mdid_Chunk& iChunk)
{
    std::size_t walked = 0;
    for (auto event = iChunk.begin(); event != iChunk.end(); ++event)
    {
        ++walked;
        iChunk.IsEventInChunk(*event);
        iChunk.HasControllersForNote(*event);
    }
    Require(walked == CountEvents(iChunk), "the walk does not meet every event once");
    Require(iChunk.empty() == (walked == 0), "empty, but for its events");

    const Time_Typed start = walked > 0 ? iChunk.GetFirstEvent()->GetTime() : Time_Typed();
    Mdid_ChunkQuery query;
    query.mStart = start;
    query.mEnd = start + kLength;
    Mdid_ExtendedEventList list;
    Mdid_EventListWrapper wrapper(list);
    iChunk.GetMidiEventsInRange(&wrapper, query);
    Require(wrapper.size() <= walked, "a range holds more than the whole");
    for (std::size_t i = 1; i < wrapper.size(); ++i)
        Require(wrapper[i - 1].GetTime() <= wrapper[i].GetTime(), "events that are not in order of time");
    for (const bool roundUp : {false, true})
    {
        const auto range = iChunk.GetRange(start, start + kLength, kLength, roundUp, Mdie_Filter().SetAll());
        std::size_t count = 0;
        for (auto event = range.begin(); event.IsMore(); ++event)
            ++count;
        Require(count <= walked, "a walk over a range goes beyond it");
    }

    std::array<bool, 120> inUse{};
    iChunk.FindMIDIControllersInUse(inUse.data());
    std::ostringstream text;
    iChunk.PrintContents(text);
    iChunk.GetAsXML();
}

// Lanes that no writer makes come to rest when they have been written and read once.
void RequireThatItSettles(const std::vector<unsigned char>& iBytes)
{
    const std::vector<unsigned char> settled = Write(*Read(iBytes));
    const ChunkPtr chunkP = Read(settled);
    const std::vector<unsigned char> again = Write(*chunkP);
    Require(again == settled, "the same chunk is written differently");
    Require(*Read(again) == *chunkP, "what is read back is not equal");
}

// The clip's edges lie within the first bar.
void Cut(Mdid_Chunk& ioChunk, Time_Typed iStart)
{
    using Context = Mdid_NoteListTrimmedNotesContext;
    const Time_Typed edges[] = {iStart + kLength, iStart + kLength + kLength};
    ioChunk.SetClip(Sys_UUID(1, 2), [=](const Sys_UUID&, Context::Side iSide) { return edges[iSide]; });
    Context& context = *ioChunk.GetNoteList()->GetTrimmedNotesContext();
    context.TrimOverlappingNotes<Context::kHead>(edges[0]);
    context.TrimOverlappingNotes<Context::kTail>(edges[1]);
    RequireThatItSettles(Write(ioChunk));
}

void Edit(Mdid_Chunk& ioChunk)
{
    const auto first = ioChunk.GetFirstEvent();
    const Time_Typed start = first ? first->GetTime() : Time_Typed();
    const ChunkPtr copyP = ioChunk.Clone();
    Require(*copyP == ioChunk, "a clone differs");
    Cut(ioChunk, start);
    ioChunk.AddEventsFromChunk(&ioChunk, start, start + kLength, kLength, Mdie_Filter().SetAll());
    ioChunk.EraseEventsFromChunk(copyP.get(), start, start + kLength, kLength, Mdie_Filter().SetAll());
    ioChunk.QuantizeEventsForTTM();
    if (first)
        ioChunk.EraseEvent(*first);
    ioChunk.EraseRange(start + kLength, start + kLength + kLength);
    ioChunk.ReplaceData(copyP.get());
    Require(*copyP == ioChunk, "what replaced the contents differs");
    ioChunk.Clear();
    Require(ioChunk.empty(), "not empty when cleared");
}

void EditAndUndo(const std::vector<unsigned char>& iBytes)
{
    const ChunkPtr originalP = Read(iBytes);
    const ChunkPtr chunkP = Read(iBytes, Ndo_Object::kUndoable);
    {
        Ndo_Step step("Edit");
        Edit(*chunkP);
        step.Commit();
    }
    if (Ndo_gManager.CanUndo())
    {
        Ndo_gManager.Undo();
        Require(*chunkP == *originalP, "undo does not bring back what was");
        Ndo_gManager.Redo();
        Require(chunkP->empty(), "redo does not bring back what was done");
    }
    Ndo_gManager.DropHistory();
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
        const ChunkPtr chunkP = Read(whole);
        const ChunkPtr fromTinyP = Read(tiny);
        Require((chunkP != nullptr) == (fromTinyP != nullptr), "the windows decide what can be read");
        if (chunkP)
        {
            Require(*chunkP == *fromTinyP, "the windows decide what is read");
            Ask(*chunkP);
            Mdid_AllowMPE().Set((iData[0] & 2) != 0);
            const std::vector<unsigned char> bytes = Write(*chunkP);
            RequireThatItSettles(bytes);
            EditAndUndo(bytes);
            Edit(*chunkP);
        }
    }
    Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
    return 0;
}
