#pragma once

#include "Mdid/Mdie_SubStream.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class Mdid_DisplayItemList;
class Mdid_EventListWrapper;
class Mdid_IRTProperties;
class Mdie_ChaseView;
class Sys_StdStreamHeaderReader;

// Receives the breakpoints that a query produces, ascending by time.
class MDID_EXPORT Mdid_ContinuousData_OutputIter
{
public:
    virtual ~Mdid_ContinuousData_OutputIter();
    virtual void PutValue(Time_Typed iTime, int iValue) = 0;

protected:
    Mdid_ContinuousData_OutputIter() = default;
    Mdid_ContinuousData_OutputIter(const Mdid_ContinuousData_OutputIter&) = default;
    Mdid_ContinuousData_OutputIter& operator=(const Mdid_ContinuousData_OutputIter&) = default;
};

// The data of one lane: breakpoints, ascending by time, each of which gives the value from its time on.
//
// Positions are found by binary search; a bulk edit inserts one block, merges and drops duplicates, linear in the
// lane. Ranges are half-open, and empty when they end before they start. An edit calls AboutToModify before its first
// change and, unless it says otherwise, only if there is one.
// Snapping: with the lane's flag set and tick times mattering, the bulk edits put tick times on the coarse grid.
// Threads: one at a time; nothing is locked.
class MDID_EXPORT Mdid_ContinuousDataStreamCore
{
public:
    struct Segment
    {
        Time_Typed mTime;
        std::int32_t mValue = 0;

        // Times of different kinds can be equal.
        bool operator==(const Segment&) const = default;

        // Nothing at all tells the two apart.
        bool IsIdenticalTo(const Segment& iOther) const
        {
            return mTime.GetPacked().GetRaw() == iOther.mTime.GetPacked().GetRaw() && mValue == iOther.mValue;
        }
    };

    Mdid_ContinuousDataStreamCore() = default;
    explicit Mdid_ContinuousDataStreamCore(bool iSnapToCoarseTicks) : mSnapToCoarseTicks(iSnapToCoarseTicks) {}
    Mdid_ContinuousDataStreamCore(const Mdid_ContinuousDataStreamCore&) = default;
    Mdid_ContinuousDataStreamCore(Mdid_ContinuousDataStreamCore&&) noexcept = default;
    Mdid_ContinuousDataStreamCore& operator=(const Mdid_ContinuousDataStreamCore&) = default;
    Mdid_ContinuousDataStreamCore& operator=(Mdid_ContinuousDataStreamCore&&) noexcept = default;
    virtual ~Mdid_ContinuousDataStreamCore();

    const Mdie_SubStream& GetSubStream() const { return mSubStream; }
    // Lists are ordered by it: not while the lane is in one.
    void SetSubStream(const Mdie_SubStream& iSubStream) { mSubStream = iSubStream; }
    bool GetSnapToCoarseTicks() const { return mSnapToCoarseTicks; }
    void SetSnapToCoarseTicks(bool iSnap) { mSnapToCoarseTicks = iSnap; }

    unsigned NumSegments() const { return static_cast<unsigned>(mSegments.size()); }
    bool IsEmpty() const { return mSegments.empty(); }
    const std::vector<Segment>& GetSegments() const { return mSegments; }

    // Sub-streams (as their == has it), flags, times and values.
    bool operator==(const Mdid_ContinuousDataStreamCore& iOther) const;

    // Sets the value from a time on: of the breakpoint that stands there (of several, the first; the rest goes), or of
    // a new one. Always calls AboutToModify; never snaps.
    void AddBreakpoint(Time_Typed iTime, int iValue);
    void AddEvent(const Mdie_TimedEvent& iEvent);

    // Removes every breakpoint from the event's time to one unit of its kind later. The value takes no part.
    void EraseEvent(const Mdie_TimedEvent& iEvent);
    void EraseRange(Time_Typed iStart, Time_Typed iEnd);
    void Clear();

    // Copies all of the source's breakpoints, shifted. Where times meet, the copied one stays and the one here goes.
    // The source may be this lane; null is no source. Kept: without an offset nothing is snapped.
    void AddAllFromStream(const Mdid_ContinuousDataStreamCore* iSrc, Time_TypedLength iOffset);

    // The same for [iStart, iEnd) of the source; here a zero offset snaps too.
    void AddFromStream(const Mdid_ContinuousDataStreamCore* iSrc, Time_Typed iStart, Time_Typed iEnd,
                       Time_TypedLength iOffset);

    // Removes what equals, in time and value, a breakpoint of the source in [iStart, iEnd) shifted by iOffset, not
    // snapped. Calls AboutToModify when the source has one in the range.
    void EraseFromStream(const Mdid_ContinuousDataStreamCore* iSrc, Time_Typed iStart, Time_Typed iEnd,
                         Time_TypedLength iOffset);

    // Takes over flag and breakpoints, not the sub-stream. Always calls AboutToModify, from itself too.
    void ReplaceData(const Mdid_ContinuousDataStreamCore* iSrc);

    // Shifts all breakpoints. Kept: asks to snap whatever the kind of the times. Equal times that snapping makes stay.
    void OffsetTimes(Time_TypedLength iDelta);

    // Every time becomes ToType(time + iFrom, kind of iTo) - iTo. Kept: snaps by the kind of iTo.
    void ConvertTimes(const Time_TypedLength& iFrom, const Time_TypedLength& iTo);

    // The value in force at iTime. Before the first breakpoint: reported, 0.
    int GetValueAtTime(const Time_Typed& iTime) const;

    // The last breakpoint strictly before iTime. False, with the out-arguments untouched, when there is none.
    bool GetLastValueChangeBeforeTime(Time_Typed* oTimeP, int* oValueP, Time_Typed iTime) const;
    bool IsEventInRange(Time_Typed iStart, Time_Typed iEnd) const;

    void GetFirstValue(Mdid_ContinuousData_OutputIter& ioOut) const;
    // The breakpoints that, shifted by iOffset, lie in [iStart, iEnd), shifted.
    void GetValuesInRange(Mdid_ContinuousData_OutputIter& ioOut, Time_Typed iStart, Time_Typed iEnd,
                          Time_TypedLength iOffset) const;
    std::optional<Mdie_TimedEvent> GetFirstEvent() const;

    // Delivers the breakpoints in [iStart, iEnd) as events at their time - iOffset, but not before iClampTime, as far
    // as that lies in [iWindowStart, iWindowEnd). iPropsP, if given, is applied to every event. iNumber: carried by
    // display items.
    //
    // To a wrapper: in the kind iType, or that of iOffset when it wraps display items. With a tracker whose entry for
    // this lane is active and holds the value in force at iStart, a breakpoint exactly at iStart is passed over.
    void GetMidiEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iStart, Time_Typed iEnd,
                              Time_Typed iWindowStart, Time_Typed iWindowEnd, const Mdie_ChaseView* iTrackerP,
                              Time_TypedLength iOffset, Time_Typed iClampTime, Time_EType iType,
                              const Mdid_IRTProperties* iPropsP, bool iFlag, int iNumber) const;
    // Display items in the kind iType.
    void GetMidiEventsInRange(Mdid_DisplayItemList* oListP, Time_Typed iStart, Time_Typed iEnd, Time_Typed iWindowStart,
                              Time_Typed iWindowEnd, Time_TypedLength iOffset, Time_Typed iClampTime, Time_EType iType,
                              const Mdid_IRTProperties* iPropsP, bool iFlag, int iNumber) const;
    // Unshifted and unclamped, in the kind of iStart.
    void GetMidiEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iStart, Time_Typed iEnd,
                              Time_Typed iWindowStart, Time_Typed iWindowEnd, const Mdie_ChaseView* iTrackerP,
                              const Mdid_IRTProperties* iPropsP, bool iFlag, int iNumber) const;

    // Offers the last breakpoint at or before iTime, unless it is earlier than iEarliest, to a tracker that chases this
    // lane: its value at its time + iOffset. iIndex: the slot. Takes no memory.
    void AccumulateChaseStateAtTime(Mdie_ChaseView* ioTrackerP, int iIndex, Time_Typed iTime, Time_Typed iEarliest,
                                    Time_TypedLength iOffset) const;

    // A trace line for each breakpoint: "%lld %d", its time and value.
    void DumpSegments() const;
    std::string DescribeSegments() const;

    // Times that do not ascend from 0 are reported, and written all the same.
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // Replaces the breakpoints; of equal times the last value stays. Throws Sys_StreamException, std::runtime_error
    // with message 100 for a negative count and for times that do not ascend from 0; the record has been skipped then,
    // and the lane holds what was read before.
    void StreamIn(Sys_TypedInStream& ioStream);

protected:
    // Called before the breakpoints change.
    virtual void AboutToModify();

    // Reports every time that StreamIn would refuse: one with a lower count than the one before it, or than 0. False
    // when there is one.
    bool VerifyTimesAscend() const;

    // The record, whatever the times are.
    static void WriteSegments(Sys_TypedOutStream& ioStream, const std::vector<Segment>& iSegments);

    // For the way out after an exception.
    static void SkipTheRest(Sys_StdStreamHeaderReader& ioHeader) noexcept;

    Mdie_SubStream mSubStream;
    bool mSnapToCoarseTicks = false;
    std::vector<Segment> mSegments;

private:
    using const_iterator = std::vector<Segment>::const_iterator;

    const_iterator LowerBound(Time_Typed iTime) const;
    const_iterator UpperBound(Time_Typed iTime) const;
    bool IsSnapping() const;
    void MergeBlock(const_iterator iFirst, const_iterator iLast, Time_TypedLength iOffset, bool iIsShifted);
    void ReplaceSegments(std::vector<Segment>&& iSegments);
    void ReadSegments(Sys_TypedInStream& ioStream);
    bool HoldsChasedValueAt(Time_Typed iTime, const Mdie_ChaseView& iTracker) const;
};
