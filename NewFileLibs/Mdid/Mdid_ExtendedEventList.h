#pragma once

#include "CFnd/Cmn_PolyVector.h"
#include "Mdid/Mdid_DisplayItem.h"
#include "Mdid/Mdid_ExtendedEvent.h"

#include <cstddef>
#include <initializer_list>
#include <memory>

// Extended events in the order in which they were added.
class MDID_EXPORT Mdid_ExtendedEventList : public Cmn_PolyVector<Mdid_ExtendedEvent>
{
public:
    Mdid_ExtendedEventList() = default;
    explicit Mdid_ExtendedEventList(std::size_t iCount);
    Mdid_ExtendedEventList(std::initializer_list<Mdid_ExtendedEvent> iEvents);
};

// Display items in the order in which they were added.
class MDID_EXPORT Mdid_DisplayItemList : public Cmn_PolyVector<Mdid_DisplayItem>
{
public:
    // The first item whose displayed time is not less than iTime. Binary search: the list must be in playback order.
    const_iterator FindTime(Time_Typed iTime) const;
};

// How display item lists are held by several owners.
using Mdid_DisplayItemListPtr = std::shared_ptr<Mdid_DisplayItemList>;

// What every range query fills: a list of timed events, of extended events or of display items.
//
// Made from a reference, it fills the caller's list, which must outlive it; made from an rvalue, a list of its own.
// A copy owns a copy of the list, wherever the original's is; a move takes over what the other had.
class MDID_EXPORT Mdid_EventListWrapper
{
public:
    explicit Mdid_EventListWrapper(Mdie_TimedEventList& ioList);
    explicit Mdid_EventListWrapper(Mdid_ExtendedEventList& ioList);
    explicit Mdid_EventListWrapper(Mdid_ExtendedEventList&& ioList);
    explicit Mdid_EventListWrapper(Mdid_DisplayItemList& ioList);
    explicit Mdid_EventListWrapper(Mdid_DisplayItemList* ioListP); // with null, Deliver reports
    explicit Mdid_EventListWrapper(Mdid_DisplayItemList&& ioList);
    Mdid_EventListWrapper(const Mdid_EventListWrapper& iOther);
    Mdid_EventListWrapper(Mdid_EventListWrapper&& ioOther) noexcept; // leaves a wrapper without list: size 0
    Mdid_EventListWrapper& operator=(const Mdid_EventListWrapper& iOther);
    Mdid_EventListWrapper& operator=(Mdid_EventListWrapper&& ioOther) noexcept;
    ~Mdid_EventListWrapper();

    std::size_t size() const;

    // iIndex: below size(). Without a list of the kind that they need, or a last item, they report, and return a
    // default element.
    const Mdie_TimedEvent& operator[](std::size_t iIndex) const; // timed or extended list
    const Mdid_ExtendedEvent& GetExtendedEvent(std::size_t iIndex) const;
    const Mdid_DisplayItem& GetDisplayItem(std::size_t iIndex) const;
    const Mdid_DisplayItem& LastDisplayItem() const;

    bool IsExtended() const { return mExtListP != nullptr; }
    bool IsDisplayList() const { return mDisplayItemListP != nullptr; }

    // Null when the wrapper is of another kind.
    Mdie_TimedEventList* GetTimedEventList() const { return mTimedListP; }
    Mdid_ExtendedEventList* GetExtendedEventList() const { return mExtListP; }
    Mdid_DisplayItemList* GetDisplayList() const { return mDisplayItemListP; }

    // Brings the elements from iFromIndex on into playback order; equal ones stay in theirs. Linear when nothing has to
    // move. Nothing when iFromIndex >= size().
    void sort(std::size_t iFromIndex);

    // How a query delivers an event. To a display item list as an item built of it (a note as a note), with iFlag and
    // iNumber; otherwise to the extended list and to the timed list, whichever there are. Without any: reported.
    void Deliver(const Mdid_ExtendedEvent& iEvent, bool iFlag, int iNumber);

private:
    Mdie_TimedEventList* mTimedListP = nullptr;
    Mdid_ExtendedEventList* mExtListP = nullptr;
    Mdid_DisplayItemList* mDisplayItemListP = nullptr;
    std::unique_ptr<Mdie_TimedEventList> mOwnTimedListP; // what the pointers above point to, when it is ours
    std::unique_ptr<Mdid_ExtendedEventList> mOwnExtListP;
    std::unique_ptr<Mdid_DisplayItemList> mOwnDisplayItemListP;
};

// An event as a display item: types 3 and 22 and whatever carries a note extension as a note, all else plainly.
MDID_EXPORT Mdid_DisplayItem Mdid_MakeDisplayItem(const Mdid_ExtendedEvent& iEvent, bool iFlag, int iNumber);
