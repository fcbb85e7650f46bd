#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdid_ScrubEventPool.h"

class Mdie_TimedEvent;

// Note starts, note ends and changes of the pitch bend in order of time, and a position that is dragged over them in
// either direction. What each event sounds like, and how it is undone on the way back, is the host's.
//
// Times are plain counts: the host gives all of them, durations included, in one kind.
// Threads: the one that scrubs. Moving takes no memory and no lock.
class MDID_EXPORT Mdid_ScrubList
{
public:
    // Empty, at position 0.
    Mdid_ScrubList() = default;

    // A copy has events of its own, and the position. Linear; throws std::bad_alloc, and both lists are as they were.
    Mdid_ScrubList(const Mdid_ScrubList& iOther);
    Mdid_ScrubList& operator=(const Mdid_ScrubList& iOther);
    ~Mdid_ScrubList();

    // Both add two events, and look for their places backward from the end of the list, which is quick for what comes
    // late, or forward from its beginning: linear. Among events of one kind at one time, a new one stands behind the
    // others when it came from the end, otherwise before them.
    // What lies before the position, or is a note end or a bend at it, counts as passed: it is only emitted on the way
    // back.
    // Throw std::bad_alloc; list and pool are as they were then.

    // The start of a note (type 3 or 22) at its time, and its end, which lies before the start when the duration is
    // negative. What is no note is reported and adds nothing.
    void AddNote(const Mdie_TimedEvent& iNote, bool iFromEnd);

    // A bend to iValue, and back to the value of the event, both at its time. What is no pitch bend is reported and
    // adds nothing.
    void AddPitchBend(const Mdie_TimedEvent& iBend, short iValue, bool iFromEnd);

    // Moves by one event towards iTime, of which the count is used, and returns the event; null when none is left in
    // between, and the position is iTime then. Constant time.
    //
    // Note ends and bends are passed at their time, note starts and bends back only beyond it, in either direction: an
    // event that lies before iTime, or at it and is one of the former, was passed forward; any other backward.
    // The event belongs to the list and is only to be read, until the list is assigned to or goes.
    Mdid_ScrubEvent* MoveTowards(Time_Typed iTime);

private:
    static bool EventIsAfterTime(const Mdid_ScrubEvent& iEvent, std::int64_t iPosition);

    void AddPair(const Mdid_ScrubEvent& iEarlier, const Mdid_ScrubEvent& iLater, bool iFromEnd);
    void InsertAfter(Mdid_ScrubEvent* iStartP, Mdid_ScrubEvent* ioEventP);
    void InsertBefore(Mdid_ScrubEvent* iStartP, Mdid_ScrubEvent* ioEventP);
    void Insert(Mdid_ScrubEvent* ioEventP, Mdid_ScrubEvent* iNextP);
    void Link(Mdid_ScrubEvent* ioEventP, Mdid_ScrubEvent* iNextP);

    Mdid_ScrubEvent* mHeadP = nullptr;
    Mdid_ScrubEvent* mTailP = nullptr;
    Mdid_ScrubEvent* mCursorP = nullptr; // the next one forward of the position; null when that is past the last one
    std::int64_t mPosition = 0;
};
