#pragma once

#include "CFnd/Cmn_PolyVector.h"
#include "Mdid/Mdid_Event.h"

#include <span>

class Mem2_MasterAllocator;

// What both views of a system-exclusive event have in common: types 14, 15 and 16.
class MDID_EXPORT Mdid_SysexEventBase : public Mdid_Event
{
public:
    // Makes this a sysex event with that body: iLength bytes without F0 and F7. Up to 14 bytes are held inside the
    // event and never allocate. iData may point into this event. A body of less than one byte is empty.
    // Null event when there is no memory for the block; std::bad_alloc when there is none for its bytes.
    void SetData(int iLength, const unsigned char* iData);

    // Where a message that came in pieces begins and ends. A complete message inside the event (14) is both.
    bool IsBeginningPacket() const;
    bool IsEndingPacket() const;
    bool IsComplete() const;

    // The shared bytes of a long sysex, F0 and F7 included. Any other event is reported as an assertion: null.
    unsigned char* GetDirectDataPtr() const;

    // The bytes inside the event (14, 16), null for any other.
    const unsigned char* GetInternalDataPtr() const;

    // Becomes a null event. A block without other owners is freed at once, not after a delay: only for an event that
    // no playback thread can have seen.
    void ReleaseUnseen();

protected:
    using Mdid_Event::Mdid_Event;

    using Bytes = std::span<const unsigned char>;

    // The bytes as stored: for a short sysex its body, else the message or fragment as it stands.
    Bytes GetStoredBytes() const;

    // Without a leading F0 and a trailing F7, where there are such.
    Bytes GetBody() const;

    void SetInline(Type iType, Bytes iBytes);
    void SetBlock(Mdie_SysexDataBase* iBlockP);

private:
    friend class Mdid_Event;

    // SetData with a body of iLength bytes that comes from a stream.
    void ReadBody(Sys_TypedInStream& ioStream, int iLength);

    template <class Fill>
    void SetFramed(std::size_t iLength, Fill iFill);

    // By length, then by the bytes as stored.
    bool IsShorterOrLess(const Mdid_SysexEventBase& iOther) const;
};

// A system-exclusive message as an editor sees it: its body, without F0 and F7.
class MDID_EXPORT Mdid_SysexEvent : public Mdid_SysexEventBase
{
public:
    // As SetData.
    Mdid_SysexEvent(int iLength, const unsigned char* iData);
    explicit Mdid_SysexEvent(const Cmn_PolyVector<unsigned char>* iDataP);

    // Bytes of the body.
    int GetLength() const;

    // Copies the bytes iFrom to iTo of the body, both included, to oBuffer[0] on; what lies outside is not written.
    void GetData(unsigned char* oBuffer, int iFrom, int iTo) const;
};

// A system-exclusive message, or a piece of one, as it travels: with F0 and F7 where it has them.
class MDID_EXPORT Mdid_SysexPacketEvent : public Mdid_SysexEventBase
{
public:
    // Raw bytes as received. A short complete message becomes an ordinary short sysex (14), another short fragment is
    // held as it is (16); more than 14 bytes go into a block of the pool (15), or leave a null event when the pool is
    // exhausted. Input thread; no heap.
    Mdid_SysexPacketEvent(int iLength, const unsigned char* iData, Mem2_MasterAllocator* iAllocatorP);

    enum EInitWithBlock
    {
        InitWithBlock
    };

    // Wraps iBlockP, iLength bytes from the pool, and takes it over. When the pool is exhausted the event is null and
    // the block stays the caller's.
    Mdid_SysexPacketEvent(EInitWithBlock, unsigned char* iBlockP, int iLength, Mem2_MasterAllocator* iAllocatorP);

    // Bytes of the message as it is sent.
    int GetLength() const;

    // Copies the bytes iFrom to iTo of the message, both included, to oBuffer[0] on; what lies outside is not written.
    void GetData(unsigned char* oBuffer, int iFrom, int iTo) const;
};

inline Mdid_SysexEvent& Mdid_Event::AsSysex()
{
    return As<Mdid_SysexEvent>();
}
inline const Mdid_SysexEvent& Mdid_Event::AsSysex() const
{
    return As<Mdid_SysexEvent>();
}
inline Mdid_SysexPacketEvent& Mdid_Event::AsSysexPacket()
{
    return As<Mdid_SysexPacketEvent>();
}
inline const Mdid_SysexPacketEvent& Mdid_Event::AsSysexPacket() const
{
    return As<Mdid_SysexPacketEvent>();
}
