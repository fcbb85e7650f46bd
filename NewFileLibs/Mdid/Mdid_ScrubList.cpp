#include "Mdid/Mdid_ScrubList.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <memory>
#include <utility>

namespace
{

struct Release
{
    void operator()(Mdid_ScrubEvent* ioEventP) const { Mdid_ScrubEventPool::ReleaseEvent(ioEventP); }
};

std::unique_ptr<Mdid_ScrubEvent, Release> MakeEvent(const Mdid_ScrubEvent& iEvent)
{
    std::unique_ptr<Mdid_ScrubEvent, Release> eventP(Mdid_ScrubEventPool::GetEvent());
    *eventP = iEvent;
    return eventP;
}

} // namespace

// Delegates, so that the events are returned when there is no memory for all of them.
Mdid_ScrubList::Mdid_ScrubList(const Mdid_ScrubList& iOther) : Mdid_ScrubList()
{
    for (const Mdid_ScrubEvent* eventP = iOther.mHeadP; eventP != nullptr; eventP = eventP->mPlace.mNextP)
    {
        Link(MakeEvent(*eventP).release(), nullptr);
        if (eventP == iOther.mCursorP)
            mCursorP = mTailP;
    }
    mPosition = iOther.mPosition;
}

Mdid_ScrubList& Mdid_ScrubList::operator=(const Mdid_ScrubList& iOther)
{
    Mdid_ScrubList copy(iOther);
    std::swap(mHeadP, copy.mHeadP);
    std::swap(mTailP, copy.mTailP);
    mCursorP = copy.mCursorP;
    mPosition = copy.mPosition;
    return *this;
}

Mdid_ScrubList::~Mdid_ScrubList()
{
    while (mHeadP != nullptr)
        mHeadP = Mdid_ScrubEventPool::ReleaseEvent(mHeadP);
}

void Mdid_ScrubList::AddNote(const Mdie_TimedEvent& iNote, bool iFromEnd)
{
    if (!CMN_VERIFY(iNote.IsNoteWithDurationEvent()))
        return;

    const auto& note = iNote.GetEvent().As<Mdid_NoteWithDurationBase>();
    const auto velocity = static_cast<std::uint8_t>(note.GetVelocity());
    const auto offVelocity = static_cast<std::uint8_t>(note.GetOffVelocity());
    const std::int64_t time = iNote.GetTime().AsInt64();
    const Mdid_ScrubEvent start(time, Mdid_ScrubEvent::kNoteStart, note.GetPitch(), velocity, offVelocity);
    // Kept: counts are added, whatever their kinds are.
    const Mdid_ScrubEvent end(time + note.GetDuration().AsInt64(), Mdid_ScrubEvent::kNoteEnd, note.GetPitch(), velocity,
                              offVelocity);
    if (end.mTime < start.mTime)
        AddPair(end, start, iFromEnd);
    else
        AddPair(start, end, iFromEnd);
}

void Mdid_ScrubList::AddPitchBend(const Mdie_TimedEvent& iBend, short iValue, bool iFromEnd)
{
    if (!CMN_VERIFY(iBend.GetEvent().GetType() == Mdid_Event::kPitchBend))
        return;

    const std::int64_t time = iBend.GetTime().AsInt64();
    const std::int16_t ownValue = iBend.GetEvent().As<Mdid_PitchBendEvent>().GetBendValue();
    AddPair({time, Mdid_ScrubEvent::kBend, iValue}, {time, Mdid_ScrubEvent::kBendBack, ownValue}, iFromEnd);
}

Mdid_ScrubEvent* Mdid_ScrubList::MoveTowards(Time_Typed iTime)
{
    const std::int64_t target = iTime.AsInt64();
    if (mCursorP != nullptr && !EventIsAfterTime(*mCursorP, target))
    {
        Mdid_ScrubEvent* const passedP = std::exchange(mCursorP, mCursorP->mPlace.mNextP);
        mPosition = passedP->mTime;
        return passedP;
    }

    Mdid_ScrubEvent* const previousP = mCursorP != nullptr ? mCursorP->mPlace.mPrevP : mTailP;
    if (previousP != nullptr && EventIsAfterTime(*previousP, target))
    {
        mCursorP = previousP;
        mPosition = previousP->mTime;
        return previousP;
    }

    mPosition = target;
    return nullptr;
}

bool Mdid_ScrubList::EventIsAfterTime(const Mdid_ScrubEvent& iEvent, std::int64_t iPosition)
{
    return iEvent.mTime != iPosition ? iEvent.mTime > iPosition : iEvent.mKind >= Mdid_ScrubEvent::kBendBack;
}

void Mdid_ScrubList::AddPair(const Mdid_ScrubEvent& iEarlier, const Mdid_ScrubEvent& iLater, bool iFromEnd)
{
    auto earlierP = MakeEvent(iEarlier);
    auto laterP = MakeEvent(iLater);
    if (mHeadP == nullptr)
    {
        // Kept: a note without length starts before it ends here, and ends before it starts in a list that holds
        // events.
        Insert(earlierP.release(), nullptr);
        Insert(laterP.release(), nullptr);
    }
    else if (iFromEnd)
    {
        InsertBefore(mTailP, laterP.release());
        InsertBefore(mTailP, earlierP.release());
    }
    else
    {
        InsertAfter(mHeadP, earlierP.release());
        InsertAfter(mHeadP, laterP.release());
    }
}

void Mdid_ScrubList::InsertAfter(Mdid_ScrubEvent* iStartP, Mdid_ScrubEvent* ioEventP)
{
    Mdid_ScrubEvent* nextP = iStartP;
    while (nextP != nullptr && nextP->GoesBefore(*ioEventP))
        nextP = nextP->mPlace.mNextP;
    Insert(ioEventP, nextP);
}

void Mdid_ScrubList::InsertBefore(Mdid_ScrubEvent* iStartP, Mdid_ScrubEvent* ioEventP)
{
    Mdid_ScrubEvent* previousP = iStartP;
    while (previousP != nullptr && ioEventP->GoesBefore(*previousP))
        previousP = previousP->mPlace.mPrevP;
    Insert(ioEventP, previousP != nullptr ? previousP->mPlace.mNextP : mHeadP);
}

// Kept: a bend at the position, such as one at 0 in a fresh list, counts as passed, its bend back does not.
void Mdid_ScrubList::Insert(Mdid_ScrubEvent* ioEventP, Mdid_ScrubEvent* iNextP)
{
    Link(ioEventP, iNextP);
    if (iNextP == mCursorP && EventIsAfterTime(*ioEventP, mPosition))
        mCursorP = ioEventP;
}

// Null stands for the end of the list.
void Mdid_ScrubList::Link(Mdid_ScrubEvent* ioEventP, Mdid_ScrubEvent* iNextP)
{
    Mdid_ScrubEvent* const previousP = iNextP != nullptr ? iNextP->mPlace.mPrevP : mTailP;
    ioEventP->mPlace.mPrevP = previousP;
    ioEventP->mPlace.mNextP = iNextP;
    (previousP != nullptr ? previousP->mPlace.mNextP : mHeadP) = ioEventP;
    (iNextP != nullptr ? iNextP->mPlace.mPrevP : mTailP) = ioEventP;
}
