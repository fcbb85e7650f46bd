#pragma once

#include "CFnd/Cmn_PolyVector.h"
#include "MFnd/Ndo_Object.h"
#include "MFnd/Ndo_Pointers.h"
#include "Mdid/Mdid_ContinuousDataStreamCore.h"

#include <string>

class Mdid_ContinuousDataStreamList;
class Mdid_NoteListBase;

// One undoable lane of a chunk. Owned by its chunk's list, disposed of with NdoDelete.
// Undo: a saved state holds the sub-stream, the flag and all breakpoints.
class MDID_EXPORT Mdid_ContinuousDataStream : public Ndo_Object, public Mdid_ContinuousDataStreamCore
{
public:
    using TrackedPtr = Ndo_TrackedPtr<Mdid_ContinuousDataStream>;

    explicit Mdid_ContinuousDataStream(EUndoFlag iUndoFlag);
    Mdid_ContinuousDataStream(const Mdie_SubStream& iSubStream, EUndoFlag iUndoFlag, bool iSnapToCoarseTicks);
    Mdid_ContinuousDataStream(const Mdid_ContinuousDataStream&) = default;
    ~Mdid_ContinuousDataStream() override;

    // The sub-stream's description, then a line "time value" for each breakpoint.
    std::string PrintContents() const;

    // Writes this lane, which ioCursorP points to in ioList, and with "AllowMPE" all lanes of the same index that
    // follow it; moves ioCursorP past all lanes of this index. One call is one record:
    //
    //     for (auto* cursor = list.data(); cursor != list.data() + list.size();)
    //         (*cursor)->StreamOut(out, list, cursor);
    //
    // (Nulls behind the first lane are passed over; a null under the cursor is the caller's to pass over.)
    // Without "AllowMPE" the first lane of an index is written, as an ordinary one, and the others are not. With it, an
    // empty ordinary lane is left out when others of its index follow. A lane that could not be read back (unsorted,
    // before 0) is reported and written repaired.
    void StreamOut(Sys_TypedOutStream& ioStream, Mdid_ContinuousDataStreamList& ioList, TrackedPtr*& ioCursorP) const;

    // Reads one record: its ordinary lanes go into ioList, its per-note lanes to their notes in ioNotes, which save
    // undo state. A per-note lane without its note, or when all notes like it have such a lane, is dropped; in a group
    // that spoils the record for all lanes behind it.
    // oInserted: this object is in ioList now and belongs to it; otherwise, also after an exception, it is still the
    // caller's. Further lanes of the record are new objects, undoable as this one is, and belong to ioList.
    // All lanes of a chunk are read within one Mdid_NoteListBase::ReadingScope.
    // Throws Sys_StreamException, std::runtime_error with message 100, 101 (a lane that is there already), 201, 202.
    void StreamIn(Sys_TypedInStream& ioStream, bool iSnapToCoarseTicks, Mdid_ContinuousDataStreamList& ioList,
                  Mdid_NoteListBase& ioNotes, bool& oInserted);

    std::unique_ptr<Ndo_State> NdoGetState() const override;
    void NdoRestoreState(Ndo_State* iStateP) override;

protected:
    void AboutToModify() override;

private:
    class NdoState;
    struct ReCreate
    {
    };
    explicit Mdid_ContinuousDataStream(ReCreate);

    // What one record is read into.
    struct Target
    {
        bool mSnapToCoarseTicks;
        Mdid_ContinuousDataStreamList& mList;
        Mdid_NoteListBase& mNotes;
        bool& mIsThisInserted;
    };

    void EncapsulateDataType(Sys_TypedOutStream& ioStream, Mdid_ContinuousDataStreamList& ioList,
                             TrackedPtr*& ioCursorP) const;
    void WriteLane(Sys_TypedOutStream& ioStream) const;
    void WriteCore(Sys_TypedOutStream& ioStream) const;

    void ReadBody(Sys_TypedInStream& ioStream, const Target& iTarget);
    void ReadGroup(Sys_TypedInStream& ioStream, const Target& iTarget);
    void ReadGroupWithoutMPE(Sys_TypedInStream& ioStream, const Target& iTarget);
    void ReadPerNoteLane(Mdie_SubStream& ioSubStream, Sys_TypedInStream& ioStream, const Target& iTarget);
    void ReadEntry(const Mdie_SubStream& iSubStream, Sys_TypedInStream& ioStream, const Target& iTarget,
                   bool iThisIsFree);
    void ReadLane(Sys_TypedInStream& ioStream, const Target& iTarget);
    void ReadCore(Sys_TypedInStream& ioStream, const Target& iTarget);
    void InsertThis(const Target& iTarget);
    Mdid_ContinuousDataStreamCore* MoveMPEStreamToNote(Mdie_SubStream& ioSubStream, bool iSnapToCoarseTicks,
                                                       Mdid_NoteListBase& ioNotes);
};

// The lanes of a chunk, ascending by sub-stream, no two of them equal. Does not own them.
class MDID_EXPORT Mdid_ContinuousDataStreamList : public Cmn_PolyVector<Ndo_TrackedPtr<Mdid_ContinuousDataStream>>
{
public:
    // The first element whose sub-stream is not less than the key; the caller tests for the end and for equality.
    // Logarithmic; linear when the list holds a null.
    Ndo_TrackedPtr<Mdid_ContinuousDataStream>* FindStream(const Mdie_SubStream& iSubStream);

    // Inserts in its place. A lane of an equal key: std::runtime_error with message 101; a key that names no lane
    // (Mdie_SubStream::IsLane): with message 201. The list is as it was then.
    void InsertStream(Mdid_ContinuousDataStream* iStreamP);

private:
    bool HoldsEqual(const Ndo_TrackedPtr<Mdid_ContinuousDataStream>* iPlace, const Mdie_SubStream& iKey) const;
};

// Kept: compares the lanes of the left list with those at the same places of the right one, and nothing else: an empty
// left list equals any, and what the right one has more does not count. A left one that is longer is not equal.
MDID_EXPORT bool operator==(const Mdid_ContinuousDataStreamList& iLeft, const Mdid_ContinuousDataStreamList& iRight);
