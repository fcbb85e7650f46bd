#pragma once

#include "Mdid/Mdid_ChunkRef.h"
#include "Mdid/Mdie_TimedEvent.h"

// The interface through which timed events are pushed on.
class MDID_EXPORT Mdie_TimedEventReceiver
{
public:
    virtual ~Mdie_TimedEventReceiver();
    virtual void ReceiveEvent(const Mdie_TimedEvent& iEvent) = 0;

protected:
    Mdie_TimedEventReceiver() = default;
    Mdie_TimedEventReceiver(const Mdie_TimedEventReceiver&) = default;
    Mdie_TimedEventReceiver& operator=(const Mdie_TimedEventReceiver&) = default;
};

// Files the events of a recording or an import into a chunk, as Mdid_Chunk::AddEvent does.
//
// For MPE: channel 0 is the master channel. Bends, controllers and channel pressure of other channels wait in a private
// chunk; a note takes from there what its channel holds for its span. So a note is handed over when it has ended, after
// the expression of its span; one that is handed over at its start gets only what came before. Needs "AllowMPE": with
// the option off, the expression of channels above 0 is lost.
// Copies share both chunks.
class MDID_EXPORT Mdid_ChunkWriter : public Mdie_TimedEventReceiver
{
public:
    Mdid_ChunkWriter() = default;
    ~Mdid_ChunkWriter() override;
    Mdid_ChunkWriter(const Mdid_ChunkWriter&) = default;
    Mdid_ChunkWriter& operator=(const Mdid_ChunkWriter&) = default;

    // The target; before the first event. Forgets the expression that waits.
    void SetChunkRef(const Mdid_ChunkRef& iChunkRef);

    // From now on as above, with nothing waiting.
    void SetImportAsMPE();

    // A long system-exclusive event is filed with a block of its own, so that blocks of an input thread's pool do not
    // stay. Pitch-to-MIDI notes (22) are dropped: only the host knows their originals.
    void ReceiveEvent(const Mdie_TimedEvent& iEvent) override;

private:
    void AddNote(const Mdie_TimedEvent& iNote, Mdid_Chunk& ioChunk) const;

    Mdid_ChunkRef mMPEChunkRef;
    Mdid_ChunkRef mChunkRef;
};
