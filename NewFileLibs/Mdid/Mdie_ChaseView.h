#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdie_SubStream.h"

// What a chase tracker knows of one chased lane.
struct Mdie_ChaseTracker_ChasingEntry
{
    bool mIsActive = false; // a value has been chased or played
    int mValue = 0;
    Mdie_SubStream mSubStream;
    int mKey = 0;
};

// The side of a chase tracker that lane queries see. Playback thread: implementations take no memory and no lock.
class MDID_EXPORT Mdie_ChaseView
{
public:
    virtual ~Mdie_ChaseView();

    virtual bool IsChasing(const Mdie_SubStream& iSubStream) const = 0;

    // iKey: Mdie_SubStream::GetNoteIndex. False, with oEntryP untouched, when the lane is not chased.
    virtual bool GetChasingEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, const Mdie_SubStream& iSubStream,
                                 int iKey) const = 0;

    // Keeps the value of the latest time offered for a chased lane.
    virtual void SetActiveValueIfLater(const Mdie_SubStream& iSubStream, int iValue, Time_Typed iTime, int iKey) = 0;

protected:
    Mdie_ChaseView() = default;
    Mdie_ChaseView(const Mdie_ChaseView&) = default;
    Mdie_ChaseView& operator=(const Mdie_ChaseView&) = default;
};
