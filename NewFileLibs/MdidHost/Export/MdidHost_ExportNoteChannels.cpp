#include "MdidHost/Export/MdidHost_ExportNoteChannels_Private.h"

#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_PerNoteControllerList.h"

#include <algorithm>
#include <limits>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;

constexpr char kSharing[] = "notes that share a member channel with others";
constexpr char kNoZone[] = "notes that have no member channel for their per-note lanes";
constexpr int kLastChannel = 15;

bool HasLanes(const Note& iNote)
{
    return iNote.HasPerNoteControllers() && !iNote.GetPerNoteControllers()->empty();
}

// Whether it names a member channel already.
bool NamesMember(const MdidHost_Track& iTrack, const Note& iNote)
{
    return iTrack.mMPEMembers > 0 && iNote.GetEvent().GetChannel() > 0;
}

// How many channels from iFirst on, in steps of iStep, nobody uses.
template <class Channels>
int CountFree(const Channels& iUsed, int iFirst, int iStep)
{
    int count = 0;
    for (int channel = iFirst; channel >= 1 && channel < kLastChannel; channel += iStep, ++count)
        if (iUsed[static_cast<std::size_t>(channel)])
            return count;
    // The far end of the lower zone is the master of the other zone, and a member when there is no other zone.
    return count + (iStep > 0 && !iUsed[kLastChannel] ? 1 : 0);
}

MdidHost_ExportNoteChannels::Zone ZoneOf(const MdidHost_Track& iTrack)
{
    const bool isUpper = iTrack.mChannel == kLastChannel;
    const int maxMembers = isUpper ? Mdi_Controller::kMaxUpperMembers : Mdi_Controller::kMaxLowerMembers;
    return {isUpper ? kLastChannel : 0, std::min(iTrack.mMPEMembers, maxMembers)};
}

} // namespace

bool MdidHost_IsSounding(const Note& iNote)
{
    return !iNote.IsMuted() && iNote.GetNote().GetVelocity() > 0;
}

MdidHost_ExportNoteChannels::MdidHost_ExportNoteChannels(const MdidHost_Session& iSession,
                                                         const MdidHost_ExportClock& iClock,
                                                         std::vector<MdidHost_Loss>& ioLosses)
    : mSession(iSession),
      mAssigned(iSession.mTracks.size())
{
    for (std::size_t track = 0; track < mAssigned.size(); ++track)
        if (mSession.mTracks[track].mMPEMembers > 0)
            AssignInTrack(track, iClock, ioLosses);
    AssignInMadeZone(iClock, ioLosses);
}

int MdidHost_ExportNoteChannels::GetChannel(std::size_t iTrack, std::size_t iNote) const
{
    if (!mAssigned[iTrack].empty() && mAssigned[iTrack][iNote] >= 0)
        return mAssigned[iTrack][iNote];
    const MdidHost_Track& track = mSession.mTracks[iTrack];
    const Note& note = (*track.mChunk->GetNoteList())[iNote];
    return MdidHost_ExportChannel(track, note.GetEvent().GetChannel());
}

bool MdidHost_ExportNoteChannels::IsMember(std::size_t iTrack, std::size_t iNote) const
{
    if (!mAssigned[iTrack].empty() && mAssigned[iTrack][iNote] >= 0)
        return true;
    const MdidHost_Track& track = mSession.mTracks[iTrack];
    return NamesMember(track, (*track.mChunk->GetNoteList())[iNote]);
}

// The notes of a track that need a channel, and those that have taken one.
std::vector<MdidHost_ExportNoteChannels::Sounding>
MdidHost_ExportNoteChannels::FindNotes(std::size_t iTrack, const MdidHost_ExportClock& iClock) const
{
    const MdidHost_Track& track = mSession.mTracks[iTrack];
    std::vector<Sounding> notes;
    if (!track.mChunk)
        return notes;
    for (std::size_t i = 0; const Note& note : *track.mChunk->GetNoteList())
    {
        const bool namesMember = NamesMember(track, note);
        if (MdidHost_IsSounding(note) && (namesMember || HasLanes(note)))
            notes.push_back({iClock.GetTick(note.GetTime()), iClock.GetEndTick(note), iTrack, i, !namesMember});
        ++i;
    }
    return notes;
}

void MdidHost_ExportNoteChannels::AssignInTrack(std::size_t iTrack, const MdidHost_ExportClock& iClock,
                                                std::vector<MdidHost_Loss>& ioLosses)
{
    std::vector<Sounding> notes = FindNotes(iTrack, iClock);
    if (std::ranges::none_of(notes, &Sounding::mNeedsChannel))
        return;

    const MdidHost_Track& track = mSession.mTracks[iTrack];
    const Zone zone = ZoneOf(track);
    Channels named{};
    for (const Sounding& sounding : notes)
        if (!sounding.mNeedsChannel)
            named[static_cast<std::size_t>(GetChannel(iTrack, sounding.mNote))] = true;

    // A channel that the track's own notes name may be wanted by one of them soon.
    std::vector<int> members;
    for (int i = 0; i < zone.mNumMembers; ++i)
        if (!named[static_cast<std::size_t>(zone.GetMember(i))])
            members.push_back(zone.GetMember(i));
    for (int i = 0; members.empty() && i < zone.mNumMembers; ++i)
        members.push_back(zone.GetMember(i));
    Assign(notes, members, ioLosses);
}

void MdidHost_ExportNoteChannels::AssignInMadeZone(const MdidHost_ExportClock& iClock,
                                                   std::vector<MdidHost_Loss>& ioLosses)
{
    std::vector<Sounding> notes;
    for (std::size_t track = 0; track < mAssigned.size(); ++track)
        if (mSession.mTracks[track].mMPEMembers <= 0)
        {
            const std::vector<Sounding> more = FindNotes(track, iClock);
            notes.insert(notes.end(), more.begin(), more.end());
        }
    if (notes.empty())
        return;

    const Channels used = FindUsedChannels();
    const Zone lower{0, CountFree(used, 1, 1)};
    const Zone upper{kLastChannel, used[kLastChannel] ? 0 : CountFree(used, kLastChannel - 1, -1)};
    const Zone& zone = upper.mNumMembers > lower.mNumMembers ? upper : lower;
    if (zone.mNumMembers == 0)
    {
        MdidHost_AddLoss(ioLosses, kNoZone, std::ssize(notes));
        return;
    }
    mMadeZone = zone;
    mFirstTrack = notes.front().mTrack;
    std::vector<int> members(static_cast<std::size_t>(zone.mNumMembers));
    for (int i = 0; int& member : members)
        member = zone.GetMember(i++);
    Assign(notes, members, ioLosses);
}

// Each note takes the member that is free for the longest time, or else the one that gets free first.
void MdidHost_ExportNoteChannels::Assign(std::vector<Sounding>& ioNotes, const std::vector<int>& iMembers,
                                         std::vector<MdidHost_Loss>& ioLosses)
{
    std::array<std::int64_t, 16> freeFrom{};
    freeFrom.fill(std::numeric_limits<std::int64_t>::min());
    const auto freeFromOf = [&](int iChannel) -> std::int64_t& { return freeFrom[static_cast<std::size_t>(iChannel)]; };

    std::ranges::stable_sort(ioNotes, {}, &Sounding::mStart);
    for (const Sounding& note : ioNotes)
    {
        int channel = 0;
        if (note.mNeedsChannel)
        {
            channel = *std::ranges::min_element(iMembers, {}, freeFromOf);
            if (freeFromOf(channel) > note.mStart)
                MdidHost_AddLoss(ioLosses, kSharing);
            std::vector<signed char>& ofTrack = mAssigned[note.mTrack];
            ofTrack.resize(mSession.mTracks[note.mTrack].mChunk->GetNoteList()->Size(), -1);
            ofTrack[note.mNote] = static_cast<signed char>(channel);
        }
        else
            channel = GetChannel(note.mTrack, note.mNote);
        freeFromOf(channel) = std::max(freeFromOf(channel), note.mEnd);
    }
}

MdidHost_ExportNoteChannels::Channels MdidHost_ExportNoteChannels::FindUsedChannels() const
{
    Channels used{};
    const auto use = [&](int iChannel) { used[static_cast<std::size_t>(iChannel & kLastChannel)] = true; };
    for (const MdidHost_Track& track : mSession.mTracks)
    {
        use(MdidHost_ExportChannel(track, 0));
        const Zone zone = ZoneOf(track);
        for (int i = 0; i < zone.mNumMembers; ++i)
            use(zone.GetMember(i));
        if (track.mMPEMembers > 0 && track.mChunk)
            for (const Note& note : *track.mChunk->GetNoteList())
                use(MdidHost_ExportChannel(track, note.GetEvent().GetChannel()));
    }
    return used;
}
