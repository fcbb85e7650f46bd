#include "Mdid/Mdie_NoteInProgress.h"

#include "MFnd/Mem2_MasterAllocator.h"
#include "Mdid/Mdie_SysexDataBase.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <atomic>
#include <new>

namespace
{

constinit std::atomic<Mem2_MasterAllocator*> sAllocatorP{nullptr};

} // namespace

Mdie_NoteInProgress::Mdie_NoteInProgress(const Mdie_NoteInProgress& iOther) noexcept
{
    *this = iOther;
}

Mdie_NoteInProgress& Mdie_NoteInProgress::operator=(const Mdie_NoteInProgress& iOther) noexcept
{
    if (this == &iOther)
        return *this;
    mChannel = iOther.mChannel;
    mPitch = iOther.mPitch;
    mVelocity = iOther.mVelocity;
    mOffVelocity = iOther.mOffVelocity;
    mStartTime = iOther.mStartTime;
    mReleaseTime = iOther.mReleaseTime;
    mPerNoteControllersP = iOther.mPerNoteControllersP;
    return *this;
}

void Mdie_NoteInProgress::SetAllocator(Mem2_MasterAllocator* iAllocatorP) noexcept
{
    sAllocatorP.store(iAllocatorP, std::memory_order_release);
}

Mdie_NoteInProgress* Mdie_NoteInProgress::Alloc() noexcept
{
    static_assert(alignof(Mdie_NoteInProgress) <= Mem2_MasterAllocator::kAlignment);
    constexpr int kSize = sizeof(Mdie_NoteInProgress);
    Mem2_MasterAllocator* const allocatorP = sAllocatorP.load(std::memory_order_acquire);
    if (allocatorP == nullptr)
        return nullptr;
    void* const placeP = allocatorP->Alloc(kSize, nullptr, kMdid_AllocationTag);
    PSUTIL_TRACE(kTraceDiagnostics, "Mdie_NoteInProgress alloc %p %d", placeP, kSize);
    return placeP != nullptr ? new (placeP) Mdie_NoteInProgress : nullptr;
}

void Mdie_NoteInProgress::Free() noexcept
{
    PSUTIL_TRACE(kTraceDiagnostics, "Mdie_NoteInProgress free %p", static_cast<void*>(this));
    if (Mem2_MasterAllocator* const allocatorP = sAllocatorP.load(std::memory_order_acquire))
        allocatorP->Free(this, nullptr, kMdid_AllocationTag);
}
