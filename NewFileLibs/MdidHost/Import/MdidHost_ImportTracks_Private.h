#pragma once

#include "MFnd/Ndo_Object.h"
#include "Mdid/Mdid_EventTypes.h"
#include "MdidHost/File/MdidHost_RepairingStream.h"
#include "MdidHost/Import/MdidHost_ImportClock_Private.h"
#include "MdidHost/Import/MdidHost_ImportTrack_Private.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Parts the events of one track of the file after the other into tracks of the session: one for each channel that
// appears, in that order, or for each MPE zone.
//
// Events are handed over in the order of the file, at the clock's time. Those of one lane, the parameter numbers of one
// channel, and system-exclusive ones are set apart: no two at one time. Bank select is of its channel and track: tracks
// of one channel may be for different ports.
class MdidHost_ImportTracks
{
public:
    // The three outlive this.
    MdidHost_ImportTracks(Ndo_Object::EUndoFlag iUndoFlag, MdidHost_RepairingStream::MPEZones iZones,
                          const MdidHost_ImportClock& iClock, std::vector<MdidHost_Track>& ioTracks,
                          MdidHost_ImportLosses& ioLosses);

    void BeginTrack() { ++mFileTrack; }
    // At the clock's time. iLastOther: when the last of what the track has besides happens.
    void EndTrack(std::int64_t iLastOther);
    void Complete();

    // iChannel: 0 to 15.
    void AddChannelEvent(const Mdid_Event& iEvent, int iChannel);
    void AddSysex(const MdidHost_ImportClock::Moment& iMoment, const Mdid_Event& iEvent);
    void AddComment(const std::string& iText) { mComments.push_back(iText); }
    void SetName(const std::string& iName) { SetText(mName, iName); }
    void SetInstrument(const std::string& iName) { SetText(mInstrument, iName); }

private:
    using Track = MdidHost_ImportTrack;

    // Of the numbers by which lanes of a channel are told apart, controllers 0 and 32 are no lanes, and parameter
    // numbers share one.
    static constexpr int kNumSlots = 250;

    // One part of a bank number, as a channel of a track is told it.
    struct BankPart
    {
        int mValue = -1;         // in force; -1: none
        bool mIsWaiting = false; // for a program change
    };

    struct Channel
    {
        bool mIsUsed = false;
        Track* mVoiceP = nullptr;                    // for notes, and what is their expression with MPE
        Track* mOtherP = nullptr;                    // for the rest
        signed char mVoiceChannel = 0;               // in the chunk; above 0: of a member channel
        std::array<BankPart, 2> mBank;               // MSB, LSB
        std::array<std::int64_t, kNumSlots> mLatest; // time of each slot
    };

    struct Sysex
    {
        MdidHost_ImportClock::Moment mMoment;
        Mdid_Event mEvent;
    };

    void SetZone(Track& oZone, int iMasterChannel, int iMembers);
    void SetText(std::string& oText, const std::string& iText);

    Channel& UsedChannel(int iChannel);
    Track& Opened(Track& ioTrack);
    std::int64_t SetApart(std::int64_t& ioLatest, const MdidHost_ImportClock::Moment& iMoment);

    void AddNoteOn(Channel& ioChannel, signed char iPitch, signed char iVelocity);
    void AddNoteOff(Channel& ioChannel, signed char iPitch, signed char iVelocity);
    void AddController(Channel& ioChannel, const Mdid_ControllerEvent& iEvent);
    void AddProgram(Channel& ioChannel, const Mdid_ProgramEvent& iEvent);
    void AddVoiceEvent(Channel& ioChannel, const Mdid_Event& iEvent, int iSlot, MdidHost_ImportExpression::ELane iLane);
    void AddOtherEvent(Channel& ioChannel, const Mdid_Event& iEvent, int iSlot);

    bool HasContents() const;
    void FileSysex();
    void CloseTracks(std::int64_t iLastOther);
    void EndChannels();

    const Ndo_Object::EUndoFlag mUndoFlag;
    const MdidHost_ImportClock& mClock;
    std::vector<MdidHost_Track>& mSession;
    MdidHost_ImportLosses& mLosses;

    std::array<Channel, 16> mChannels;
    std::array<Track, 16> mOwnTracks; // of channels
    Track mLowerZone;
    Track mUpperZone;
    Track mNoChannel; // for a track of the file without channel events

    int mFileTrack = 0;
    int mEmptyTracks = 0; // of the file, up to here

    // Of the running track of the file.
    std::vector<Track*> mOpenTracks; // in the order in which they were
    std::vector<Sysex> mSysex;
    std::string mName;
    std::string mInstrument;
    std::vector<std::string> mComments;
};
