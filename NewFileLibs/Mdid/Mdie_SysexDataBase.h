#pragma once

#include "CFnd/Sys_AtomicInt32.h"
#include "CFnd/Sys_DelayedDeletion.h"
#include "Mdid/Mdid_Export.h"

#include <memory>
#include <span>

class Mem2_MasterAllocator;

// The bytes of one long system-exclusive message, shared by all copies of the event that carries it.
//
// The count is atomic, so copies may be taken and dropped on any thread. The bytes never change while they are shared.
class MDID_EXPORT Mdie_SysexDataBase
{
public:
    Mdie_SysexDataBase(const Mdie_SysexDataBase&) = delete;
    Mdie_SysexDataBase& operator=(const Mdie_SysexDataBase&) = delete;

    // A block is made with one reference; the last release disposes of it.
    void AddReference() { mReferenceCount.Increment(); }
    void Release()
    {
        if (mReferenceCount.Decrement() == 0)
            Dispose();
    }

    // The last release of a block that nobody but its only owner has ever seen, so that no reader can be left:
    // deletes it at once. With other owners it is an ordinary release.
    void ReleaseUnseen();

    // All bytes of the message, F0 and F7 included where it has them. Empty when the block was made without data.
    std::span<const unsigned char> GetBytes() const { return {mDataP, static_cast<std::size_t>(mLength)}; }
    unsigned char* GetDataPtr() const { return mDataP; }

protected:
    // iDataP must not be null: that is reported, and the block is empty then.
    Mdie_SysexDataBase(int iLength, unsigned char* iDataP);
    virtual ~Mdie_SysexDataBase();

private:
    virtual void Dispose() = 0;
    virtual void DisposeUnseen() = 0;

    Sys_AtomicInt32 mReferenceCount{1};
    int mLength;
    unsigned char* mDataP;
};

// A block on the heap, made by editing and file code. A playback thread may still read it when its last reference
// goes, so its deletion is delayed.
class MDID_EXPORT Mdie_SysexData final : public Mdie_SysexDataBase, public Sys_DelayedDeletionObject
{
public:
    // Takes over iBuffer, which holds iLength bytes, also when it fails. Null when there is no memory.
    static Mdie_SysexData* New(int iLength, std::unique_ptr<unsigned char[]> iBuffer);

private:
    Mdie_SysexData(int iLength, std::unique_ptr<unsigned char[]> iBuffer);
    ~Mdie_SysexData() override;
    void Dispose() override;
    void DisposeUnseen() override;

    std::unique_ptr<unsigned char[]> mBuffer;
};

// A block in a pool, made by the input thread, which must not touch the heap. Disposed of at once; the pool must
// outlive it.
class MDID_EXPORT Mdie_SysexDataRT final : public Mdie_SysexDataBase
{
public:
    // Takes over iDataP, a block of iLength bytes or more from *iAllocatorP, unless it fails. Null when the pool is
    // exhausted. Input thread; no heap.
    static Mdie_SysexDataRT* New(int iLength, unsigned char* iDataP, Mem2_MasterAllocator* iAllocatorP);

private:
    Mdie_SysexDataRT(int iLength, unsigned char* iDataP, Mem2_MasterAllocator* iAllocatorP);
    ~Mdie_SysexDataRT() override;
    void Dispose() override;
    void DisposeUnseen() override;

    Mem2_MasterAllocator* mAllocatorP;
};

// The tag of every block that this library takes from a pool: "Mdid".
inline constexpr int kMdid_AllocationTag = 0x4D646964;
