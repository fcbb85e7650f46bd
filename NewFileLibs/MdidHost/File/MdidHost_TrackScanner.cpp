#include "MdidHost/File/MdidHost_TrackScanner_Private.h"

#include <algorithm>
#include <string>

namespace
{

using namespace Mdi_Status;
using Severity = MdidHost_Severity;

constexpr int kMaxData = 0x7F;
constexpr std::int64_t kChunkHeaderLength = 8;
constexpr const char kReachesIntoNextTrack[] = "the event reaches into the next track: dropped";

bool IsData(int iByte)
{
    return iByte >= 0 && iByte <= kMaxData;
}

// System messages that have no place in a file.
bool IsStraySystem(int iByte)
{
    return iByte > kSysexStart && iByte < kMeta && iByte != kSysexEnd;
}

int NumSystemDataBytes(int iStatus)
{
    switch (iStatus)
    {
    case kTimecode:
    case kSongSelect:
        return 1;
    case kSongPointer:
        return 2;
    default:
        return 0;
    }
}

std::string Count(std::int64_t iCount, const char* iOne, const char* iMany)
{
    return std::to_string(iCount).append(" ").append(iCount == 1 ? iOne : iMany);
}

std::string HexByte(int iByte)
{
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    return {'0', 'x', kDigits[static_cast<std::size_t>(iByte >> 4 & 15)],
            kDigits[static_cast<std::size_t>(iByte & 15)]};
}

} // namespace

MdidHost_TrackScanner::MdidHost_TrackScanner(MdidHost_FileBytes& ioBytes, Extent iExtent, Mode iMode,
                                             MdidHost_FindingList* iFindingsP)
    : mBytes(ioBytes),
      mExtent(iExtent),
      mMode(iMode),
      mFindingsP(iFindingsP),
      mIsEndSensible(iMode == Mode::kRepair && iExtent.mStatedEnd <= ioBytes.GetEnd() &&
                     (iExtent.mStatedEnd == ioBytes.GetEnd() || IsTrackBegin(iExtent.mStatedEnd))),
      mPosition(iExtent.mStart)
{
}

bool MdidHost_TrackScanner::Next(Event& oEvent)
{
    while (!mIsDone)
    {
        oEvent = {};
        oEvent.mOffset = mPosition;
        const std::int64_t timeOfLast = mTimeOfLast;
        Outcome outcome = IsAtEnd() ? Outcome::kStopped : ReadEvent(oEvent);
        if (outcome != Outcome::kStopped && GoBackToTrackBegin(oEvent.mOffset))
        {
            mTimeOfLast = timeOfLast;
            outcome = Outcome::kStopped;
        }
        if (outcome == Outcome::kEvent)
            return true;
        if (outcome == Outcome::kStopped)
            return End(oEvent);
    }
    return false;
}

bool MdidHost_TrackScanner::IsAtEnd()
{
    if (mPosition >= mBytes.GetEnd())
        return true;
    if (mMode == Mode::kSound)
        return mPosition >= mExtent.mStatedEnd;
    if (IsTrackBegin(mPosition))
        return true;
    if (mPosition >= mExtent.mStatedEnd && !mIsBeyond)
        mIsBeyond = GoesOnBeyondStatedEnd();
    return mPosition >= mExtent.mStatedEnd && !mIsBeyond;
}

// A track without an end may have more events than its length tells. Padding and other chunks are none.
bool MdidHost_TrackScanner::GoesOnBeyondStatedEnd()
{
    const std::int64_t end = mPosition + kChunkHeaderLength + mBytes.BigEndian(mPosition + 4, 4);
    const bool isChunk = end == mBytes.GetEnd() || IsTrackBegin(end);
    return !isChunk && mBytes.BigEndian(mPosition, 4) != 0 && LooksLikeEvents();
}

// Whether what begins with the letters of a track goes on as one.
bool MdidHost_TrackScanner::IsTrackAhead(std::int64_t iTrack)
{
    const std::int64_t start = iTrack + kChunkHeaderLength;
    return start <= mBytes.GetEnd() &&
           MdidHost_TrackScanner(mBytes, {start, start + mBytes.BigEndian(iTrack + 4, 4)}, Mode::kRepair, nullptr)
               .LooksLikeEvents();
}

// Where another track begins within an event, or iEnd. Within a length that makes sense its letters are data.
std::int64_t MdidHost_TrackScanner::TrackBeginBetween(std::int64_t iStart, std::int64_t iEnd)
{
    const bool isWithinLength = mIsEndSensible && iStart < mExtent.mStatedEnd;
    if (isWithinLength)
        return std::min(mExtent.mStatedEnd, iEnd);
    const std::int64_t track = mBytes.FindTrack(iStart);
    return track < iEnd && IsTrackAhead(track) ? track : iEnd;
}

// A damaged event must not take the next track with it.
bool MdidHost_TrackScanner::GoBackToTrackBegin(std::int64_t iStart)
{
    if (mMode == Mode::kSound || mIsDone)
        return false;
    const std::int64_t track = TrackBeginBetween(iStart, mPosition);
    if (track >= mPosition)
        return false;
    Report(iStart, Severity::kError, kReachesIntoNextTrack);
    mPosition = track;
    return true;
}

// Without an end of track in the file.
bool MdidHost_TrackScanner::End(Event& oEvent)
{
    mIsDone = true;
    mIsSound = false;
    if (mMode == Mode::kSound)
        return false;
    const std::int64_t missing = mExtent.mStatedEnd - mBytes.GetEnd();
    if (!mIsCut && mPosition >= mBytes.GetEnd() && missing > 0)
        Report(mPosition, Severity::kError,
               "the file ends " + Count(missing, "byte", "bytes") + " before the track does: the rest is missing");
    else if (!mIsCut)
    {
        Report(mPosition, Severity::kWarning, "no end of track: supplied");
        ReportLength(mPosition);
    }
    oEvent = {};
    oEvent.mOffset = mPosition;
    oEvent.mStatus = kMeta;
    oEvent.mType = Mdi_Meta::kEndOfTrack;
    oEvent.mTime = std::min(mTimeOfLast, kMaxTime);
    return true;
}

// mTime goes on at once, so that what is dropped leaves all that follows where it was.
MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::ReadEvent(Event& oEvent)
{
    std::int64_t position = mPosition;
    if (!mIsDeltaMissing)
    {
        const Outcome outcome = ReadDelta(oEvent, position);
        if (outcome != Outcome::kEvent)
            return outcome;
    }
    mIsDeltaMissing = false;

    const int status = mBytes.At(position);
    if (status < 0)
        return EndInEvent();
    if (status <= kMaxData && mRunningStatus == 0)
        return DropStray(position);
    if (status < kFirstSystem)
    {
        if (status > kMaxData)
            mRunningStatus = static_cast<unsigned char>(status);
        oEvent.mStatus = mRunningStatus;
        return ReadChannelMessage(oEvent, position + (status > kMaxData ? 1 : 0));
    }
    oEvent.mStatus = static_cast<unsigned char>(status);
    if (status == kMeta)
        return ReadMeta(oEvent, position + 1);
    if (IsStraySystem(status))
        return DropSystemMessage(position);
    return ReadPayload(oEvent, position + 1);
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::ReadDelta(Event& oEvent, std::int64_t& oNext)
{
    const auto delta = MdidHost_VariableLength::Read(mBytes, mPosition, mBytes.GetEnd());
    if (!delta.mIsWhole)
        return EndInEvent();
    if (!delta.mIsSound && delta.Fits() &&
        !MayRepair(oEvent.mOffset, Severity::kWarning, "a delta time of more than four bytes: shortened"))
        return Outcome::kStopped;
    if (!delta.Fits() && !MayRepair(oEvent.mOffset, Severity::kError, "a delta time out of range: taken as 0"))
        return Outcome::kStopped;
    oNext = delta.mEnd;
    if (delta.Fits())
        mTime += delta.mValue;
    return Outcome::kEvent;
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::ReadChannelMessage(Event& oEvent, std::int64_t iData)
{
    const int count = Mdi_Parse::NumDataBytes(oEvent.mStatus);
    for (int i = 0; i < count; ++i)
    {
        const int byte = mBytes.At(iData + i);
        if (byte < 0)
            return EndInEvent();
        if (!IsData(byte))
            return RepairMessage(oEvent, iData, i);
        oEvent.mData.mBytes[static_cast<std::size_t>(i)] = static_cast<unsigned char>(byte);
    }
    oEvent.mLength = oEvent.mData.mLength = count;
    mPosition = iData + count;
    return Deliver(oEvent);
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::Deliver(Event& oEvent)
{
    if (mTime > kMaxTime && !mIsTimeReported)
    {
        if (!MayRepair(oEvent.mOffset, Severity::kError,
                       "times beyond " + std::to_string(kMaxTime) + " ticks: all set to this one"))
            return Outcome::kStopped;
        mIsTimeReported = true;
    }
    mIsStatusUsed[oEvent.mStatus] = true;
    mTimeOfLast = mTime;
    oEvent.mTime = std::min(mTime, kMaxTime);
    return Outcome::kEvent;
}

// A byte that is no data where data are expected: a system message in between, the begin of another message, a wrong
// data byte, or the delta time of the next event: whatever reads best with what follows.
MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::RepairMessage(Event& oEvent, std::int64_t iData, int iNumRead)
{
    if (mMode == Mode::kSound || mIsBeyond)
        return Outcome::kStopped;
    const std::int64_t position = iData + iNumRead;
    const int byte = mBytes.At(position);
    const int rest = Mdi_Parse::NumDataBytes(oEvent.mStatus) - iNumRead - 1;
    static constexpr int kOwnEvent = 2;

    const Continuation none{position, true, -1};
    const bool isRealTime = byte >= kFirstRealTime && byte < kMeta && AreData(position + 1, rest + 1);
    const Continuation without =
        isRealTime ? Continuation{position + rest + 2, false,
                                  kOwnEvent + CountSoundEvents(position + rest + 2, oEvent.mStatus, false)}
                   : none;
    const Continuation clipped =
        AreData(position + 1, rest)
            ? Continuation{position + rest + 1, false,
                           kOwnEvent + CountSoundEvents(position + rest + 1, oEvent.mStatus, false)}
            : none;
    const Continuation cutShort = ContinueAt(position, oEvent.mStatus);
    // When both read as well, what the track has used before is no accident.
    const bool isKnown = mIsStatusUsed[static_cast<std::size_t>(byte)] || byte >= kFirstSystem;
    const bool isCutShort = cutShort.mScore > clipped.mScore || (cutShort.mScore == clipped.mScore && isKnown);

    if (isRealTime && without.mScore >= cutShort.mScore && without.mScore >= clipped.mScore)
    {
        Report(position, Severity::kWarning, "a system message within an event: dropped");
        for (int i = iNumRead; i <= iNumRead + rest; ++i)
            oEvent.mData.mBytes[static_cast<std::size_t>(i)] = static_cast<unsigned char>(mBytes.At(iData + 1 + i));
        mPosition = without.mPosition;
    }
    else if (isCutShort)
    {
        Report(oEvent.mOffset, Severity::kError, "a message that is not complete: dropped");
        return GoOnAt(cutShort);
    }
    else
    {
        Report(position, Severity::kWarning, "a data byte of " + HexByte(byte) + ": clipped to 0x7F");
        oEvent.mData.mBytes[static_cast<std::size_t>(iNumRead)] = kMaxData;
        if (rest > 0)
            oEvent.mData.mBytes[static_cast<std::size_t>(iNumRead) + 1] =
                static_cast<unsigned char>(mBytes.At(position + 1));
        mPosition = clipped.mPosition;
    }
    oEvent.mLength = oEvent.mData.mLength = Mdi_Parse::NumDataBytes(oEvent.mStatus);
    return Deliver(oEvent);
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::DropSystemMessage(std::int64_t iStatus)
{
    if (!MayRepair(iStatus, Severity::kWarning, "a system message within the track: dropped"))
        return Outcome::kStopped;
    Continuation best = ContinueAt(iStatus + 1, mRunningStatus);
    const int numData = NumSystemDataBytes(mBytes.At(iStatus));
    if (AreData(iStatus + 1, numData))
    {
        const Continuation withData = ContinueAt(iStatus + 1 + numData, mRunningStatus);
        if (withData.mScore >= best.mScore)
            best = withData;
    }
    return GoOnAt(best);
}

// Data without a status. Where they were messages that had one, each is dropped for itself, so that the times of the
// next events still count.
MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::DropStray(std::int64_t iPosition)
{
    if (iPosition != mStrayEnd && !MayRepair(iPosition, Severity::kError, "data bytes without a status: dropped"))
        return Outcome::kStopped;
    if (mIsBeyond || mMode == Mode::kSound)
        return Outcome::kStopped;
    static constexpr int kMaxStray = 3;
    Continuation best{iPosition + 1, true, 0};
    for (int count = 1; count <= kMaxStray && AreData(iPosition, count) && !IsTrackBegin(iPosition + count - 1);
         ++count)
    {
        const Continuation next = ContinueAt(iPosition + count, kUnknownStatus);
        if (next.mScore > best.mScore)
            best = next;
    }
    // The next delta time lies between these bytes and the next stray ones.
    mStrayEnd = best.mPosition;
    if (!best.mIsDeltaMissing)
        mStrayEnd = MdidHost_VariableLength::Read(mBytes, best.mPosition, MdidHost_VariableLength::kMaxBytes).mEnd;
    return GoOnAt(best);
}

// iType: position of its type.
MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::ReadMeta(Event& oEvent, std::int64_t iType)
{
    const int type = mBytes.At(iType);
    if (type < 0)
        return EndInEvent();
    if (!IsData(type))
        return DropMeta(oEvent, iType);
    oEvent.mType = static_cast<unsigned char>(type);
    if (type == Mdi_Meta::kEndOfTrack)
        return ReadEndOfTrack(oEvent, MdidHost_VariableLength::Read(mBytes, iType + 1, mBytes.GetEnd()));
    const Outcome outcome = ReadPayload(oEvent, iType + 1);
    const bool isFixed = MdidHost_Meta::LengthOf(oEvent.mType) >= 0;
    return outcome == Outcome::kEvent && isFixed ? ReadFixedMeta(oEvent) : outcome;
}

// Its type is none: either that alone is wrong, or it is the next event's status.
MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::DropMeta(Event& oEvent, std::int64_t iType)
{
    if (!MayRepair(oEvent.mOffset, Severity::kWarning,
                   "a meta event of type " + HexByte(mBytes.At(iType)) + ": dropped"))
        return Outcome::kStopped;
    const auto length = MdidHost_VariableLength::Read(mBytes, iType + 1, MdidHost_VariableLength::kMaxBytes);
    const std::int64_t end = length.mEnd + length.mValue;
    const Continuation withoutStatus = ContinueAt(iType, mRunningStatus);
    if (!length.mIsWhole || end > PayloadLimit())
        return GoOnAt(withoutStatus);
    const Continuation behind = ContinueAt(end, mRunningStatus);
    return GoOnAt(withoutStatus.mScore > behind.mScore ? withoutStatus : behind);
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::ReadEndOfTrack(Event& oEvent,
                                                                     const MdidHost_VariableLength& iLength)
{
    if (!iLength.mIsWhole)
        return EndInEvent();
    if ((iLength.mValue != 0 || !iLength.mIsSound) &&
        !MayRepair(oEvent.mOffset, Severity::kWarning, "an end of track with a length: corrected"))
        return Outcome::kStopped;
    // In the mode for sound tracks the length is 0 here.
    const bool hasData = iLength.Fits() && iLength.mValue > 0 && iLength.mEnd + iLength.mValue <= PayloadLimit();
    std::int64_t end = iLength.mEnd + (hasData ? iLength.mValue : 0);
    if (mMode == Mode::kSound && end != mExtent.mStatedEnd)
        return Outcome::kStopped;
    if (mMode == Mode::kRepair)
        end = TrackBeginBetween(oEvent.mOffset, end);
    const Outcome outcome = Deliver(oEvent);
    if (outcome != Outcome::kEvent)
        return outcome;
    mIsDone = true;
    if (mMode == Mode::kSound)
        mPosition = end;
    else
        EndAt(end);
    return outcome;
}

// Behind an end of track.
void MdidHost_TrackScanner::EndAt(std::int64_t iPosition)
{
    const std::int64_t statedEnd = mExtent.mStatedEnd;
    mPosition = iPosition;
    if (iPosition > statedEnd)
        ReportLength(iPosition);
    if (iPosition >= statedEnd)
        return;
    if (statedEnd > mBytes.GetEnd() || mBytes.FindTrack(iPosition) < statedEnd)
    {
        ReportLength(iPosition);
        return;
    }
    bool isPadding = true;
    while (isPadding && mPosition < statedEnd)
        isPadding = mBytes.At(mPosition++) == 0;
    mPosition = statedEnd;
    Report(iPosition, isPadding ? Severity::kWarning : Severity::kError,
           Count(statedEnd - iPosition, "byte", "bytes") + " behind the end of track: dropped");
}

// Data in the file, from their length on. An event that reaches beyond all there is was cut, or lies about its length.
MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::ReadPayload(Event& oEvent, std::int64_t iLength)
{
    const auto length = MdidHost_VariableLength::Read(mBytes, iLength, mBytes.GetEnd());
    const std::int64_t end = length.mEnd + length.mValue;
    const bool fits = length.Fits() && end <= (mMode == Mode::kSound ? mExtent.mStatedEnd : PayloadLimit());
    if (!fits)
        return DropTooLong(length.mIsSound ? length.mEnd : iLength);
    if (!length.mIsSound &&
        !MayRepair(oEvent.mOffset, Severity::kWarning, "a length of more than four bytes: shortened"))
        return Outcome::kStopped;
    oEvent.mIsInFile = true;
    oEvent.mPayload = length.mEnd;
    oEvent.mLength = length.mValue;
    mPosition = end;
    return Deliver(oEvent);
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::ReadFixedMeta(Event& oEvent)
{
    MdidHost_Meta::Data data;
    data.mLength = oEvent.mLength;
    const auto count = std::min<std::int64_t>(oEvent.mLength, MdidHost_Meta::Data::kMaxLength);
    for (std::int64_t i = 0; i < count; ++i)
        data.mBytes[static_cast<std::size_t>(i)] = static_cast<unsigned char>(mBytes.At(oEvent.mPayload + i));

    oEvent.mData = data;
    oEvent.mIsInFile = false;
    const bool isGood = MdidHost_Meta::Correct(oEvent.mType, oEvent.mData);
    oEvent.mLength = oEvent.mData.mLength;
    if (isGood && oEvent.mData == data)
        return Outcome::kEvent;
    if (mMode == Mode::kSound || mIsBeyond)
        return Outcome::kStopped;
    Report(oEvent.mOffset, Severity::kWarning,
           std::string(MdidHost_Meta::NameOf(oEvent.mType)) +
               (isGood ? " of a wrong length or content: corrected" : " of a wrong length or content: dropped"));
    return isGood ? Outcome::kEvent : Outcome::kDropped;
}

// Looks for the next events behind the head of an event whose data reach too far.
MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::DropTooLong(std::int64_t iData)
{
    if (mMode == Mode::kSound || mIsBeyond)
        return Outcome::kStopped;
    const std::int64_t limit = std::min(PayloadLimit(), mBytes.GetEnd());
    std::int64_t position = std::min(iData, limit);
    while (position < limit && CountSoundEvents(position, 0, false) < kEnough)
        ++position;
    if (position >= mBytes.GetEnd())
        return EndInEvent();
    Report(mPosition, Severity::kError, "an event that reaches beyond the track: dropped");
    return GoOnAt({position, false, 0});
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::EndInEvent()
{
    if (mMode == Mode::kSound || mIsBeyond)
        return Outcome::kStopped;
    Report(mPosition, Severity::kError, "the file ends in the middle of an event: the rest is missing");
    mIsCut = true;
    mPosition = mBytes.GetEnd();
    return Outcome::kStopped;
}

MdidHost_TrackScanner::Outcome MdidHost_TrackScanner::GoOnAt(const Continuation& iContinuation)
{
    mPosition = iContinuation.mPosition;
    mIsDeltaMissing = iContinuation.mIsDeltaMissing;
    return Outcome::kDropped;
}

// Whether there is something to be made of damage: not in a track that is taken for sound, nor behind the stated end of
// one, where the damage shows that the track has indeed ended.
bool MdidHost_TrackScanner::MayRepair(std::int64_t iOffset, Severity iSeverity, std::string_view iText)
{
    if (mMode == Mode::kSound || mIsBeyond)
        return false;
    Report(iOffset, iSeverity, iText);
    return true;
}

void MdidHost_TrackScanner::Report(std::int64_t iOffset, Severity iSeverity, std::string_view iText)
{
    mIsSound = false;
    if (mFindingsP != nullptr)
        mFindingsP->Add(iOffset, iSeverity, iText);
}

void MdidHost_TrackScanner::ReportLength(std::int64_t iEnd)
{
    if (iEnd != mExtent.mStatedEnd)
        Report(mExtent.mStart - 4, Severity::kWarning,
               "the length says " + Count(mExtent.mStatedEnd - mExtent.mStart, "byte", "bytes") +
                   ", the events end after " + std::to_string(iEnd - mExtent.mStart) + ": corrected");
}

// With a delta time there or, where a status stands, without one: whichever reads better.
MdidHost_TrackScanner::Continuation MdidHost_TrackScanner::ContinueAt(std::int64_t iPosition,
                                                                      unsigned char iRunningStatus)
{
    const int withDelta = CountSoundEvents(iPosition, iRunningStatus, false);
    if (mBytes.At(iPosition) <= kMaxData)
        return {iPosition, false, withDelta};
    const int withoutDelta = CountSoundEvents(iPosition, iRunningStatus, true);
    return {iPosition, withoutDelta >= withDelta, std::max(withDelta, withoutDelta)};
}

bool MdidHost_TrackScanner::AreData(std::int64_t iPosition, int iCount)
{
    while (iCount > 0 && IsData(mBytes.At(iPosition)))
    {
        ++iPosition;
        --iCount;
    }
    return iCount <= 0;
}

// How well the bytes there read as events: kEnough for a couple of them, or when they lead to the end of the track.
int MdidHost_TrackScanner::CountSoundEvents(std::int64_t iPosition, unsigned char iRunningStatus, bool iIsDeltaMissing)
{
    const std::int64_t limit = std::min(PayloadLimit(), mBytes.GetEnd());
    int score = 0;
    while (score < kEnough)
    {
        if (iPosition == mExtent.mStatedEnd || iPosition == limit || IsTrackBegin(iPosition))
            return kEnough;
        const int points = ScoreOfEvent(iPosition, iRunningStatus, iIsDeltaMissing, limit);
        if (points == 0 || iPosition > limit)
            return score;
        score += points;
        iIsDeltaMissing = false;
    }
    return std::min(score, kEnough);
}

// 0: no sound event. One with a status of its own is less likely to be an accident than one without.
int MdidHost_TrackScanner::ScoreOfEvent(std::int64_t& ioPosition, unsigned char& ioRunningStatus, bool iIsDeltaMissing,
                                        std::int64_t iLimit)
{
    static constexpr std::int64_t kMaxBytes = MdidHost_VariableLength::kMaxBytes;
    if (!iIsDeltaMissing)
    {
        const auto delta = MdidHost_VariableLength::Read(mBytes, ioPosition, kMaxBytes);
        if (!delta.mIsSound)
            return 0;
        ioPosition = delta.mEnd;
    }
    const int status = mBytes.At(ioPosition);
    if (status < 0 || IsStraySystem(status) || (status <= kMaxData && ioRunningStatus == 0))
        return 0;
    if (status < kFirstSystem)
    {
        const bool hasStatus = status > kMaxData;
        if (hasStatus)
            ioRunningStatus = static_cast<unsigned char>(status);
        const int numData = Mdi_Parse::NumDataBytes(ioRunningStatus);
        ioPosition += hasStatus ? 1 : 0;
        if (!AreData(ioPosition, numData))
            return 0;
        ioPosition += numData;
        return hasStatus ? 2 : 1;
    }
    int type = -1;
    if (status == kMeta)
        type = mBytes.At(++ioPosition);
    const auto length = MdidHost_VariableLength::Read(mBytes, ioPosition + 1, kMaxBytes);
    const int wanted = status == kMeta && IsData(type) ? MdidHost_Meta::LengthOf(static_cast<unsigned char>(type)) : -1;
    if (!length.mIsSound || length.mEnd + length.mValue > iLimit || (status == kMeta && !IsData(type)) ||
        (wanted >= 0 && length.mValue != wanted))
        return 0;
    ioPosition = length.mEnd + length.mValue;
    return type == Mdi_Meta::kEndOfTrack ? kEnough : 2;
}

// Where the data of an event end at the latest: where the track's length says, if that makes sense, otherwise where
// another track begins.
std::int64_t MdidHost_TrackScanner::PayloadLimit()
{
    return mIsEndSensible && mPosition < mExtent.mStatedEnd ? mExtent.mStatedEnd : mBytes.FindTrack(mPosition);
}
