#pragma once

#include "CFnd/Sys_Umid.h"
#include "MFnd/Ndo_Object.h"
#include "MFnd/Ndo_Pointers.h"
#include "Mdid/Mdid_ChunkExtendedEventsInRangeIter.h"
#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_EventStream.h"
#include "Mdid/Mdid_ExtendedEventList.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdie_Filter.h"
#include "Mdid/Mdie_SubStream.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>

class Cmn_XMLNode;
class Mdid_ChunkRefCounter;
class Mdid_IRTProperties;
class Mdie_ChaseTracker;
class Mdie_ChaseView;
class Mdie_TrackState;

// What Mdid_Chunk::GetMidiEventsInRange delivers, and how. As it comes: everything, unshifted, in ticks.
struct Mdid_ChunkQuery
{
    // Events that stand in [mStart, mEnd) of the chunk, a note by its start ...
    Time_Typed mStart = Time_Typed::MinTime(Time_EType::kTick);
    Time_Typed mEnd = Time_Typed::MaxTime(Time_EType::kTick);
    Mdie_Filter mFilter = Mdie_Filter().SetAll(); // and pass; it may set the velocities of notes

    // ... are delivered at their time - mOffset, but not before mClampTime, as far as that lies in
    // [mWindowStart, mWindowEnd); in the kind mType, into display items in the kind of mOffset.
    Time_TypedLength mOffset{0, Time_EType::kTick};
    Time_Typed mClampTime = Time_Typed::MinTime(Time_EType::kTick);
    Time_Typed mWindowStart = Time_Typed::MinTime(Time_EType::kTick);
    Time_Typed mWindowEnd = Time_Typed::MaxTime(Time_EType::kTick);
    Time_EType mType = Time_EType::kTick;

    // A breakpoint exactly at mStart whose value the tracker holds already is passed over. May be null.
    const Mdie_ChaseView* mTrackerP = nullptr;
    // Applied to every event on its way out. May be null.
    const Mdid_IRTProperties* mPropsP = nullptr;

    // Carried by display items.
    bool mFlag = false;
    int mNumber = 0;
};

// All MIDI data of one piece of a track: notes, an event stream, and lanes of continuous data.
//
// Made by New or MakeUnique, shared through Mdid_ChunkRef, disposed of with NdoDelete. The parts are undoable objects
// of their own, as undoable as the chunk, and may be edited directly: hosts that do so drop the sorted list themselves.
// The chunk's own saved state holds which parts it has, its identity and the local flag.
// Every edit saves undo state before its first change, and, unless it says otherwise, only if there is one.
// Ranges are half-open, unless they say otherwise, and empty when they end before they start.
// Threads: one at a time; nothing is locked.
class MDID_EXPORT Mdid_Chunk : public Ndo_Object
{
public:
    using ClipBoundaryMap = std::map<std::int64_t, std::int64_t>;
    using RangeIter = Mdid_ChunkExtendedEventsInRangeIter;

    // An empty chunk with a new identity, local. iQuantizeContents: when tick times matter, what is added or shifted
    // goes to the coarse tick grid. Of its notes, those of 3,840,000 ticks, 96,000 samples or 2,000,000 microseconds
    // and more are kept in a list of long notes too.
    static Mdid_Chunk* New(EUndoFlag iUndoFlag, bool iQuantizeContents);
    static Ndo_unique_ptr<Mdid_Chunk> MakeUnique(EUndoFlag iUndoFlag, bool iQuantizeContents);

    // A new chunk with the same contents, as undoable as this one, with an identity of its own.
    Ndo_unique_ptr<Mdid_Chunk> Clone() const;

    Mdid_Chunk(const Mdid_Chunk&) = delete;
    Mdid_Chunk& operator=(const Mdid_Chunk&) = delete;
    ~Mdid_Chunk() override;

    // Owned by the chunk; null only while undo makes it again. After an undo they may be other objects.
    Mdid_NoteListBase* GetNoteList() { return mNoteListP.Get(); }
    const Mdid_NoteListBase* GetNoteList() const { return mNoteListP.Get(); }
    Mdid_EventStream* GetEventStream() { return mEventStreamP.Get(); }
    const Mdid_EventStream* GetEventStream() const { return mEventStreamP.Get(); }
    // Ascending by sub-stream. May hold nulls after an undo of what was not undoable: walks pass over them.
    Mdid_ContinuousDataStreamList* GetContinuousList() { return mContinuousListP.get(); }
    const Mdid_ContinuousDataStreamList* GetContinuousList() const { return mContinuousListP.get(); }

    // The host's cache of the contents in order of display. Takes over a list made with new.
    // Kept: replaces a list stored before without destroying it, and is no matter of undo. Edits through the chunk, and
    // undo of its own state, destroy the list; undo of a part alone does not pass here, so hosts drop it after an undo.
    Mdid_DisplayItemList* GetSortedEventList() const { return mSortedEventListP; }
    void StoreSortedEventList(Mdid_DisplayItemList* iListP) { mSortedEventListP = iListP; }
    void DropSortedList(); // destroys it

    const Sys_Umid& GetUID() const { return mUID; }
    void SetUID(const Sys_Umid& iUID); // always saves undo state
    bool IsLocal() const { return mIsLocal; }
    void SetIsLocal(bool iIsLocal); // always saves undo state
    bool IsMPE() const;
    bool QuantizeContents() const { return mQuantizeContents; }

    // The clip that the chunk is played by: what its edges cut off the notes is stamped with this identity, and what
    // other clips cut off is forgotten as notes come in (Mdid_NoteListTrimmedNotesContext, which the note list has from
    // then on). The function says where the edges are: an empty one makes notes that are trimmed throw
    // boost::bad_function_call as they come in. The identity is undoable, the function is not; it stays, also for a
    // context that undo makes again, and a chunk that comes back from deletion has it again.
    using ClipEdgeFunction = Mdid_NoteListBase::ClipEdgeFunction;
    void SetClip(const Sys_UUID& iClipUUID, ClipEdgeFunction iClipEdgeFunction);

    // Numbers that belong to the host, overwritten by key. Kept: neither undoable nor saved.
    void AddClipBoundary(std::int64_t iKey, std::int64_t iValue) { mClipBoundaryMap[iKey] = iValue; }
    const ClipBoundaryMap& GetClipBoundaryMap() const { return mClipBoundaryMap; }

    // Files an event by its type: notes (types 3 and 22, with their extension) into the note list, 4 to 8 into the lane
    // of their sub-stream, made if need be; system-exclusive ones into the event stream. All else is dropped: note-ons
    // and note-offs (the host pairs them), controllers that are no lane (0, 120 to 127), transport.
    // Kept: with "AllowMPE" events of all channels share the lane of a controller, at equal times the last one stays: a
    // chunk is for one channel. Stream types other than 0, 2 and 3 are reported and filed as 0.
    // On the coarse tick grid when the chunk quantizes and tick times matter.
    void AddEvent(const Mdid_ExtendedEvent& iEvent, Mdie_SubStream::EStreamType iStreamType);

    // Removes a note (the first note-on alike), a system-exclusive event, or the breakpoint at the event's time in its
    // ordinary lane; a lane that is empty then goes.
    // Kept: pitch-to-MIDI notes (22) come in by AddEvent, but do not go out here.
    void EraseEvent(const Mdie_TimedEvent& iEvent);

    // Kept: of notes and breakpoints those in [iStart, iEnd), but of the event stream also those at iEnd.
    void EraseRange(Time_Typed iStart, Time_Typed iEnd);
    void Clear();

    // The lane of this key, or null. A lane is made as undoable as the chunk; a key that names no lane makes none.
    // Kept: keys of the stream types 1, 4 and 5 do not find their own lane again.
    Mdid_ContinuousDataStream* FindContinuousStream(const Mdie_SubStream& iSubStream) const;
    Mdid_ContinuousDataStream* FindOrCreateContinuousStream(const Mdie_SubStream& iSubStream);

    // Takes over the contents and clip boundaries of the other; identity, local flag and quantize flag stay. Always
    // saves undo state, from itself too. Null is no chunk.
    void ReplaceData(const Mdid_Chunk* iSrcP);

    // Merges copies of what the source holds in [iStart, iEnd) and passes the filter, shifted by iOffset: notes behind
    // equal ones, breakpoints in place of those at equal times. The source may be this chunk; null is no source.
    void AddEventsFromChunk(const Mdid_Chunk* iSrcP, Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset,
                            const Mdie_Filter& iFilter);
    // Takes out what equals it, shifted but not snapped: notes by start and event, as they are stored whatever the
    // filter makes of their velocities, breakpoints by time and value. Lanes that are empty then go.
    void EraseEventsFromChunk(const Mdid_Chunk* iSrcP, Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset,
                              const Mdie_Filter& iFilter);

    // Puts every tick time on the coarse grid when tick times matter and the chunk quantizes; durations stay, and the
    // lanes of notes, which count from their start. Of the breakpoints of a lane that meet, the later one stays.
    void QuantizeEventsForTTM();

    // Whether EraseEvent would find it, here of equal value too, and with pitch-to-MIDI notes.
    bool IsEventInChunk(const Mdie_TimedEvent& iEvent) const;

    // The first in the order of the merged walk.
    std::optional<Mdie_TimedEvent> GetFirstEvent() const;
    bool empty() const;

    // The merged walk over [iStart, iEnd) of the lanes, the event stream (its end included) and the notes (by their
    // starts). A lane is walked when its key passes the filter, the event stream when system-exclusive events do, the
    // notes when notes do. The ends less iOffset become samples (upward when iRoundUp), and iOffset is added back;
    // those of the notes stay as they are when tick times matter, when iStart is in samples or the minimum time.
    RangeIter::Range GetRange(Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset, bool iRoundUp,
                              const Mdie_Filter& iFilter) const;
    // Of everything.
    RangeIter::Range MakeRange() const;
    RangeIter begin() const { return MakeRange().begin(); }
    RangeIter::EndSentinel end() const { return {}; }

    // Appends to the wrapper; what is appended is in playback order, equal ones in the order of the merged walk.
    // Binary searches, then linear in what is found, and its sorting.
    void GetMidiEventsInRange(Mdid_EventListWrapper* oWrapperP, const Mdid_ChunkQuery& iQuery) const;

    // Adds to a tracker what is in force at iTime: of each lane that it chases the last breakpoint at or before iTime,
    // unless that is earlier than iEarliest; at its time + iOffset, with the key of the lane. Where the tracker has a
    // later value, that stays. Playback thread: a binary search in each lane; takes no memory. Null is reported.
    // The lanes of notes take no part.
    void AddChaseStateAtTime(Mdie_ChaseView* ioTrackerP, Time_Typed iTime, Time_Typed iEarliest,
                             Time_TypedLength iOffset) const;
    // The same for a tracker that is cleared before.
    void GetChaseStateAtTime(Mdie_ChaseTracker* ioTrackerP, Time_Typed iTime, Time_Typed iEarliest,
                             Time_TypedLength iOffset) const;

    // Adds to a state the notes that sound at iTime (Mdid_NoteListBase::GetSustainingNotes), at their time + iOffset
    // and on the channel that they name; not those that are muted or of velocity 0. Playback thread, but the first
    // query after an edit takes memory. Null is reported.
    void AddNoteStateAtTime(Mdie_TrackState* ioStateP, Time_Typed iTime, Time_TypedLength iOffset) const;

    // Sets ioInUse[c] for every controller c (1 to 119) of a lane or a per-note lane; ioInUse: 120 bools.
    void FindMIDIControllersInUse(bool* ioInUse) const;

    // Whether some lane of stream type 2 on the note's channel has a breakpoint while the note sounds, or one at or
    // before its start.
    bool HasControllersForNote(const Mdie_TimedEvent& iNote) const;
    // Gives the note a per-note lane (stream type 3) for each such lane: the value in force at its start at 0, then the
    // breakpoints while it sounds, counted from its start. Without "AllowMPE" nothing.
    void AddControllersForNote(const Mdie_TimedEvent& iNote, Mdid_ExtendedEvent& ioNote, signed char iChannel) const;

    // Everything, by "Notes:", the lanes and "Sorted list:", for debugging.
    void PrintContents(std::ostream& ioStream) const;

    // Saves the chunk. Not saved: clip boundaries, the quantize flag, the sorted list, and what the parts leave out. A
    // lane comes back with breakpoints from 0 on, in one kind of time; those of stream type 3, and of type 2 beside
    // others of their index, may come back as ordinary ones.
    // With "AllowMPE" off, per-note lanes and the channels of lanes are not saved. With it on, a per-note lane in the
    // chunk's own list, where it comes to stand in a chunk that was read without the option, is saved only when it will
    // find its note: one that is there and has no such lane.
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // A new chunk, made with the two flags; the caller's. Throws Sys_StreamException, std::runtime_error with message
    // 100 for a negative count, 101, 201, 202, std::bad_alloc. Records of older writers may end before the event stream
    // and before the identity, which is Sys_Umid::NoID() then.
    static Mdid_Chunk* StreamIn(Sys_TypedInStream& ioStream, EUndoFlag iUndoFlag, bool iQuantizeContents);

    // "MIDI_Chunk": the notes, the number of lanes, the identity. Not read back.
    Cmn_AliasedRefCountPtr<Cmn_XMLNode> GetAsXML() const;

    std::unique_ptr<Ndo_State> NdoGetState() const override;
    void NdoRestoreState(Ndo_State* iStateP) override;

    // By contents: notes with originals, muted flag, deltas, trim and per-note lanes; long system-exclusive events by
    // their bytes; lanes by key and breakpoints, empty ones left out. Identity, flags and clip boundaries take no part.
    // Notes that compare equal may stand in any order.
    MDID_EXPORT friend bool operator==(const Mdid_Chunk& iA, const Mdid_Chunk& iB);

private:
    friend class Mdid_Chunk_NdoState;
    friend class Mdid_ChunkExtendedEventsInRangeIter;
    friend class Mdid_ChunkRefCounter;

    struct ReCreate
    {
    };

    Mdid_Chunk(EUndoFlag iUndoFlag, bool iQuantizeContents);
    explicit Mdid_Chunk(ReCreate);

    EUndoFlag GetUndoFlag() const { return NdoIsUndoable() ? kUndoable : kNotUndoable; }

    // Destroys the sorted list at the end of an edit, however it ends; until then the edit's arguments may lie in it.
    class EditScope
    {
    public:
        explicit EditScope(Mdid_Chunk& ioChunk) : mChunk(ioChunk) {}
        ~EditScope() { mChunk.DropSortedList(); }
        EditScope(const EditScope&) = delete;
        EditScope& operator=(const EditScope&) = delete;

    private:
        Mdid_Chunk& mChunk;
    };

    // On the coarse tick grid, when the chunk quantizes, tick times matter and it is one.
    Time_Typed QuantizeTime(Time_Typed iTime) const;
    void AddToLane(Time_Typed iTime, const Mdid_Event& iEvent, Mdie_SubStream::EStreamType iStreamType);

    // Takes the lane out of the list and deletes it; saves the chunk's state before.
    void RemoveLane(std::size_t iIndex);

    // Edits every lane, from the last to the first, and removes those that are empty then.
    template <class Edit>
    void EditLanes(Edit iEdit)
    {
        for (std::size_t i = mContinuousListP->size(); i-- > 0;)
        {
            Mdid_ContinuousDataStream* const laneP = (*mContinuousListP)[i].Get();
            if (laneP == nullptr)
                continue;
            iEdit(*laneP);
            if (laneP->IsEmpty())
                RemoveLane(i);
        }
    }

    // The lane that takes what stands in another chunk's lane of this key, or null; a new one in its place.
    Mdid_ContinuousDataStream* FindLaneLike(const Mdie_SubStream& iKey) const;
    Mdid_ContinuousDataStream& InsertLane(const Mdie_SubStream& iKey);

    void StreamInLanes(Sys_TypedInStream& ioStream);

    Ndo_TrackedPtr<Mdid_NoteList> mNoteListP;
    std::unique_ptr<Mdid_ContinuousDataStreamList> mContinuousListP;
    Ndo_TrackedPtr<Mdid_EventStream> mEventStreamP;
    Mdid_DisplayItemList* mSortedEventListP = nullptr;
    Sys_Umid mUID;
    bool mIsLocal = true;
    bool mQuantizeContents = false;
    ClipBoundaryMap mClipBoundaryMap;

    // By the index of a key: where its lane was found last, if it is still there.
    mutable std::array<std::uint16_t, Mdie_SubStream::GetNumIndices()> mPlaces{};
    Mdid_ChunkRefCounter* mFirstCounterP = nullptr; // of those that refer to a chunk that is not undoable
};
