#pragma once

#include "MdidHost/Export/MdidHost_ExportClock_Private.h"
#include "MdidHost/File/MdidHost_Findings.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

// A note that is heard: neither muted nor of velocity 0, which marks a note for deletion.
bool MdidHost_IsSounding(const Mdid_NoteWithDurationExtendedEvent& iNote);

// On which channels the notes of a session play: those with per-note lanes that name no member channel of their track
// get one, which no other note uses while they sound, as far as there are enough.
//
// Tracks that are MPE give their own members, those that no note of theirs names first. For all others a zone is made
// of the channels that no track plays on: the lower zone, or the upper one where that has more members.
class MdidHost_ExportNoteChannels
{
public:
    // Master channel and members that follow it, upward from 0 or downward from 15.
    struct Zone
    {
        int mMaster = 0;
        int mNumMembers = 0;

        int GetMember(int iIndex) const { return mMaster == 0 ? 1 + iIndex : mMaster - 1 - iIndex; }
    };

    // Adds to the losses what has to share a channel. Linear, but for sorting.
    MdidHost_ExportNoteChannels(const MdidHost_Session& iSession, const MdidHost_ExportClock& iClock,
                                std::vector<MdidHost_Loss>& ioLosses);

    // iNote: the note's place in the list of the track's chunk. 0 to 15.
    int GetChannel(std::size_t iTrack, std::size_t iNote) const;

    // Whether the channel's bend, pressure and timbre belong to the note while it sounds.
    bool IsMember(std::size_t iTrack, std::size_t iNote) const;

    // The zone that was made, and the first track that has notes in it.
    const std::optional<Zone>& GetMadeZone() const { return mMadeZone; }
    std::size_t GetFirstTrackOfMadeZone() const { return mFirstTrack; }

private:
    struct Sounding
    {
        std::int64_t mStart;
        std::int64_t mEnd;
        std::size_t mTrack;
        std::size_t mNote;
        bool mNeedsChannel;
    };
    using Channels = std::array<bool, 16>;

    void Assign(std::vector<Sounding>& ioNotes, const std::vector<int>& iMembers, std::vector<MdidHost_Loss>& ioLosses);
    std::vector<Sounding> FindNotes(std::size_t iTrack, const MdidHost_ExportClock& iClock) const;
    void AssignInTrack(std::size_t iTrack, const MdidHost_ExportClock& iClock, std::vector<MdidHost_Loss>& ioLosses);
    void AssignInMadeZone(const MdidHost_ExportClock& iClock, std::vector<MdidHost_Loss>& ioLosses);
    Channels FindUsedChannels() const;

    const MdidHost_Session& mSession;
    std::vector<std::vector<signed char>> mAssigned; // by track and note; empty when nothing is assigned; -1: none
    std::optional<Zone> mMadeZone;
    std::size_t mFirstTrack = 0;
};
