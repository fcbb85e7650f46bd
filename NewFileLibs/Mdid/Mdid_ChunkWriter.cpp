#include "Mdid/Mdid_ChunkWriter.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Mdid/Mdie_SysexDataBase.h"

#include <algorithm>
#include <memory>
#include <new>

namespace
{

// A long system-exclusive event seen as one that can be given a block of its own.
class LongSysex : public Mdid_SysexEventBase
{
public:
    void TakeOwnBlock()
    {
        const Bytes bytes = GetStoredBytes();
        std::unique_ptr<unsigned char[]> buffer(new unsigned char[bytes.size()]);
        std::ranges::copy(bytes, buffer.get());
        Mdie_SysexData* const blockP = Mdie_SysexData::New(static_cast<int>(bytes.size()), std::move(buffer));
        if (blockP == nullptr)
            throw std::bad_alloc();
        const signed char channel = GetChannel();
        SetBlock(blockP);
        SetChannel(channel);
    }
};

// The note's lanes become the chunk's, whatever chunk they come from.
void SetSnapToCoarseTicks(Mdid_ExtendedEvent& ioNote, bool iSnap)
{
    if (!ioNote.HasPerNoteControllers())
        return;
    if (auto* const lanesP = ioNote.WritePerNoteControllers())
        for (Mdid_PerNoteDataStream& lane : *lanesP)
            lane.SetSnapToCoarseTicks(iSnap);
}

} // namespace

Mdie_TimedEventReceiver::~Mdie_TimedEventReceiver() = default;

Mdid_ChunkWriter::~Mdid_ChunkWriter() = default;

void Mdid_ChunkWriter::SetChunkRef(const Mdid_ChunkRef& iChunkRef)
{
    mChunkRef = iChunkRef;
    if (mMPEChunkRef)
        mMPEChunkRef->Clear();
}

void Mdid_ChunkWriter::SetImportAsMPE()
{
    mMPEChunkRef = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, true));
}

void Mdid_ChunkWriter::ReceiveEvent(const Mdie_TimedEvent& iEvent)
{
    Mdid_Chunk* const chunkP = mChunkRef.Get();
    if (!CMN_VERIFY(chunkP != nullptr))
        return;
    switch (iEvent.GetEvent().GetType())
    {
    case Mdid_Event::kNoteWithDuration:
        AddNote(iEvent, *chunkP);
        return;
    case Mdid_Event::kPitchBend:
    case Mdid_Event::kController:
    case Mdid_Event::kMonoPressure:
        // Kept: what is on the master channel goes to the target, and so do programs and poly pressure of any channel.
        if (mMPEChunkRef && iEvent.GetEvent().GetChannel() > 0)
        {
            mMPEChunkRef->AddEvent(Mdid_ExtendedEvent(iEvent), Mdie_SubStream::kPerChannel);
            return;
        }
        break;
    default:
        break;
    }
    Mdid_ExtendedEvent event(iEvent);
    if (event.GetEvent().GetType() == Mdid_Event::kLongSysex)
        event.GetEvent().As<LongSysex>().TakeOwnBlock();
    chunkP->AddEvent(event, Mdie_SubStream::kOrdinary);
}

void Mdid_ChunkWriter::AddNote(const Mdie_TimedEvent& iNote, Mdid_Chunk& ioChunk) const
{
    Mdid_NoteWithDurationExtendedEvent note(iNote);
    if (mMPEChunkRef && mMPEChunkRef->HasControllersForNote(iNote))
    {
        note.SetPerNoteControllers();
        mMPEChunkRef->AddControllersForNote(iNote, note, iNote.GetEvent().GetChannel());
        SetSnapToCoarseTicks(note, ioChunk.QuantizeContents());
    }
    ioChunk.AddEvent(note, Mdie_SubStream::kOrdinary);
}
