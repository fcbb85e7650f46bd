#include "Mdid/Mdid_SysexEvent.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Sys_TypedStream.h"
#include "MFnd/Mem2_MasterAllocator.h"
#include "Mdid/Mdi_Status.h"
#include "Mdid/Mdie_SysexDataBase.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace
{

using Bytes = std::span<const unsigned char>;

Bytes AsBytes(int iLength, const unsigned char* iData)
{
    return iLength > 0 ? Bytes(iData, static_cast<std::size_t>(iLength)) : Bytes();
}

bool BeginsSysex(Bytes iBytes)
{
    return !iBytes.empty() && iBytes.front() == Mdi_Status::kSysexStart;
}

bool EndsSysex(Bytes iBytes)
{
    return !iBytes.empty() && iBytes.back() == Mdi_Status::kSysexEnd;
}

// Copies the part of iBytes, which stand at iOffset of a message, that lies within iFrom to iTo.
void CopySlice(Bytes iBytes, int iOffset, int iFrom, int iTo, unsigned char* oBuffer)
{
    const std::int64_t first = std::max<std::int64_t>(iFrom, iOffset);
    const std::int64_t end = std::min<std::int64_t>(std::int64_t{iTo} + 1, iOffset + std::ssize(iBytes));
    if (first < end)
        std::copy_n(iBytes.begin() + (first - iOffset), end - first, oBuffer + (first - iFrom));
}

} // namespace

void Mdid_SysexEventBase::SetData(int iLength, const unsigned char* iData)
{
    const Bytes body = AsBytes(iLength, iData);
    if (body.size() <= kMaxInlineSysex)
    {
        SetInline(kSysex, body);
        return;
    }
    SetFramed(body.size(), [body](unsigned char* oBytes) { std::ranges::copy(body, oBytes); });
}

void Mdid_SysexEventBase::ReadBody(Sys_TypedInStream& ioStream, int iLength)
{
    const auto length = static_cast<std::size_t>(iLength);
    if (length > kMaxInlineSysex)
    {
        SetFramed(length, [&](unsigned char* oBytes) { ioStream.ReadBlock(oBytes, length); });
        return;
    }
    unsigned char body[kMaxInlineSysex];
    ioStream.ReadBlock(body, length);
    SetInline(kSysex, {body, length});
}

// iFill writes the iLength bytes between F0 and F7.
template <class Fill>
void Mdid_SysexEventBase::SetFramed(std::size_t iLength, Fill iFill)
{
    if (iLength > std::numeric_limits<int>::max() - 2u)
        throw std::bad_alloc();
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[iLength + 2]);
    buffer[0] = Mdi_Status::kSysexStart;
    iFill(buffer.get() + 1);
    buffer[iLength + 1] = Mdi_Status::kSysexEnd;
    SetBlock(Mdie_SysexData::New(static_cast<int>(iLength + 2), std::move(buffer)));
}

bool Mdid_SysexEventBase::IsBeginningPacket() const
{
    const Bytes bytes = GetStoredBytes();
    switch (GetType())
    {
    case kSysex:
        return true;
    case kLongSysex:
        return BeginsSysex(bytes) && !EndsSysex(bytes);
    case kSysexPacket:
        return BeginsSysex(bytes);
    default:
        return false;
    }
}

bool Mdid_SysexEventBase::IsEndingPacket() const
{
    const Bytes bytes = GetStoredBytes();
    switch (GetType())
    {
    case kSysex:
        return true;
    case kLongSysex:
        return EndsSysex(bytes) && !BeginsSysex(bytes);
    case kSysexPacket:
        return EndsSysex(bytes);
    default:
        return false;
    }
}

bool Mdid_SysexEventBase::IsComplete() const
{
    const Bytes bytes = GetStoredBytes();
    switch (GetType())
    {
    case kSysex:
        return true;
    case kLongSysex:
    case kSysexPacket:
        return BeginsSysex(bytes) && EndsSysex(bytes);
    default:
        return false;
    }
}

unsigned char* Mdid_SysexEventBase::GetDirectDataPtr() const
{
    if (!CMN_VERIFY(mU.mBase.mType == kLongSysex))
        return nullptr;
    return mU.mLongSysex.mBlockP->GetDataPtr();
}

const unsigned char* Mdid_SysexEventBase::GetInternalDataPtr() const
{
    return GetType() == kSysex || GetType() == kSysexPacket ? mU.mSysex.mData : nullptr;
}

void Mdid_SysexEventBase::ReleaseUnseen()
{
    if (OwnsBlock())
        mU.mLongSysex.mBlockP->ReleaseUnseen();
    mU.mBase.mType = kNullEvent;
}

Mdid_SysexEventBase::Bytes Mdid_SysexEventBase::GetStoredBytes() const
{
    switch (GetType())
    {
    case kSysex:
    case kSysexPacket:
        return AsBytes(mU.mSysex.mLength, mU.mSysex.mData);
    case kLongSysex:
        return mU.mLongSysex.mBlockP->GetBytes();
    default:
        return {};
    }
}

Mdid_SysexEventBase::Bytes Mdid_SysexEventBase::GetBody() const
{
    Bytes bytes = GetStoredBytes();
    if (GetType() == kSysex)
        return bytes;
    if (BeginsSysex(bytes))
        bytes = bytes.subspan(1);
    if (EndsSysex(bytes))
        bytes = bytes.first(bytes.size() - 1);
    return bytes;
}

bool Mdid_SysexEventBase::IsShorterOrLess(const Mdid_SysexEventBase& iOther) const
{
    const Bytes a = GetStoredBytes();
    const Bytes b = iOther.GetStoredBytes();
    return a.size() != b.size() ? a.size() < b.size() : std::ranges::lexicographical_compare(a, b);
}

// The bytes may lie in this event's own block, so the new value is whole before the old one goes.
void Mdid_SysexEventBase::SetInline(Type iType, Bytes iBytes)
{
    Mdid_SysexEventBase event(iType, 0);
    event.mU.mSysex.mLength = static_cast<signed char>(iBytes.size());
    std::ranges::copy(iBytes, event.mU.mSysex.mData);
    Mdid_Event::operator=(std::move(event));
}

void Mdid_SysexEventBase::SetBlock(Mdie_SysexDataBase* iBlockP)
{
    Mdid_SysexEventBase event(iBlockP != nullptr ? kLongSysex : kNullEvent, 0);
    event.mU.mLongSysex.mBlockP = iBlockP;
    Mdid_Event::operator=(std::move(event));
}

Mdid_SysexEvent::Mdid_SysexEvent(int iLength, const unsigned char* iData) : Mdid_SysexEventBase(kNullEvent, 0)
{
    SetData(iLength, iData);
}

Mdid_SysexEvent::Mdid_SysexEvent(const Cmn_PolyVector<unsigned char>* iDataP) : Mdid_SysexEventBase(kNullEvent, 0)
{
    if (iDataP->size() > std::numeric_limits<int>::max() - 2u)
        throw std::bad_alloc();
    SetData(static_cast<int>(iDataP->size()), iDataP->data());
}

int Mdid_SysexEvent::GetLength() const
{
    return static_cast<int>(GetBody().size());
}

void Mdid_SysexEvent::GetData(unsigned char* oBuffer, int iFrom, int iTo) const
{
    CopySlice(GetBody(), 0, iFrom, iTo, oBuffer);
}

Mdid_SysexPacketEvent::Mdid_SysexPacketEvent(int iLength, const unsigned char* iData, Mem2_MasterAllocator* iAllocatorP)
    : Mdid_SysexEventBase(kNullEvent, 0)
{
    const Bytes bytes = AsBytes(iLength, iData);
    if (bytes.size() >= 2 && bytes.size() - 2 <= kMaxInlineSysex && BeginsSysex(bytes) && EndsSysex(bytes))
    {
        SetInline(kSysex, bytes.subspan(1, bytes.size() - 2));
        return;
    }
    if (bytes.size() <= kMaxInlineSysex)
    {
        SetInline(kSysexPacket, bytes);
        return;
    }

    auto* const dataP = static_cast<unsigned char*>(iAllocatorP->Alloc(bytes.size(), nullptr, kMdid_AllocationTag));
    PSUTIL_TRACE(kTraceSysexMemory, "Mdid_SysexPacketEvent alloc %p %d", static_cast<void*>(dataP), iLength);
    if (dataP == nullptr)
        return;
    SetBlock(Mdie_SysexDataRT::New(iLength, dataP, iAllocatorP));
    if (OwnsBlock())
    {
        std::ranges::copy(bytes, dataP);
        return;
    }
    PSUTIL_TRACE(kTraceSysexMemory, "Mdid_SysexPacketEvent free %p", static_cast<void*>(dataP));
    iAllocatorP->Free(dataP, nullptr, kMdid_AllocationTag);
}

Mdid_SysexPacketEvent::Mdid_SysexPacketEvent(EInitWithBlock, unsigned char* iBlockP, int iLength,
                                             Mem2_MasterAllocator* iAllocatorP)
    : Mdid_SysexEventBase(kNullEvent, 0)
{
    SetBlock(Mdie_SysexDataRT::New(iLength, iBlockP, iAllocatorP));
}

int Mdid_SysexPacketEvent::GetLength() const
{
    const int stored = static_cast<int>(GetStoredBytes().size());
    return GetType() == kSysex ? stored + 2 : stored;
}

void Mdid_SysexPacketEvent::GetData(unsigned char* oBuffer, int iFrom, int iTo) const
{
    const Bytes stored = GetStoredBytes();
    if (GetType() != kSysex)
    {
        CopySlice(stored, 0, iFrom, iTo, oBuffer);
        return;
    }
    CopySlice({&Mdi_Status::kSysexStart, 1}, 0, iFrom, iTo, oBuffer);
    CopySlice(stored, 1, iFrom, iTo, oBuffer);
    CopySlice({&Mdi_Status::kSysexEnd, 1}, static_cast<int>(stored.size()) + 1, iFrom, iTo, oBuffer);
}
