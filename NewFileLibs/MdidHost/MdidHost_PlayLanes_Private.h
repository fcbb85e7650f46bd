#pragma once

#include "Mdid/Mdi_Parse.h"
#include "Mdid/Mdie_ChaseTracker.h"
#include "MdidHost/MdidHost_PlaySchedule_Private.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

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

// What comes from a chase tracker, brought into the order in which an instrument needs it. Takes memory at construction
// only, for as much as one call of a tracker may send.
class MdidHost_PlayOrder : public Mdie_EventReceiver
{
public:
    struct Sent
    {
        int mPlace = 0;
        std::size_t mNumber = 0; // as it came
        Mdid_Event mEvent;
    };

    MdidHost_PlayOrder();

    void ReceiveEvent(const Mdid_Event& iEvent) override;

    // What has come since the last time. iSelects: by channel, as MdidHost_PlayLanes has it.
    using Selections = std::array<signed char, 16>;
    const std::vector<Sent>& Sort(const Selections& iSelections);
    void Clear() { mSent.clear(); }

private:
    std::vector<Sent> mSent;
};

// The state of the lanes of one track, on slots that are channels in MPE tracks; and which kind of parameter number
// each channel has selected last. Playback thread, but for construction.
class MdidHost_PlayLanes
{
public:
    using ChaseLane = MdidHost_PlaySchedule::ChaseLane;
    using Selections = MdidHost_PlayOrder::Selections;

    enum ESelection : signed char
    {
        kNone,
        kNonRegistered, // controllers 98, 99
        kRegistered     // controllers 100, 101
    };

    MdidHost_PlayLanes(const MdidHost_PlayMaps& iMaps, bool iIsMPE);

    void Clear();

    // The state before what is played at iSample.
    void Chase(const std::vector<ChaseLane>& iLanes, std::int64_t iSample);

    // A value is played.
    void Track(const Mdie_SubStream& iKey, int iValue, signed char iChannel);

    // Moves an instrument from the state of ioFrom to this one; ioFrom is used up. Parameter numbers and data go
    // together: where one of them differs, all of them are sent.
    void MoveFrom(MdidHost_PlayLanes& ioFrom, MdidHost_PlayOrder& ioOrder);
    // In silence: this becomes the state.
    void TakeOver(const MdidHost_PlayLanes& iOther);

    void Prepare(MdidHost_PlayOrder& ioOrder) { mTracker.DoUnMute(&ioOrder); }
    void Mute(MdidHost_PlayOrder& ioOrder) const { mTracker.DoMute(&ioOrder, true); }

    bool IsActive(const Mdid_Event& iEvent) const;
    const Selections& GetSelections() const { return mSelections; }

private:
    int SlotOf(signed char iChannel) const { return mIsMPE ? iChannel : 0; }
    void Select(const Mdie_SubStream& iKey, int iSlot);
    bool HasOtherParameters(const MdidHost_PlayLanes& iOther, int iSlot) const;

    Mdie_ChaseTracker mTracker;
    Selections mSelections{};
    bool mIsMPE;
};
