#pragma once

#include "MFnd/Mem2_MasterAllocator.h"
#include "Mdid/Mdie_TrackState.h"
#include "MdidHost/Play/MdidHost_PlayLanes_Private.h"
#include "MdidHost/Play/MdidHost_PlayNoteEnds_Private.h"
#include "MdidHost/Play/MdidHost_PlaySchedule_Private.h"
#include "MdidHost/Play/MdidHost_Player.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// Does what MdidHost_Player says, in the current context of time.
class MdidHost_PlayEngine
{
public:
    MdidHost_PlayEngine(const MdidHost_Session& iSession, const MdidHost_PlayOptions& iOptions);
    ~MdidHost_PlayEngine();
    MdidHost_PlayEngine(const MdidHost_PlayEngine&) = delete;
    MdidHost_PlayEngine& operator=(const MdidHost_PlayEngine&) = delete;

    bool Render(MdidHost_PlaySink& ioSink);
    void Jump(std::int64_t iSample);
    void SetMuted(std::size_t iTrack, bool iIsMuted);
    void SetSolo(std::size_t iTrack, bool iIsSolo);
    void Stop(MdidHost_PlaySink& ioSink);

    bool IsPlaying() const { return mIsRolling; }
    std::int64_t GetPosition() const { return mPosition; }
    std::int64_t GetEnd() const { return mEnd; }
    std::int64_t GetElapsed() const { return mElapsed; }
    std::int64_t GetBlockSize() const { return mBlockSize; }
    std::int32_t GetSampleRate() const { return mSampleRate; }

private:
    using Why = MdidHost_PlayedEvent::Why;
    using Item = MdidHost_PlayItem;

    struct Track
    {
        const MdidHost_Track* mSourceP = nullptr;
        std::unique_ptr<MdidHost_PlayLanes> mLanesP;       // as they sound, or would
        std::unique_ptr<MdidHost_PlayLanes> mTargetLanesP; // of a jump
        Mdie_TrackState mNotes;                            // on their channels, times as in the session
        bool mIsMuted = false;
        bool mIsSolo = false;
        bool mIsHeard = true;
    };

    struct PlannedJump
    {
        std::int64_t mAt;
        std::int64_t mTo;
        int mNumLeft;
        bool mIsLoop;
    };

    struct NoteMessage
    {
        Time_Typed mTime;
        std::size_t mTrack;
        std::size_t mNumber; // as it came
        signed char mChannel;
        signed char mPitch;
        signed char mVelocity;
    };

    struct SoundingNote
    {
        Time_Typed mEnd;
        const MdidHost_PlaySchedule::Note* mNoteP;
        std::size_t mNumber; // in the list
        Mdid_NoteWithDurationEvent mEvent;
    };

    struct Outgoing
    {
        std::size_t mTrack;
        Why mWhy;
        Mdid_Event mEvent;
    };

    class TransitionReceiver;

    static bool GoesBefore(const NoteMessage& iA, const NoteMessage& iB);

    void MakePlan(const MdidHost_PlayOptions& iOptions);
    void MakePool();
    void BuildNoteIndexes() const;

    void ApplyMutes(bool iIsHeard, MdidHost_PlaySink& ioSink);
    bool IsToBeHeard(const Track& iTrack) const;
    void Unmute(std::size_t iTrack);

    void Start(MdidHost_PlaySink& ioSink);
    void StartTrack(std::size_t iTrack);
    void SetPosition(std::int64_t iSample);
    void GoTo(std::int64_t iSample, MdidHost_PlaySink& ioSink);
    void MoveTracks(MdidHost_PlaySink& ioSink);
    void MoveTrack(std::size_t iTrack);
    void MoveNotes(std::size_t iTrack);
    void CollectNoteOn(std::size_t iTrack, const Mdid_NoteOnEvent& iEvent);
    void AddSoundingNotes(std::size_t iTrack, Mdie_TrackState& ioNotes);
    PlannedJump* FindJump();
    std::int64_t FindNextJump(std::int64_t iBefore) const;

    void RenderUpTo(std::int64_t iSample, MdidHost_PlaySink& ioSink);
    void MoveOn(std::int64_t iSample);
    void RenderSample(MdidHost_PlaySink& ioSink);
    void Play(const Item& iItem, MdidHost_PlaySink& ioSink);
    void PlayNote(const Item& iItem, MdidHost_PlaySink& ioSink);

    void CollectDueNoteOffs(std::size_t iTrack);
    void PutCollectedNotes(Mdid_Event::Type iType, Why iWhy);
    void SendDueNoteOffs(MdidHost_PlaySink& ioSink);
    void PutNoteOns(std::size_t iTrack);
    void PutSilence(std::size_t iTrack);
    void PutLanes(std::size_t iTrack, bool iIsRelease);
    void Put(std::size_t iTrack, Why iWhy, const Mdid_Event& iEvent) { mOutbox.push_back({iTrack, iWhy, iEvent}); }
    void Flush(MdidHost_PlaySink& ioSink);
    void Send(std::size_t iTrack, Why iWhy, const Mdid_Event& iEvent, MdidHost_PlaySink& ioSink) const;
    void UpdateNoteEnd(std::size_t iTrack);

    MdidHost_PlaySchedule mSchedule;
    MdidHost_PlayMaps mMaps;
    std::unique_ptr<Mem2_MasterAllocator> mPoolP;
    std::vector<Track> mTracks;
    MdidHost_PlayNoteEnds mNoteEnds;
    MdidHost_PlayOrder mOrder;
    std::vector<SoundingNote> mSoundingNotes;
    std::vector<NoteMessage> mNoteMessages;
    std::vector<Outgoing> mOutbox; // the state is as if it had been sent
    std::size_t mNumSent = 0;      // of these
    std::vector<PlannedJump> mPlan;
    std::int64_t mBlockSize;
    std::int32_t mSampleRate;
    int mNoteOffPriority;
    std::ptrdiff_t mNumSolos = 0;
    std::int64_t mEnd;

    std::int64_t mPosition;
    std::int64_t mElapsed = 0; // at the position
    const Item* mNextP = nullptr;
    std::optional<std::int64_t> mRequestedJump;
    bool mIsRolling = false;
    bool mIsStopping = false;    // not all tracks are silent yet
    std::size_t mNumInPlace = 0; // of the tracks: those that are where the position is
    bool mIsStarting = false;    // the others have yet to begin
    bool mHasPlayedHere = false; // the position was reached by playing
    bool mAreMutesChanged = false;
};
