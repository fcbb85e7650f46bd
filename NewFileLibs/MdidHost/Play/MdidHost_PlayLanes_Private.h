#pragma once

#include "Mdid/Mdie_ChaseTracker.h"
#include "MdidHost/Play/MdidHost_PlayOrder_Private.h"
#include "MdidHost/Play/MdidHost_PlaySchedule_Private.h"

#include <array>
#include <cstddef>
#include <cstdint>

// The lanes that a player chases: of a track of one channel those of the default map and poly pressure; of an MPE track
// the lanes of all channels, for which every entry exists per note.
class MdidHost_PlayMaps
{
public:
    MdidHost_PlayMaps();

    const Mdie_ChaseTrackerMap& GetMap(bool iIsMPE) const { return iIsMPE ? mMPEMap : mMap; }

private:
    Mdie_ChaseTrackerMap mMap;
    Mdie_ChaseTrackerMap mMPEMap;
};

// The state of the lanes of one track, on slots that are channels in MPE tracks. Playback thread, but for construction.
//
// The settings of a channel are those of the schedule's history at the count of them that has been played: what an
// instrument has been brought to, by play or by a jump, is what it would have from the beginning.
class MdidHost_PlayLanes
{
public:
    using TrackLanes = MdidHost_PlaySchedule::TrackLanes;

    MdidHost_PlayLanes(const MdidHost_PlayMaps& iMaps, bool iIsMPE);

    void Clear();

    // The state before what is played at iSample. iLanes has to live as long as this is used.
    void Chase(const TrackLanes& iLanes, std::int64_t iSample);

    // A value is played, the next one of the schedule on its channel.
    void Track(const Mdie_SubStream& iKey, int iValue, signed char iChannel);

    // Moves an instrument from the state of ioFrom to this one; ioFrom is used up.
    void MoveFrom(MdidHost_PlayLanes& ioFrom, MdidHost_PlayOrder& ioOrder);
    // In silence: this becomes the state.
    void TakeOver(const MdidHost_PlayLanes& iOther);

    void Prepare(MdidHost_PlayOrder& ioOrder); // an instrument of which nothing is known
    void Mute(MdidHost_PlayOrder& ioOrder) const { mTracker.DoMute(&ioOrder, true); }

    bool IsAtRest(const Mdid_Event& iEvent) const; // of a lane that is released, and has no value

private:
    static constexpr int kNumChannels = 16;

    using Counts = std::array<std::size_t, kNumChannels>;

    int SlotOf(signed char iChannel) const { return mIsMPE ? iChannel : 0; }
    std::size_t GetNumHistories() const { return mLanesP == nullptr ? 0 : mLanesP->mHistories.size(); }
    void SendSettings(const Counts* iFromP, MdidHost_PlayOrder& ioOrder) const; // null: of an unknown instrument

    Mdie_ChaseTracker mTracker;
    const TrackLanes* mLanesP = nullptr; // null: nothing is known of the instrument's settings
    Counts mCounts{};                    // of settings that have been played
    bool mIsMPE;
};
