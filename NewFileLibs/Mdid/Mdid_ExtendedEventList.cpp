#include "Mdid/Mdid_ExtendedEventList.h"

#include "CFnd/Cmn_Assert.h"

#include <algorithm>
#include <utility>

namespace
{

template <class List>
std::unique_ptr<List> CopyOf(const List* iListP)
{
    std::unique_ptr<List> copyP;
    if (iListP)
        copyP = std::make_unique<List>(*iListP);
    return copyP;
}

template <class List, class Ordering>
void SortFrom(List& ioList, std::size_t iFromIndex, Ordering iOrdering)
{
    const auto first = ioList.begin() + static_cast<std::ptrdiff_t>(iFromIndex);
    if (!std::is_sorted(first, ioList.end(), iOrdering))
        std::stable_sort(first, ioList.end(), iOrdering);
}

// What is returned where there is nothing to return.
template <class T>
const T& DefaultElement()
{
    static const T sDefault;
    return sDefault;
}

} // namespace

Mdid_ExtendedEventList::Mdid_ExtendedEventList(std::size_t iCount)
{
    reserve(iCount);
    while (size() < iCount)
        push_back(Mdid_ExtendedEvent());
}

Mdid_ExtendedEventList::Mdid_ExtendedEventList(std::initializer_list<Mdid_ExtendedEvent> iEvents)
{
    append({iEvents.begin(), iEvents.size()});
}

Mdid_DisplayItemList::const_iterator Mdid_DisplayItemList::FindTime(Time_Typed iTime) const
{
    return std::ranges::lower_bound(*this, iTime, {}, &Mdid_DisplayItem::GetDisplayedTime);
}

Mdid_EventListWrapper::Mdid_EventListWrapper(Mdie_TimedEventList& ioList) : mTimedListP(&ioList) {}

Mdid_EventListWrapper::Mdid_EventListWrapper(Mdid_ExtendedEventList& ioList) : mExtListP(&ioList) {}

Mdid_EventListWrapper::Mdid_EventListWrapper(Mdid_ExtendedEventList&& ioList)
    : mOwnExtListP(std::make_unique<Mdid_ExtendedEventList>(std::move(ioList)))
{
    mExtListP = mOwnExtListP.get();
}

Mdid_EventListWrapper::Mdid_EventListWrapper(Mdid_DisplayItemList& ioList) : mDisplayItemListP(&ioList) {}

Mdid_EventListWrapper::Mdid_EventListWrapper(Mdid_DisplayItemList* ioListP) : mDisplayItemListP(ioListP) {}

Mdid_EventListWrapper::Mdid_EventListWrapper(Mdid_DisplayItemList&& ioList)
    : mOwnDisplayItemListP(std::make_unique<Mdid_DisplayItemList>(std::move(ioList)))
{
    mDisplayItemListP = mOwnDisplayItemListP.get();
}

Mdid_EventListWrapper::Mdid_EventListWrapper(const Mdid_EventListWrapper& iOther)
    : mOwnTimedListP(CopyOf(iOther.mTimedListP)),
      mOwnExtListP(CopyOf(iOther.mExtListP)),
      mOwnDisplayItemListP(CopyOf(iOther.mDisplayItemListP))
{
    mTimedListP = mOwnTimedListP.get();
    mExtListP = mOwnExtListP.get();
    mDisplayItemListP = mOwnDisplayItemListP.get();
}

Mdid_EventListWrapper::Mdid_EventListWrapper(Mdid_EventListWrapper&& ioOther) noexcept
    : mTimedListP(std::exchange(ioOther.mTimedListP, nullptr)),
      mExtListP(std::exchange(ioOther.mExtListP, nullptr)),
      mDisplayItemListP(std::exchange(ioOther.mDisplayItemListP, nullptr)),
      mOwnTimedListP(std::move(ioOther.mOwnTimedListP)),
      mOwnExtListP(std::move(ioOther.mOwnExtListP)),
      mOwnDisplayItemListP(std::move(ioOther.mOwnDisplayItemListP))
{
}

Mdid_EventListWrapper& Mdid_EventListWrapper::operator=(const Mdid_EventListWrapper& iOther)
{
    return *this = Mdid_EventListWrapper(iOther);
}

Mdid_EventListWrapper& Mdid_EventListWrapper::operator=(Mdid_EventListWrapper&& ioOther) noexcept
{
    Mdid_EventListWrapper taken(std::move(ioOther));
    std::swap(mTimedListP, taken.mTimedListP);
    std::swap(mExtListP, taken.mExtListP);
    std::swap(mDisplayItemListP, taken.mDisplayItemListP);
    mOwnTimedListP.swap(taken.mOwnTimedListP);
    mOwnExtListP.swap(taken.mOwnExtListP);
    mOwnDisplayItemListP.swap(taken.mOwnDisplayItemListP);
    return *this;
}

Mdid_EventListWrapper::~Mdid_EventListWrapper() = default;

std::size_t Mdid_EventListWrapper::size() const
{
    if (mTimedListP)
        return mTimedListP->size();
    if (mExtListP)
        return mExtListP->size();
    return mDisplayItemListP ? mDisplayItemListP->size() : 0;
}

const Mdie_TimedEvent& Mdid_EventListWrapper::operator[](std::size_t iIndex) const
{
    if (!CMN_VERIFY(mTimedListP != nullptr || mExtListP != nullptr))
        return DefaultElement<Mdie_TimedEvent>();
    if (mTimedListP)
        return (*mTimedListP)[iIndex];
    return (*mExtListP)[iIndex];
}

const Mdid_ExtendedEvent& Mdid_EventListWrapper::GetExtendedEvent(std::size_t iIndex) const
{
    return CMN_VERIFY(mExtListP) ? (*mExtListP)[iIndex] : DefaultElement<Mdid_ExtendedEvent>();
}

const Mdid_DisplayItem& Mdid_EventListWrapper::GetDisplayItem(std::size_t iIndex) const
{
    return CMN_VERIFY(mDisplayItemListP) ? (*mDisplayItemListP)[iIndex] : DefaultElement<Mdid_DisplayItem>();
}

const Mdid_DisplayItem& Mdid_EventListWrapper::LastDisplayItem() const
{
    if (!CMN_VERIFY(mDisplayItemListP) || !CMN_VERIFY(!mDisplayItemListP->empty()))
        return DefaultElement<Mdid_DisplayItem>();
    return mDisplayItemListP->back();
}

void Mdid_EventListWrapper::sort(std::size_t iFromIndex)
{
    if (iFromIndex >= size())
        return;
    if (mTimedListP)
        SortFrom(*mTimedListP, iFromIndex, Mdie_TimedEvent::PlaybackOrdering);
    else if (mExtListP)
        SortFrom(*mExtListP, iFromIndex, Mdie_TimedEvent::PlaybackOrdering);
    else
        SortFrom(*mDisplayItemListP, iFromIndex, Mdid_DisplayItem::PlaybackOrdering);
}

void Mdid_EventListWrapper::Deliver(const Mdid_ExtendedEvent& iEvent, bool iFlag, int iNumber)
{
    if (mDisplayItemListP || (!mExtListP && !mTimedListP))
    {
        if (CMN_VERIFY(mDisplayItemListP))
            mDisplayItemListP->push_back(Mdid_MakeDisplayItem(iEvent, iFlag, iNumber));
        return;
    }
    if (mExtListP)
        mExtListP->push_back(iEvent);
    if (mTimedListP)
        mTimedListP->push_back(static_cast<const Mdie_TimedEvent&>(iEvent));
}

Mdid_DisplayItem Mdid_MakeDisplayItem(const Mdid_ExtendedEvent& iEvent, bool iFlag, int iNumber)
{
    if (!iEvent.IsNoteWithDurationEvent() && !iEvent.IsNoteWithDurationExtendedEvent())
        return {iEvent.GetTime(), iEvent, iEvent, iFlag, iNumber};
    const Mdid_NoteWithDurationExtendedEvent note =
        iEvent.IsNoteWithDurationExtendedEvent() ? iEvent.AsNote() : Mdid_NoteWithDurationExtendedEvent(iEvent);
    return {note, note, iFlag, iNumber};
}
