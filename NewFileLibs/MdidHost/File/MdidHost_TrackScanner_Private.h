#pragma once

#include "Mdid/Mdi_Parse.h"
#include "Mdid/Mdi_Status.h"
#include "MdidHost/File/MdidHost_FileBytes_Private.h"
#include "MdidHost/File/MdidHost_Findings.h"
#include "MdidHost/File/MdidHost_MetaEvent_Private.h"

#include <algorithm>
#include <array>
#include <cstdint>

// One event of a track, as it is or repaired.
struct MdidHost_TrackEvent
{
    std::int64_t mOffset = 0;  // of its delta time in the file
    std::int64_t mTime = 0;    // ticks from the start of the track, at most MdidHost_TrackScanner::kMaxTime
    unsigned char mStatus = 0; // 0x80 to 0xEF, 0xF0, 0xF7, 0xFF
    unsigned char mType = 0;   // of a meta event

    // What follows: of channel messages, and of meta events of a fixed length, these bytes; of all others mLength bytes
    // of the file.
    MdidHost_Meta::Data mData;
    bool mIsInFile = false;
    std::int64_t mPayload = 0;
    std::int64_t mLength = 0;

    bool IsChannelMessage() const { return mStatus < Mdi_Status::kFirstSystem; }
    bool IsMeta() const { return mStatus == Mdi_Status::kMeta; }
    bool IsEndOfTrack() const { return IsMeta() && mType == Mdi_Meta::kEndOfTrack; }
};

// Walks the events of one track.
//
// Linear in the bytes of the track; a walk over a damaged one looks ahead a few events at each damage.
class MdidHost_TrackScanner
{
public:
    using Event = MdidHost_TrackEvent;
    using Bytes = MdidHost_FileBytes;

    // What the reader can count; later events of a damaged track are set to it.
    static constexpr std::int64_t kMaxTime = 0x7FFFFFFF;
    static constexpr std::int64_t kMaxLength = 0x7FFFFFFF;

    enum class Mode
    {
        kSound,  // stops at the first damage
        kRepair, // makes the best of it; the last event is an end of track, whatever the file has
    };

    // Of the events in the file, without the chunk's header.
    struct Extent
    {
        std::int64_t mStart = 0;
        std::int64_t mStatedEnd = 0; // where they end by the length in the header
    };

    // Findings go to iFindingsP, or nowhere when it is null. Both must outlive the scanner.
    MdidHost_TrackScanner(MdidHost_FileBytes& ioBytes, Extent iExtent, Mode iMode, MdidHost_FindingList* iFindingsP);

    // False at the end of the track, or of what is sound of it.
    bool Next(Event& oEvent);

    // In the mode for sound tracks: passes over the whole channel messages that lie ready, up to the first event that
    // is anything else. iOnController(status, number, value) hears of the controllers among them.
    template <class OnController>
    void SkipChannelMessages(OnController iOnController);

    // At the end: whether everything was sound, and where what belongs to the track ends in the file.
    bool IsSound() const { return mIsSound; }
    std::int64_t GetPosition() const { return mPosition; }

    // Whether what comes next reads like events.
    bool LooksLikeEvents() { return CountSoundEvents(mPosition, mRunningStatus, false) >= kEnough; }

private:
    enum class Outcome
    {
        kEvent,   // read one
        kDropped, // passed over something
        kStopped  // the track ends before it
    };

    // Where to go on behind damage, and how well that reads.
    struct Continuation
    {
        std::int64_t mPosition = 0;
        bool mIsDeltaMissing = false;
        int mScore = -1;
    };

    // Of CountSoundEvents: a couple of events with a status of their own, or the end of the track.
    static constexpr int kEnough = 8;
    static constexpr unsigned char kUnknownStatus = Mdi_Status::kNoteOff; // running, of messages with two bytes
    static constexpr std::ptrdiff_t kLongestPlainEvent = 7;

    bool IsAtEnd();
    bool End(Event& oEvent);
    bool GoesOnBeyondStatedEnd();
    bool IsTrackAhead(std::int64_t iTrack);
    std::int64_t TrackBeginBetween(std::int64_t iStart, std::int64_t iEnd);
    bool GoBackToTrackBegin(std::int64_t iStart);
    Outcome ReadEvent(Event& oEvent);
    Outcome ReadDelta(Event& oEvent, std::int64_t& oNext);
    Outcome ReadChannelMessage(Event& oEvent, std::int64_t iData);
    Outcome ReadMeta(Event& oEvent, std::int64_t iType);
    Outcome ReadEndOfTrack(Event& oEvent, const MdidHost_VariableLength& iLength);
    Outcome DropMeta(Event& oEvent, std::int64_t iType);
    Outcome ReadPayload(Event& oEvent, std::int64_t iLength);
    Outcome ReadFixedMeta(Event& oEvent);
    Outcome Deliver(Event& oEvent);

    Outcome RepairMessage(Event& oEvent, std::int64_t iData, int iNumRead);
    Outcome DropSystemMessage(std::int64_t iStatus);
    Outcome DropStray(std::int64_t iPosition);
    Outcome DropTooLong(std::int64_t iData);
    Outcome EndInEvent();
    Outcome GoOnAt(const Continuation& iContinuation);

    void EndAt(std::int64_t iPosition);
    bool MayRepair(std::int64_t iOffset, MdidHost_Severity iSeverity, std::string_view iText);
    void Report(std::int64_t iOffset, MdidHost_Severity iSeverity, std::string_view iText);
    void ReportLength(std::int64_t iEnd);

    Continuation ContinueAt(std::int64_t iPosition, unsigned char iRunningStatus);
    bool AreData(std::int64_t iPosition, int iCount);
    int CountSoundEvents(std::int64_t iPosition, unsigned char iRunningStatus, bool iIsDeltaMissing);
    int ScoreOfEvent(std::int64_t& ioPosition, unsigned char& ioRunningStatus, bool iIsDeltaMissing,
                     std::int64_t iLimit);
    bool IsTrackBegin(std::int64_t iPosition) { return mBytes.At(iPosition) == 'M' && mBytes.Holds(iPosition, "MTrk"); }
    std::int64_t PayloadLimit();

    MdidHost_FileBytes& mBytes;
    const Extent mExtent;
    const Mode mMode;
    MdidHost_FindingList* const mFindingsP;

    const bool mIsEndSensible; // another track or nothing follows there

    std::int64_t mPosition; // of the next event
    std::int64_t mTime = 0;
    std::int64_t mTimeOfLast = 0; // that was delivered
    unsigned char mRunningStatus = 0;
    std::array<bool, 256> mIsStatusUsed{};
    bool mIsDeltaMissing = false; // the next event begins with its status
    bool mIsSound = true;
    bool mIsDone = false;
    bool mIsBeyond = false; // behind the stated end
    bool mIsCut = false;    // the file has ended
    bool mIsTimeReported = false;
    std::int64_t mStrayEnd = -1; // of the bytes reported last
};

template <class OnController>
void MdidHost_TrackScanner::SkipChannelMessages(OnController iOnController)
{
    const Bytes::Bytes window = mBytes.WindowAt(mPosition);
    if (mMode != Mode::kSound || mIsDone || std::ssize(window) < kLongestPlainEvent)
        return;
    const unsigned char* p = window.data();
    const unsigned char* const lastP =
        p + std::min<std::int64_t>(std::ssize(window) - kLongestPlainEvent, mExtent.mStatedEnd - mPosition - 1);
    unsigned char running = mRunningStatus;
    std::int64_t time = mTime;
    const unsigned char* nextP = p;
    // Nobody can foretell whether a message repeats its status and how long it is, so neither is asked in a branch.
    for (; nextP <= lastP; p = nextP)
    {
        std::uint32_t delta = *nextP & 0x7Fu;
        const unsigned char* const lastDeltaP = nextP + MdidHost_VariableLength::kMaxBytes - 1;
        while (*nextP >= 0x80 && nextP < lastDeltaP)
            delta = delta << 7 | (*++nextP & 0x7Fu);
        if (*nextP++ >= 0x80)
            break;
        const int hasStatus = *nextP >> 7;
        const unsigned char status = hasStatus != 0 ? *nextP : running;
        nextP += hasStatus;
        const int isLong = Mdi_Parse::NumDataBytes(status) - 1;
        if (status < Mdi_Status::kFirst || status >= Mdi_Status::kFirstSystem ||
            (nextP[0] | (nextP[1] & -isLong)) >= 0x80)
            break;
        if (Mdi_Status::KindOf(status) == Mdi_Status::kController)
            iOnController(status, nextP[0], nextP[1]);
        nextP += 1 + isLong;
        running = status;
        time += delta;
    }
    mPosition += p - window.data();
    mRunningStatus = running;
    mTime = time;
}
