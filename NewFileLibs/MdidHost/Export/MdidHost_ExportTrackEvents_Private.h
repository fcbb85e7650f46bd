#pragma once

#include "Mdid/Mdid_ContinuousDataStreamCore.h"
#include "MdidHost/Export/MdidHost_ExportClock_Private.h"
#include "MdidHost/Export/MdidHost_ExportItem_Private.h"
#include "MdidHost/Export/MdidHost_ExportNoteChannels_Private.h"
#include "MdidHost/Export/MdidHost_ExportTrackWriter_Private.h"
#include "MdidHost/File/MdidHost_Findings.h"

#include <cstdint>
#include <string>
#include <vector>

// The events of one track of the file that is written, collected in any order and written in theirs: by tick, then by
// playback priority (meta events before all others), then by exact time, then as they were added.
class MdidHost_ExportTrackEvents
{
public:
    // All of them have to outlive this object.
    MdidHost_ExportTrackEvents(const MdidHost_ExportClock& iClock, const MdidHost_ExportNoteChannels& iNoteChannels,
                               std::vector<MdidHost_Loss>& ioLosses)
        : mClock(iClock),
          mNoteChannels(iNoteChannels),
          mLosses(ioLosses)
    {
    }

    // Meta events at one tick keep the order in which they are added.
    void AddMeta(Time_Typed iTime, unsigned char iType, std::string iData);

    // At the start, before all but meta events.
    void AddFirstMessage(const Mdid_Event& iEvent);

    // Everything that the track's chunk holds; it has to stay as it is until Write. iIndex: its place in the session.
    void AddTrack(const MdidHost_Track& iTrack, std::size_t iIndex);

    // The last call: the whole track.
    void Write(Cmn_OutStream& ioStream);

private:
    using Note = Mdid_NoteWithDurationExtendedEvent;
    using Item = MdidHost_ExportItem;

    struct TickRange
    {
        std::int64_t mStart;
        std::int64_t mEnd;
    };

    void AddLane(const MdidHost_Track& iTrack, const Mdid_ContinuousDataStreamCore& iLane);
    void AddStreamEvent(const MdidHost_Track& iTrack, const Mdie_TimedEvent& iEvent);
    void AddNotes(const MdidHost_Track& iTrack, std::size_t iIndex);
    void AddNote(const Note& iNote, int iChannel, bool iIsMember);
    void AddNoteLane(const Note& iNote, TickRange iTicks, signed char iChannel,
                     const Mdid_ContinuousDataStreamCore& iLane);
    Item& AddEvent(Time_Typed iTime, std::int64_t iTick, const Mdid_Event& iEvent, Item::EKind iKind);

    std::int64_t GetTick(Time_Typed iTime) { return mClock.GetTick(iTime, mNumMoved); }
    int Clip(int iValue, Mdie_SubStream_ValueRange iRange);
    signed char ClipData(int iByte) { return static_cast<signed char>(Clip(iByte, {0, 127})); }
    void AddLoss(const char* iWhat, std::int64_t iCount = 1);

    const MdidHost_ExportClock& mClock;
    const MdidHost_ExportNoteChannels& mNoteChannels;
    std::vector<MdidHost_Loss>& mLosses;
    std::int64_t mEnd = 0; // of the track of the file, where a session says one
    std::int64_t mNumMoved = 0;
    std::int64_t mNumClipped = 0;
    std::vector<Item> mItems;
    std::vector<std::string> mMetaData;
};
