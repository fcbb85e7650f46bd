#include "Mdid/Mdid_ChunkRef.h"

#include "Mdid/Mdid_Chunk.h"

#include <functional>
#include <utility>

Mdid_ChunkRefCounter::Mdid_ChunkRefCounter(Mdid_Chunk* iChunkP) : mChunkExtRef(iChunkP)
{
    // An undoable chunk is looked up; any other one tells its counters when it goes.
    if (!iChunkP->NdoIsUndoable())
        mNextP = std::exchange(iChunkP->mFirstCounterP, this);
}

Mdid_ChunkRefCounter::~Mdid_ChunkRefCounter()
{
    if (Mdid_Chunk* const chunkP = GetChunk())
        chunkP->NdoDelete();
}

void Mdid_ChunkRefCounter::ForgetChunk(Mdid_ChunkRefCounter* iFirstP) noexcept
{
    for (; iFirstP != nullptr; iFirstP = iFirstP->mNextP)
        iFirstP->mChunkExtRef.SetObjPtr(nullptr);
}

Mdid_Chunk* Mdid_ChunkRefCounter::GetChunk() const
{
    return static_cast<Mdid_Chunk*>(mChunkExtRef.GetObjPtr());
}

Mdid_ChunkRef::Mdid_ChunkRef(Mdid_Chunk* iChunkP)
{
    if (iChunkP == nullptr)
        return;
    Ndo_unique_ptr<Mdid_Chunk> chunkP(iChunkP);
    mCounterP = new Mdid_ChunkRefCounter(iChunkP);
    static_cast<void>(chunkP.release()); // the counter's now
    mCounterP->AddReference();
}

Mdid_ChunkRef::Mdid_ChunkRef(const Mdid_ChunkRef& iOther) : mCounterP(iOther.mCounterP)
{
    if (mCounterP)
        mCounterP->AddReference();
}

// The new counter first: the old chunk may be what holds the other reference.
Mdid_ChunkRef& Mdid_ChunkRef::operator=(const Mdid_ChunkRef& iOther)
{
    Mdid_ChunkRef copy(iOther);
    std::swap(mCounterP, copy.mCounterP);
    return *this;
}

Mdid_ChunkRef::~Mdid_ChunkRef()
{
    if (mCounterP)
        mCounterP->RemoveReference();
}

Mdid_Chunk* Mdid_ChunkRef::Get() const
{
    return mCounterP ? mCounterP->GetChunk() : nullptr;
}

bool Mdid_ChunkRef::operator<(const Mdid_ChunkRef& iOther) const
{
    return std::less<const Mdid_Chunk*>()(Get(), iOther.Get());
}

bool Mdid_ChunkRef::IsSameChunkAs(const Mdid_ChunkRef& iOther) const
{
    return Get() != nullptr && Get() == iOther.Get();
}

void Mdid_ChunkRef::AddToRealUsers(int iAmount)
{
    mCounterP->mNumRealUsers += iAmount;
}

int Mdid_ChunkRef::GetNumRealUsers() const
{
    return mCounterP->mNumRealUsers;
}

int Mdid_ChunkRef::GetRefCount() const
{
    return mCounterP->GetReferenceCount();
}
