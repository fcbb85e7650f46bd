#pragma once

#include "Mdid/Mdid_Export.h"

#include <array>
#include <cstdint>

// What a scrub list emits: the start or the end of a note, or one side of a change of the pitch bend.
struct MDID_EXPORT Mdid_ScrubEvent
{
    // At one time, events are passed in this order.
    enum EKind : int
    {
        kNoteEnd = 0,
        kBend = 1,     // to the value
        kBendBack = 2, // to the value of the bend event itself
        kNoteStart = 3
    };

    Mdid_ScrubEvent() = default;
    Mdid_ScrubEvent(std::int64_t iTime, EKind iKind, std::int16_t iValue, std::uint8_t iVelocity = 0,
                    std::uint8_t iOffVelocity = 0)
        : mTime(iTime),
          mKind(iKind),
          mValue(iValue),
          mVelocity(iVelocity),
          mOffVelocity(iOffVelocity)
    {
    }

    // By time, then by kind.
    bool GoesBefore(const Mdid_ScrubEvent& iOther) const
    {
        return mTime != iOther.mTime ? mTime < iOther.mTime : mKind < iOther.mKind;
    }

    std::int64_t mTime = 0; // a count, of the kind that all times of its list have
    EKind mKind = kNoteEnd;
    std::int16_t mValue = 0;    // of a note the pitch, otherwise the bend
    std::uint8_t mVelocity = 0; // of notes, as is the next one
    std::uint8_t mOffVelocity = 0;

private:
    friend class Mdid_ScrubEventPool;
    friend class Mdid_ScrubList;

    // A place is not copied: a copy stands nowhere, and what is assigned to stays where it is.
    struct Place
    {
        Place() = default;
        Place(const Place&) {}
        Place& operator=(const Place&) { return *this; } // NOLINT(bugprone-unhandled-self-assignment): assigns nothing

        Mdid_ScrubEvent* mPrevP = nullptr; // of a free event the event itself
        Mdid_ScrubEvent* mNextP = nullptr; // also links the free events
    };
    Place mPlace;
};

static_assert(sizeof(Mdid_ScrubEvent) == 32, "two make a cache line");

// The events of all scrub lists of the process, so that scrubbing gives nothing back to the general heap and seldom
// takes from it. A pool object is a block of events; more are added as they are needed.
//
// Threads: the one that scrubs; nothing is locked.
class MDID_EXPORT Mdid_ScrubEventPool
{
public:
    static constexpr int kNumEvents = 1024; // in a block

    // Adds its own events to those of the process: what a host makes before it scrubs spares the first block.
    // It must outlive every list that may have got one of them, and then leaves with its events.
    Mdid_ScrubEventPool() : Mdid_ScrubEventPool(false) {}
    ~Mdid_ScrubEventPool();
    Mdid_ScrubEventPool(const Mdid_ScrubEventPool&) = delete;
    Mdid_ScrubEventPool& operator=(const Mdid_ScrubEventPool&) = delete;

    // An event of any content, never null, for the caller to release. Constant time, but for a new block when none is
    // free; throws std::bad_alloc when there is no memory for one, and everything is as it was.
    static Mdid_ScrubEvent* GetEvent();

    // Takes an event back and returns the one that followed it in its list, so that a chain is released while it is
    // walked. Null is ignored; an event that is free already is reported and ignored: both return null.
    static Mdid_ScrubEvent* ReleaseEvent(Mdid_ScrubEvent* ioEventP);

    // For shutdown, when no list holds events any more: deletes the blocks that GetEvent has made, and forgets those
    // of the host, which still owns them. The next GetEvent starts anew.
    static void Free();

private:
    explicit Mdid_ScrubEventPool(bool iIsOwned);

    static void Push(Mdid_ScrubEvent& ioEvent);

    bool Holds(const Mdid_ScrubEvent* iEventP) const;

    static Mdid_ScrubEvent* sFreeP;
    static Mdid_ScrubEventPool* sBlocksP;

    std::array<Mdid_ScrubEvent, kNumEvents> mEvents;
    Mdid_ScrubEventPool* mNextBlockP; // the one made before
    bool mIsOwned;                    // made by GetEvent
};
