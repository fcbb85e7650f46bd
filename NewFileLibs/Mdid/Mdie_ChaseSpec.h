#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdie_TrackState.h"

// What a jump or a start of playback chases.
struct Mdie_ChaseSpec
{
    int mEnable = 0; // not 0: notes are chased
    Mdie_TrackState::ETransitionMode mMode = Mdie_TrackState::kTimedEvents;
    Time_Typed mTime; // of the transition; in the kind of the notes' release times, or rounding may keep notes apart
};
