#pragma once

#include "CFnd/Cmn_RefCountObject.h"
#include "MFnd/Ndo_Pointers.h"
#include "Mdid/Mdid_Export.h"

class Mdid_Chunk;

// What all references to one chunk share. Hands the chunk to NdoDelete when the last one goes.
class MDID_EXPORT Mdid_ChunkRefCounter : public Cmn_RefCountObject
{
private:
    friend class Mdid_Chunk;
    friend class Mdid_ChunkRef;

    explicit Mdid_ChunkRefCounter(Mdid_Chunk* iChunkP);
    ~Mdid_ChunkRefCounter() override;
    Mdid_Chunk* GetChunk() const;

    // The chunk goes: no counter refers to it any more.
    static void ForgetChunk(Mdid_ChunkRefCounter* iFirstP) noexcept;

    Ndo_ExternalRefBase mChunkExtRef;
    int mNumRealUsers = 0;
    Mdid_ChunkRefCounter* mNextP = nullptr; // of the same chunk, when it is not undoable
};

// A counted handle to a chunk, which lives while any handle made from one another holds it. Two handles made from the
// same pointer share nothing: when one of them lets go, the chunk goes and the other one reads as null. Make one, and
// copy it. A chunk that undo has deleted reads as null until it is back.
// Threads: all handles to one chunk on one at a time.
class MDID_EXPORT Mdid_ChunkRef
{
public:
    Mdid_ChunkRef() = default; // empty
    // Takes over the chunk, also when it throws std::bad_alloc; null gives the empty reference.
    explicit Mdid_ChunkRef(Mdid_Chunk* iChunkP);

    // Kept: a move is a copy, the source keeps its reference.
    Mdid_ChunkRef(const Mdid_ChunkRef& iOther);
    Mdid_ChunkRef& operator=(const Mdid_ChunkRef& iOther);
    ~Mdid_ChunkRef();

    Mdid_Chunk* Get() const; // may be null
    Mdid_Chunk* operator->() const { return Get(); }
    Mdid_Chunk& operator*() const { return *Get(); }
    explicit operator bool() const { return Get() != nullptr; }

    // By the chunks' addresses, null first. Kept: false whenever iOther is empty.
    bool operator<(const Mdid_ChunkRef& iOther) const;

    // Kept: two empty references are not the same chunk.
    bool IsSameChunkAs(const Mdid_ChunkRef& iOther) const;

    // Only of a reference that is not empty. The real users are counted by the host and keep nothing alive.
    void AddToRealUsers(int iAmount);
    int GetNumRealUsers() const;
    int GetRefCount() const;

private:
    Mdid_ChunkRefCounter* mCounterP = nullptr;
};
