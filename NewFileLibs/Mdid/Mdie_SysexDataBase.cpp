#include "Mdid/Mdie_SysexDataBase.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Mem2_MasterAllocator.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <algorithm>
#include <new>
#include <utility>

Mdie_SysexDataBase::Mdie_SysexDataBase(int iLength, unsigned char* iDataP)
    : mLength(std::max(iLength, 0)),
      mDataP(iDataP)
{
    if (!CMN_VERIFY(mDataP != 0))
        mLength = 0;
}

Mdie_SysexDataBase::~Mdie_SysexDataBase() = default;

void Mdie_SysexDataBase::ReleaseUnseen()
{
    if (mReferenceCount.Decrement() == 0)
        DisposeUnseen();
}

Mdie_SysexData* Mdie_SysexData::New(int iLength, std::unique_ptr<unsigned char[]> iBuffer)
{
    return new (std::nothrow) Mdie_SysexData(iLength, std::move(iBuffer));
}

Mdie_SysexData::Mdie_SysexData(int iLength, std::unique_ptr<unsigned char[]> iBuffer)
    : Mdie_SysexDataBase(iLength, iBuffer.get()),
      mBuffer(std::move(iBuffer))
{
}

Mdie_SysexData::~Mdie_SysexData() = default;

void Mdie_SysexData::Dispose()
{
    DelayedDelete();
}

void Mdie_SysexData::DisposeUnseen()
{
    delete this;
}

Mdie_SysexDataRT* Mdie_SysexDataRT::New(int iLength, unsigned char* iDataP, Mem2_MasterAllocator* iAllocatorP)
{
    constexpr int kSize = sizeof(Mdie_SysexDataRT);
    void* const placeP = iAllocatorP->Alloc(kSize, nullptr, kMdid_AllocationTag);
    PSUTIL_TRACE(kTraceSysexMemory, "Mdie_SysexDataRT::New %p %d", placeP, kSize);
    return placeP != nullptr ? new (placeP) Mdie_SysexDataRT(iLength, iDataP, iAllocatorP) : nullptr;
}

Mdie_SysexDataRT::Mdie_SysexDataRT(int iLength, unsigned char* iDataP, Mem2_MasterAllocator* iAllocatorP)
    : Mdie_SysexDataBase(iLength, iDataP),
      mAllocatorP(iAllocatorP)
{
}

Mdie_SysexDataRT::~Mdie_SysexDataRT()
{
    PSUTIL_TRACE(kTraceSysexMemory, "Mdie_SysexDataRT free %p", static_cast<void*>(GetDataPtr()));
    mAllocatorP->Free(GetDataPtr(), nullptr, kMdid_AllocationTag);
}

void Mdie_SysexDataRT::Dispose()
{
    Mem2_MasterAllocator* const allocatorP = mAllocatorP;
    this->~Mdie_SysexDataRT();
    allocatorP->Free(this, nullptr, kMdid_AllocationTag);
}

// No reader waits for a delayed deletion here.
void Mdie_SysexDataRT::DisposeUnseen()
{
    Dispose();
}
