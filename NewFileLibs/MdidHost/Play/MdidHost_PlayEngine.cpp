#include "MdidHost/Play/MdidHost_PlayEngine_Private.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdie_ChaseSpec.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace
{

using Note = Mdid_NoteListBase::Note;

// Positions can be counted on from, and are times.
std::int64_t Clamped(std::int64_t iSample)
{
    constexpr std::int64_t kMax = MdidHost_PlayOptions::kMaxPosition;
    static_assert(kMax < Time_Packed::kMaxCount / 2);
    return std::clamp(iSample, -kMax, kMax);
}

// A transition pairs no more notes than these.
bool IsBeyondSorting(const Mdie_TrackState& iNotes)
{
    const Mdie_NoteInProgress* noteP = iNotes.NextNoteOff();
    for (int i = 0; i < Mdie_TrackState::kMaxSorted && noteP != nullptr; ++i)
        noteP = noteP->GetNext();
    return noteP != nullptr;
}

// Never goes back, however often the end of all positions is played to.
std::int64_t Later(std::int64_t iElapsed, std::int64_t iCount)
{
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
    return iCount > kLast - iElapsed ? kLast : iElapsed + iCount;
}

} // namespace

// By playback priority, which is that of the channel, then time, then track.
bool MdidHost_PlayEngine::GoesBefore(const NoteMessage& iA, const NoteMessage& iB)
{
    if (iA.mChannel != iB.mChannel)
        return iA.mChannel < iB.mChannel;
    if (iA.mTime != iB.mTime)
        return iA.mTime < iB.mTime;
    return std::tie(iA.mTrack, iA.mNumber) < std::tie(iB.mTrack, iB.mNumber);
}

// Of one track.
class MdidHost_PlayEngine::TransitionReceiver : public Mdie_EventReceiver
{
public:
    TransitionReceiver(MdidHost_PlayEngine& ioEngine, std::size_t iTrack) : mEngine(ioEngine), mTrack(iTrack) {}

    // Note-ons come behind the lanes, so that they sound as they should, and note-offs before a pedal may hold them.
    void ReceiveEvent(const Mdid_Event& iEvent) override
    {
        if (iEvent.GetType() == Mdid_Event::kNoteOn)
            mEngine.CollectNoteOn(mTrack, iEvent.As<Mdid_NoteOnEvent>());
        else
            mEngine.Put(mTrack, MdidHost_PlayedEvent::kTransition, iEvent);
    }

private:
    MdidHost_PlayEngine& mEngine;
    std::size_t mTrack;
};

MdidHost_PlayEngine::MdidHost_PlayEngine(const MdidHost_Session& iSession, const MdidHost_PlayOptions& iOptions)
    : mSchedule(iSession, iOptions.mFilter),
      mTracks(iSession.mTracks.size()),
      mNoteEnds(mTracks.size()),
      mOrder(mSchedule.GetMaxSettings()),
      mBlockSize(Clamped(iOptions.mBlockSize)),
      mSampleRate(iSession.mContext.GetSampleRate()),
      mNoteOffPriority(Mdid_NoteOffEvent(0, 0, 0).GetPlaybackPriority()),
      mEnd(Clamped(iOptions.mEnd.value_or(mSchedule.GetEnd()))),
      mPosition(Clamped(iOptions.mStart))
{
    if (mBlockSize < 1)
        throw std::invalid_argument("a block has to have samples");
    MakePlan(iOptions);
    for (std::size_t i = 0; i < mTracks.size(); ++i)
    {
        Track& track = mTracks[i];
        track.mSourceP = &iSession.mTracks[i];
        const bool isMPE = track.mSourceP->mMPEMembers > 0;
        track.mLanesP = std::make_unique<MdidHost_PlayLanes>(mMaps, isMPE);
        track.mTargetLanesP = std::make_unique<MdidHost_PlayLanes>(mMaps, isMPE);
    }
    BuildNoteIndexes();
    MakePool();
}

MdidHost_PlayEngine::~MdidHost_PlayEngine()
{
    for (Track& track : mTracks)
        track.mNotes.Clear();
    Mdie_NoteInProgress::SetAllocator(nullptr);
}

void MdidHost_PlayEngine::MakePlan(const MdidHost_PlayOptions& iOptions)
{
    for (const auto& jump : iOptions.mJumps)
        mPlan.push_back({Clamped(jump.mAt), Clamped(jump.mTo), 1, false});
    for (const auto& loop : iOptions.mLoops)
    {
        if (loop.mStart >= loop.mEnd || loop.mRounds < 1)
            throw std::invalid_argument("a loop has to have a length and rounds");
        mPlan.push_back({Clamped(loop.mEnd), Clamped(loop.mStart), loop.mRounds - 1, true});
    }
    if (iOptions.mEnd)
        return;
    for (const std::int64_t end = mEnd; const PlannedJump& jump : mPlan)
        if (jump.mNumLeft > 0 && jump.mTo < end) // play comes back from behind everything
            mEnd = std::max(mEnd, jump.mAt);
}

// At a jump there are at most the notes of both positions, and those of one track's new state twice.
void MdidHost_PlayEngine::MakePool()
{
    constexpr std::size_t kStates = 3;
    const auto count = static_cast<std::uint32_t>(std::max<std::size_t>(kStates * mSchedule.GetMaxNotes(), 1));
    const Mem2_MasterAllocator::SizeClass sizeClass{sizeof(Mdie_NoteInProgress), count};
    mPoolP = std::make_unique<Mem2_MasterAllocator>(std::span(&sizeClass, 1));
    mNoteMessages.resize(count); // touched, too
    mNoteMessages.clear();
    mSoundingNotes.reserve(mSchedule.GetMaxNotes());
    mOutbox.resize(mOrder.GetCapacity() + count); // touched, too
    mOutbox.clear();
    Mdie_NoteInProgress::SetAllocator(mPoolP.get());
}

// The first query after an edit takes memory.
void MdidHost_PlayEngine::BuildNoteIndexes() const
{
    for (const Track& track : mTracks)
        if (const Mdid_Chunk* const chunkP = track.mSourceP->mChunk.Get())
            static_cast<void>(chunkP->GetNoteList()->GetSustainingNotes({mPosition, Time_EType::kSample}).empty());
}

bool MdidHost_PlayEngine::Render(MdidHost_PlaySink& ioSink)
{
    Flush(ioSink);
    if (mIsStopping)
        Stop(ioSink);
    if (!mIsRolling)
    {
        if (mRequestedJump)
            SetPosition(*std::exchange(mRequestedJump, std::nullopt));
        if (mPosition >= mEnd && FindJump() == nullptr)
            return false;
        Start(ioSink);
    }
    ApplyMutes(false, ioSink);
    if (mRequestedJump)
        GoTo(*std::exchange(mRequestedJump, std::nullopt), ioSink);
    MoveTracks(ioSink); // that a sink which threw has kept from it
    ApplyMutes(true, ioSink);
    mAreMutesChanged = false;

    for (std::int64_t left = mBlockSize;;)
    {
        while (PlannedJump* const jumpP = left > 0 ? FindJump() : nullptr)
        {
            --jumpP->mNumLeft;
            GoTo(jumpP->mTo, ioSink);
        }
        const bool isAtEnd = mPosition >= mEnd && FindJump() == nullptr;
        if (isAtEnd)
            Stop(ioSink);
        if (isAtEnd || left == 0)
            return true;
        const std::int64_t next = FindNextJump(std::min(mPosition + left, mEnd));
        left -= next - mPosition;
        RenderUpTo(next, ioSink);
    }
}

void MdidHost_PlayEngine::Jump(std::int64_t iSample)
{
    mRequestedJump = Clamped(iSample);
}

void MdidHost_PlayEngine::SetMuted(std::size_t iTrack, bool iIsMuted)
{
    if (iTrack >= mTracks.size())
        return;
    mTracks[iTrack].mIsMuted = iIsMuted;
    mAreMutesChanged = true;
}

void MdidHost_PlayEngine::SetSolo(std::size_t iTrack, bool iIsSolo)
{
    if (iTrack >= mTracks.size())
        return;
    mTracks[iTrack].mIsSolo = iIsSolo;
    mNumSolos = std::ranges::count_if(mTracks, &Track::mIsSolo);
    mAreMutesChanged = true;
}

bool MdidHost_PlayEngine::IsToBeHeard(const Track& iTrack) const
{
    return !iTrack.mIsMuted && (iTrack.mIsSolo || mNumSolos == 0);
}

// Those that fall silent before a jump, those that are heard again behind it.
void MdidHost_PlayEngine::ApplyMutes(bool iIsHeard, MdidHost_PlaySink& ioSink)
{
    if (!mAreMutesChanged)
        return;
    for (std::size_t i = 0; i < mTracks.size(); ++i)
    {
        Track& track = mTracks[i];
        if (track.mIsHeard == iIsHeard || IsToBeHeard(track) != iIsHeard)
            continue;
        if (iIsHeard)
            Unmute(i);
        else
            PutSilence(i);
        track.mIsHeard = iIsHeard;
        Flush(ioSink);
    }
}

// What ends at the position has ended in silence.
void MdidHost_PlayEngine::Unmute(std::size_t iTrack)
{
    CollectDueNoteOffs(iTrack);
    mNoteMessages.clear();
    mTracks[iTrack].mLanesP->Prepare(mOrder);
    PutLanes(iTrack, false);
    PutNoteOns(iTrack);
}

void MdidHost_PlayEngine::Start(MdidHost_PlaySink& ioSink)
{
    mIsRolling = true;
    mIsStarting = true;
    mNumInPlace = 0;
    mNextP = mSchedule.FindFirst(mPosition);
    for (Track& track : mTracks)
        track.mIsHeard = IsToBeHeard(track);
    MoveTracks(ioSink);
}

void MdidHost_PlayEngine::StartTrack(std::size_t iTrack)
{
    Track& track = mTracks[iTrack];
    track.mLanesP->Chase(mSchedule.GetChaseLanes(iTrack), mPosition);
    AddSoundingNotes(iTrack, track.mNotes);
    UpdateNoteEnd(iTrack);
    if (!track.mIsHeard)
        return;
    track.mLanesP->Prepare(mOrder);
    PutLanes(iTrack, false);
    PutNoteOns(iTrack);
}

void MdidHost_PlayEngine::Stop(MdidHost_PlaySink& ioSink)
{
    if (!mIsRolling)
        return;
    Flush(ioSink);
    mIsStopping = true;
    for (std::size_t i = 0; i < mTracks.size(); ++i)
    {
        Track& track = mTracks[i];
        if (track.mIsHeard)
            PutSilence(i);
        track.mNotes.Clear();
        track.mLanesP->Clear();
        mNoteEnds.Set(i, MdidHost_PlayNoteEnds::kNever);
        Flush(ioSink);
    }
    mIsRolling = false;
    mIsStopping = false;
}

void MdidHost_PlayEngine::SetPosition(std::int64_t iSample)
{
    mPosition = iSample;
    mHasPlayedHere = false;
}

void MdidHost_PlayEngine::GoTo(std::int64_t iSample, MdidHost_PlaySink& ioSink)
{
    SetPosition(iSample);
    mIsStarting = false;
    mNumInPlace = 0;
    mNextP = mSchedule.FindFirst(mPosition);
    MoveTracks(ioSink);
}

void MdidHost_PlayEngine::MoveTracks(MdidHost_PlaySink& ioSink)
{
    while (mNumInPlace < mTracks.size())
    {
        const std::size_t track = mNumInPlace++;
        if (mIsStarting)
            StartTrack(track);
        else
            MoveTrack(track);
        Flush(ioSink);
    }
}

void MdidHost_PlayEngine::MoveTrack(std::size_t iTrack)
{
    MoveNotes(iTrack);
    Track& track = mTracks[iTrack];
    track.mTargetLanesP->Chase(mSchedule.GetChaseLanes(iTrack), mPosition);
    if (!track.mIsHeard)
        return track.mLanesP->TakeOver(*track.mTargetLanesP);
    track.mTargetLanesP->MoveFrom(*track.mLanesP, mOrder);
    track.mLanesP.swap(track.mTargetLanesP);
    PutLanes(iTrack, false);
    PutCollectedNotes(Mdid_Event::kNoteOn, MdidHost_PlayedEvent::kTransition);
}

void MdidHost_PlayEngine::CollectNoteOn(std::size_t iTrack, const Mdid_NoteOnEvent& iEvent)
{
    const Time_Typed time(mPosition, Time_EType::kSample);
    mNoteMessages.push_back(
        {time, iTrack, mNoteMessages.size(), iEvent.GetChannel(), iEvent.GetPitch(), iEvent.GetVelocity()});
}

void MdidHost_PlayEngine::MoveNotes(std::size_t iTrack)
{
    Track& track = mTracks[iTrack];
    Mdie_TrackState notes;
    AddSoundingNotes(iTrack, notes);
    TransitionReceiver receiver(*this, iTrack);
    Mdie_EventReceiver* const receiverP = track.mIsHeard ? &receiver : nullptr;
    const Mdie_ChaseSpec spec{1, Mdie_TrackState::kPlainMIDI, {mPosition, Time_EType::kSample}};
    if (IsBeyondSorting(track.mNotes) || IsBeyondSorting(notes)) // a note could end when it has just begun anew
    {
        const Mdie_TrackState silence;
        track.mNotes.ComputeTransitionToNewState(&silence, receiverP, spec, true);
    }
    track.mNotes.ComputeTransitionToNewState(&notes, receiverP, spec, true);
    UpdateNoteEnd(iTrack);
}

// Those that began at an earlier sample and end at a later one. The state takes in from behind what ends last, so that
// each finds its place at once.
void MdidHost_PlayEngine::AddSoundingNotes(std::size_t iTrack, Mdie_TrackState& ioNotes)
{
    mSoundingNotes.clear();
    const Mdid_Chunk* const chunkP = mTracks[iTrack].mSourceP->mChunk.Get();
    if (chunkP == nullptr)
        return;
    const Time_Typed lastSample(mPosition - 1, Time_EType::kSample);
    for (const Note& note : chunkP->GetNoteList()->GetSustainingNotes({mPosition, Time_EType::kSample}))
    {
        if (note.GetTime() > lastSample)
            continue; // it is still to come
        if (const auto event = mSchedule.MakeNote(iTrack, note))
            mSoundingNotes.push_back({note.GetTime() + event->GetDuration(), &note, mSoundingNotes.size(), *event});
    }
    const auto endsLater = [](const SoundingNote& iA, const SoundingNote& iB)
    { return iA.mEnd != iB.mEnd ? iA.mEnd > iB.mEnd : iA.mNumber < iB.mNumber; };
    std::ranges::sort(mSoundingNotes, endsLater);
    for (const SoundingNote& note : mSoundingNotes)
        ioNotes.ReceiveEvent({note.mNoteP->GetTime(), note.mEvent}, note.mNoteP->GetPerNoteControllers());
}

MdidHost_PlayEngine::PlannedJump* MdidHost_PlayEngine::FindJump()
{
    const auto isDue = [this](const PlannedJump& iJump)
    { return iJump.mAt == mPosition && iJump.mNumLeft > 0 && (!iJump.mIsLoop || mHasPlayedHere); };
    const auto found = std::ranges::find_if(mPlan, isDue);
    return found == mPlan.end() ? nullptr : &*found;
}

std::int64_t MdidHost_PlayEngine::FindNextJump(std::int64_t iBefore) const
{
    std::int64_t next = iBefore;
    for (const PlannedJump& jump : mPlan)
        if (jump.mNumLeft > 0 && jump.mAt > mPosition)
            next = std::min(next, jump.mAt);
    return next;
}

void MdidHost_PlayEngine::RenderUpTo(std::int64_t iSample, MdidHost_PlaySink& ioSink)
{
    const Item* const endP = mSchedule.GetItems().data() + mSchedule.GetItems().size();
    for (;;)
    {
        const std::int64_t next =
            mNextP == endP ? mNoteEnds.GetEarliest() : std::min(mNextP->mSample, mNoteEnds.GetEarliest());
        if (next >= iSample)
            break;
        MoveOn(next);
        RenderSample(ioSink);
    }
    MoveOn(iSample);
}

void MdidHost_PlayEngine::MoveOn(std::int64_t iSample)
{
    if (iSample <= mPosition)
        return;
    mElapsed = Later(mElapsed, iSample - mPosition);
    mPosition = iSample;
    mHasPlayedHere = true;
}

void MdidHost_PlayEngine::RenderSample(MdidHost_PlaySink& ioSink)
{
    const Item* const endP = mSchedule.GetItems().data() + mSchedule.GetItems().size();
    const auto isNext = [&] { return mNextP != endP && mNextP->mSample <= mPosition; };
    while (isNext() && mNextP->mPriority < mNoteOffPriority)
        Play(*mNextP++, ioSink);
    SendDueNoteOffs(ioSink);
    while (isNext())
        Play(*mNextP++, ioSink);
    SendDueNoteOffs(ioSink); // of notes that have just begun
}

void MdidHost_PlayEngine::Play(const Item& iItem, MdidHost_PlaySink& ioSink)
{
    if (iItem.mKind == Item::kNote)
        return PlayNote(iItem, ioSink);
    const auto index = static_cast<std::size_t>(iItem.mTrack);
    const Track& track = mTracks[index];
    if (iItem.mKind == Item::kLane)
    {
        const Mdie_SubStream& key = mSchedule.GetKey(iItem.mLane);
        track.mLanesP->Track(key, iItem.mValue, iItem.mChannel);
        if (track.mIsHeard)
            Send(index, MdidHost_PlayedEvent::kEvent, key.MakeEvent(iItem.mValue, iItem.mChannel), ioSink);
    }
    else if (track.mIsHeard)
        Send(index, MdidHost_PlayedEvent::kEvent, iItem.mSourceP->GetEvent(), ioSink);
}

void MdidHost_PlayEngine::PlayNote(const Item& iItem, MdidHost_PlaySink& ioSink)
{
    const auto index = static_cast<std::size_t>(iItem.mTrack);
    const auto& note = static_cast<const Note&>(*iItem.mSourceP);
    const auto event = mSchedule.MakeNote(index, note);
    if (!event)
        return;
    Track& track = mTracks[index];
    track.mNotes.ReceiveEvent(Mdie_TimedEvent(iItem.mTime, *event), note.GetPerNoteControllers());
    UpdateNoteEnd(index);
    if (track.mIsHeard)
        Send(index, MdidHost_PlayedEvent::kEvent,
             Mdid_NoteOnEvent(event->GetChannel(), event->GetPitch(), event->GetVelocity()), ioSink);
}

// Ends the notes of a track that end up to the position.
void MdidHost_PlayEngine::CollectDueNoteOffs(std::size_t iTrack)
{
    Mdie_TrackState& notes = mTracks[iTrack].mNotes;
    const Mdie_NoteInProgress* noteP = nullptr;
    while ((noteP = notes.NextNoteOff()) != nullptr &&
           MdidHost_PlaySchedule::SampleOf(noteP->mReleaseTime) <= mPosition)
    {
        mNoteMessages.push_back(
            {noteP->mReleaseTime, iTrack, mNoteMessages.size(), noteP->mChannel, noteP->mPitch, noteP->mOffVelocity});
        notes.PopNoteOff();
    }
    UpdateNoteEnd(iTrack);
}

void MdidHost_PlayEngine::SendDueNoteOffs(MdidHost_PlaySink& ioSink)
{
    while (mNoteEnds.GetEarliest() <= mPosition)
        CollectDueNoteOffs(mNoteEnds.GetTrack());
    PutCollectedNotes(Mdid_Event::kNoteOff, MdidHost_PlayedEvent::kNoteOff);
    Flush(ioSink);
}

void MdidHost_PlayEngine::PutNoteOns(std::size_t iTrack)
{
    for (const Mdie_NoteInProgress* noteP = mTracks[iTrack].mNotes.NextNoteOff(); noteP != nullptr;
         noteP = noteP->GetNext())
        mNoteMessages.push_back(
            {noteP->mStartTime, iTrack, mNoteMessages.size(), noteP->mChannel, noteP->mPitch, noteP->mVelocity});
    PutCollectedNotes(Mdid_Event::kNoteOn, MdidHost_PlayedEvent::kChase);
}

void MdidHost_PlayEngine::PutCollectedNotes(Mdid_Event::Type iType, Why iWhy)
{
    std::ranges::sort(mNoteMessages, GoesBefore);
    for (const NoteMessage& message : mNoteMessages)
        if (iType == Mdid_Event::kNoteOn)
            Put(message.mTrack, iWhy, Mdid_NoteOnEvent(message.mChannel, message.mPitch, message.mVelocity));
        else if (mTracks[message.mTrack].mIsHeard)
            Put(message.mTrack, iWhy, Mdid_NoteOffEvent(message.mChannel, message.mPitch, message.mVelocity));
    mNoteMessages.clear();
}

// The notes are ended, and the lanes released; what the track would sound like is kept.
void MdidHost_PlayEngine::PutSilence(std::size_t iTrack)
{
    const Track& track = mTracks[iTrack];
    for (const Mdie_NoteInProgress* noteP = track.mNotes.NextNoteOff(); noteP != nullptr; noteP = noteP->GetNext())
        mNoteMessages.push_back(
            {noteP->mReleaseTime, iTrack, mNoteMessages.size(), noteP->mChannel, noteP->mPitch, noteP->mOffVelocity});
    PutCollectedNotes(Mdid_Event::kNoteOff, MdidHost_PlayedEvent::kNoteOff);
    track.mLanesP->Mute(mOrder);
    PutLanes(iTrack, true);
}

// What a jump sends of a lane that is at rest there is its release.
void MdidHost_PlayEngine::PutLanes(std::size_t iTrack, bool iIsRelease)
{
    const Track& track = mTracks[iTrack];
    for (const MdidHost_PlayOrder::Sent& sent : mOrder.Sort())
    {
        const bool isRelease = iIsRelease || track.mLanesP->IsAtRest(sent.mEvent);
        Mdid_Event event = sent.mEvent;
        if (track.mSourceP->mMPEMembers == 0)
            event.SetChannel(static_cast<signed char>(track.mSourceP->mChannel & 0x0F));
        Put(iTrack, isRelease ? MdidHost_PlayedEvent::kRelease : MdidHost_PlayedEvent::kChase, event);
    }
    mOrder.Clear();
}

// What a sink that throws has not got goes first the next time.
void MdidHost_PlayEngine::Flush(MdidHost_PlaySink& ioSink)
{
    while (mNumSent < mOutbox.size())
    {
        const Outgoing& outgoing = mOutbox[mNumSent++];
        Send(outgoing.mTrack, outgoing.mWhy, outgoing.mEvent, ioSink);
    }
    mOutbox.clear();
    mNumSent = 0;
}

void MdidHost_PlayEngine::Send(std::size_t iTrack, Why iWhy, const Mdid_Event& iEvent, MdidHost_PlaySink& ioSink) const
{
    ioSink.Receive({mPosition, static_cast<int>(iTrack), iWhy, iEvent, mElapsed});
}

void MdidHost_PlayEngine::UpdateNoteEnd(std::size_t iTrack)
{
    const Mdie_NoteInProgress* const noteP = mTracks[iTrack].mNotes.NextNoteOff();
    mNoteEnds.Set(iTrack, noteP == nullptr ? MdidHost_PlayNoteEnds::kNever
                                           : MdidHost_PlaySchedule::SampleOf(noteP->mReleaseTime));
}
