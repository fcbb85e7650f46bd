#include "Mdid/Mdid_ScrubEventPool.h"

#include "CFnd/Cmn_Assert.h"

#include <algorithm>
#include <functional>
#include <utility>

constinit Mdid_ScrubEvent* Mdid_ScrubEventPool::sFreeP = nullptr;
constinit Mdid_ScrubEventPool* Mdid_ScrubEventPool::sBlocksP = nullptr;

Mdid_ScrubEventPool::Mdid_ScrubEventPool(bool iIsOwned) : mNextBlockP(std::exchange(sBlocksP, this)), mIsOwned(iIsOwned)
{
    // In this order, events that are taken in turn lie side by side.
    std::for_each(mEvents.rbegin(), mEvents.rend(), Push);
}

Mdid_ScrubEventPool::~Mdid_ScrubEventPool()
{
    Mdid_ScrubEventPool** blockPP = &sBlocksP;
    while (*blockPP != nullptr && *blockPP != this)
        blockPP = &(*blockPP)->mNextBlockP;
    if (*blockPP == this)
        *blockPP = mNextBlockP;

    Mdid_ScrubEvent** freePP = &sFreeP;
    while (*freePP != nullptr)
        if (Mdid_ScrubEvent*& nextP = (*freePP)->mPlace.mNextP; Holds(*freePP))
            *freePP = nextP;
        else
            freePP = &nextP;
}

Mdid_ScrubEvent* Mdid_ScrubEventPool::GetEvent()
{
    if (sFreeP == nullptr)
        sFreeP = (new Mdid_ScrubEventPool(true))->mEvents.data(); // it has pushed this one last
    Mdid_ScrubEvent* const eventP = std::exchange(sFreeP, sFreeP->mPlace.mNextP);
    eventP->mPlace.mPrevP = nullptr;
    eventP->mPlace.mNextP = nullptr;
    return eventP;
}

Mdid_ScrubEvent* Mdid_ScrubEventPool::ReleaseEvent(Mdid_ScrubEvent* ioEventP)
{
    if (ioEventP == nullptr)
        return nullptr;
    const bool isInUse = ioEventP->mPlace.mPrevP != ioEventP;
    if (!CMN_VERIFY(isInUse))
        return nullptr;

    Mdid_ScrubEvent* const nextP = ioEventP->mPlace.mNextP;
    Push(*ioEventP);
    return nextP;
}

void Mdid_ScrubEventPool::Free()
{
    sFreeP = nullptr;
    Mdid_ScrubEventPool* blockP = std::exchange(sBlocksP, nullptr);
    while (blockP != nullptr)
    {
        Mdid_ScrubEventPool* const nextP = std::exchange(blockP->mNextBlockP, nullptr);
        if (blockP->mIsOwned)
            delete blockP;
        blockP = nextP;
    }
}

void Mdid_ScrubEventPool::Push(Mdid_ScrubEvent& ioEvent)
{
    ioEvent.mPlace.mPrevP = &ioEvent;
    ioEvent.mPlace.mNextP = std::exchange(sFreeP, &ioEvent);
}

bool Mdid_ScrubEventPool::Holds(const Mdid_ScrubEvent* iEventP) const
{
    const std::less<const Mdid_ScrubEvent*> isBelow;
    return !isBelow(iEventP, mEvents.data()) && isBelow(iEventP, mEvents.data() + mEvents.size());
}
