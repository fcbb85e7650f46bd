#pragma once

#include "CFnd/Sys_DelayedDeletion.h"
#include "Mdid/Mdid_ContinuousDataStreamCore.h"
#include "Mdid/Mdid_PerNoteControllerListBase.h"

#include <vector>

// One lane of the expression of one note. Its times count from the note's start. It is undone with its note.
class MDID_EXPORT Mdid_PerNoteDataStream : public Mdid_ContinuousDataStreamCore
{
public:
    Mdid_PerNoteDataStream() = default;
    Mdid_PerNoteDataStream(const Mdie_SubStream& iSubStream, bool iSnapToCoarseTicks);
};

// The lanes of one note, ascending by sub-stream (stream type 3), no two of them equal.
class MDID_EXPORT Mdid_PerNoteDataStreamList
{
public:
    using iterator = std::vector<Mdid_PerNoteDataStream>::iterator;
    using const_iterator = std::vector<Mdid_PerNoteDataStream>::const_iterator;

    iterator begin() { return mStreams.begin(); }
    iterator end() { return mStreams.end(); }
    const_iterator begin() const { return mStreams.begin(); }
    const_iterator end() const { return mStreams.end(); }
    std::size_t size() const { return mStreams.size(); }
    bool empty() const { return mStreams.empty(); }

    // The first lane that is not less than the key; the caller tests for the end and for equality.
    iterator FindStream(const Mdie_SubStream& iSubStream);
    const_iterator FindStream(const Mdie_SubStream& iSubStream) const;

    // A new, empty lane in its place, valid until the next one is inserted. A lane of an equal key: std::runtime_error
    // with message 101; a key that names no lane: with message 201. The list is as it was then.
    Mdid_PerNoteDataStream* InsertStream(const Mdie_SubStream& iSubStream, bool iSnapToCoarseTicks);

    // Returns the lane behind it.
    iterator EraseStream(const_iterator iStream) { return mStreams.erase(iStream); }

private:
    std::vector<Mdid_PerNoteDataStream> mStreams;
};

// The expression of one note. Playback may be reading it when its last owner lets go: it is then deleted with delay.
class MDID_EXPORT Mdid_PerNoteControllerList : public Mdid_PerNoteControllerListBase,
                                               public Sys_DelayedDeletionObject,
                                               public Mdid_PerNoteDataStreamList
{
public:
    Mdid_PerNoteControllerList() = default;
    // A list of its own with a copy of the lanes.
    explicit Mdid_PerNoteControllerList(const Mdid_PerNoteDataStreamList& iStreams);

    // The same lanes with the same contents.
    bool IsEqualTo(const Mdid_PerNoteControllerListBase& iOther) const override;

protected:
    ~Mdid_PerNoteControllerList() override;
    void Release() override;
};
