#include "Mdid/Mdid_PerNoteControllerList.h"

#include "Mdid/Mdid_Messages.h"

#include <algorithm>

namespace
{

// The lists of one note are short, but hostile data makes long ones.
template <class Streams>
auto LowerBound(Streams& iStreams, const Mdie_SubStream& iKey)
{
    return std::ranges::lower_bound(iStreams, iKey, std::less(), &Mdid_PerNoteDataStream::GetSubStream);
}

} // namespace

Mdid_PerNoteDataStream::Mdid_PerNoteDataStream(const Mdie_SubStream& iSubStream, bool iSnapToCoarseTicks)
    : Mdid_ContinuousDataStreamCore(iSnapToCoarseTicks)
{
    SetSubStream(iSubStream);
}

Mdid_PerNoteDataStreamList::iterator Mdid_PerNoteDataStreamList::FindStream(const Mdie_SubStream& iSubStream)
{
    return LowerBound(mStreams, iSubStream);
}

Mdid_PerNoteDataStreamList::const_iterator
Mdid_PerNoteDataStreamList::FindStream(const Mdie_SubStream& iSubStream) const
{
    return LowerBound(mStreams, iSubStream);
}

Mdid_PerNoteDataStream* Mdid_PerNoteDataStreamList::InsertStream(const Mdie_SubStream& iSubStream,
                                                                 bool iSnapToCoarseTicks)
{
    if (!iSubStream.IsLane())
        Mdid_ThrowMessage(201); // "bad subtype encountered"
    const auto i = FindStream(iSubStream);
    if (i != end() && i->GetSubStream() == iSubStream)
        Mdid_ThrowMessage(101); // "bad data encountered: stream not unique"
    return &*mStreams.emplace(i, iSubStream, iSnapToCoarseTicks);
}

Mdid_PerNoteControllerList::Mdid_PerNoteControllerList(const Mdid_PerNoteDataStreamList& iStreams)
    : Mdid_PerNoteDataStreamList(iStreams)
{
}

Mdid_PerNoteControllerList::~Mdid_PerNoteControllerList() = default;

bool Mdid_PerNoteControllerList::IsEqualTo(const Mdid_PerNoteControllerListBase& iOther) const
{
    const auto* const otherP = dynamic_cast<const Mdid_PerNoteControllerList*>(&iOther);
    return otherP != nullptr && std::ranges::equal(*this, *otherP);
}

void Mdid_PerNoteControllerList::Release()
{
    DelayedDelete();
}
