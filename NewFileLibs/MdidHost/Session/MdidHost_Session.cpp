#include "MdidHost/Session/MdidHost_Session.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"

#include <algorithm>

namespace
{

// How many counts of a session's kind a file tick lasts, as a fraction.
struct Ratio
{
    std::int64_t mCounts;
    std::int64_t mFileTicks;
};

// Times twice the largest number in any ratio, below 2^20, this stays below 2^61.
constexpr std::int64_t kMaxQuickCount = std::int64_t{1} << 40;

// 30 drop-frame runs at 30,000/1,001 frames a second.
Ratio RatioOf(const MdidHost_Division& iDivision)
{
    if (!iDivision.IsSMPTE())
        return {Time_Context::kTicksPerQuarter, iDivision.GetTicksPerQuarter()};
    const std::int64_t ticksPerSecond = std::int64_t{iDivision.GetFramesPerSecond()} * iDivision.GetTicksPerFrame();
    if (iDivision.IsDropFrame())
        return {Time_Context::kMicrosecondsPerSecond / 1000 * 1001, ticksPerSecond};
    return {Time_Context::kMicrosecondsPerSecond, ticksPerSecond};
}

// To the nearest, halves upward. Factor and divisor are those of a ratio; the quotient is cut to what a time can count.
std::int64_t ScaleRounded(std::int64_t iCount, std::int64_t iFactor, std::int64_t iDivisor)
{
    // What 64 bits can hold: an import asks for every tick at which something is.
    if (iCount >= 0 && iCount < kMaxQuickCount) [[likely]]
        return (2 * iCount * iFactor + iDivisor) / (2 * iDivisor);
    const Time_Int128 numerator = Time_Int128{2} * iCount * iFactor + iDivisor;
    const Time_Int128 denominator = Time_Int128{2} * iDivisor;
    const Time_Int128 quotient = numerator / denominator - (numerator % denominator < 0 ? 1 : 0);
    return static_cast<std::int64_t>(
        std::clamp(quotient, Time_Int128{Time_Packed::kMinCount}, Time_Int128{Time_Packed::kMaxCount}));
}

Time_Typed EndOf(const Mdie_TimedEvent& iEvent, const Time_Context& iContext)
{
    return iContext.Add(iEvent.GetTime(), iEvent.GetDuration());
}

bool HasLanes(const Mdid_ExtendedEvent& iNote)
{
    return iNote.HasPerNoteControllers() && !iNote.GetPerNoteControllers()->empty();
}

// Without "AllowMPE" neither the kinds of lanes nor their channels are saved.
bool NeedsMPE(const Mdie_SubStream& iKey, bool iIsInZone)
{
    return iKey.GetStreamType() != Mdie_SubStream::kOrdinary || (iIsInZone && iKey.GetChannel() > 0);
}

} // namespace

MdidHost_Division MdidHost_Division::TicksPerQuarter(int iTicks)
{
    CMN_VERIFY(iTicks >= 1 && iTicks <= 32767);
    MdidHost_Division division;
    division.mTicksPerQuarter = std::clamp(iTicks, 1, 32767);
    return division;
}

MdidHost_Division MdidHost_Division::SMPTE(int iFramesPerSecond, bool iIsDropFrame, int iTicksPerFrame)
{
    const bool isRateKnown = iFramesPerSecond == 24 || iFramesPerSecond == 25 || iFramesPerSecond == 30;
    CMN_VERIFY(isRateKnown && (iFramesPerSecond == 30 || !iIsDropFrame));
    CMN_VERIFY(iTicksPerFrame >= 1 && iTicksPerFrame <= 255);
    MdidHost_Division division;
    division.mTicksPerQuarter = 0;
    division.mFramesPerSecond = isRateKnown ? iFramesPerSecond : 30;
    division.mIsDropFrame = iIsDropFrame && division.mFramesPerSecond == 30;
    division.mTicksPerFrame = std::clamp(iTicksPerFrame, 1, 255);
    return division;
}

Time_EType MdidHost_Division::GetKind() const
{
    return IsSMPTE() ? Time_EType::kMicrosecond : Time_EType::kTick;
}

Time_Typed MdidHost_Division::ToTime(std::int64_t iFileTick) const
{
    const Ratio ratio = RatioOf(*this);
    return {ScaleRounded(iFileTick, ratio.mCounts, ratio.mFileTicks), GetKind()};
}

std::int64_t MdidHost_Division::ToFileTick(Time_Typed iTime, const Time_Context& iContext) const
{
    const Ratio ratio = RatioOf(*this);
    return ScaleRounded(iContext.ToType(iTime, GetKind()).AsInt64(), ratio.mFileTicks, ratio.mCounts);
}

// A quarter's ticks; or the negative frame rate, 29 for 30 drop-frame, above the ticks of a frame.
std::uint16_t MdidHost_Division::AsHeaderField() const
{
    if (!IsSMPTE())
        return static_cast<std::uint16_t>(mTicksPerQuarter);
    const int rate = mIsDropFrame ? 29 : mFramesPerSecond;
    return static_cast<std::uint16_t>((256 - rate) * 256 + mTicksPerFrame);
}

Time_Typed MdidHost_Session::GetEnd() const
{
    Time_Typed end(0, mDivision.GetKind());
    const auto extend = [&](Time_Typed iTime) { end = std::max(end, mContext.ToType(iTime, end.GetType())); };
    for (const MdidHost_Track& track : mTracks)
    {
        const Mdid_Chunk* chunkP = track.mChunk.Get();
        if (!chunkP)
            continue;
        for (const auto& note : *chunkP->GetNoteList())
            extend(EndOf(note, mContext));
        for (const auto& event : *chunkP->GetEventStream())
            extend(event.GetTime());
        for (const auto& lane : *chunkP->GetContinuousList())
            if (lane && !lane->IsEmpty())
                extend(lane->GetSegments().back().mTime);
    }
    return end;
}

bool MdidHost_Session::FindPerNoteData() const
{
    return std::ranges::any_of(mTracks,
                               [](const MdidHost_Track& iTrack)
                               {
                                   const Mdid_Chunk* chunkP = iTrack.mChunk.Get();
                                   const auto needsMPE = [&](const auto& iLaneP)
                                   { return iLaneP && NeedsMPE(iLaneP->GetSubStream(), iTrack.mMPEMembers > 0); };
                                   return chunkP && (std::ranges::any_of(*chunkP->GetNoteList(), HasLanes) ||
                                                     std::ranges::any_of(*chunkP->GetContinuousList(), needsMPE));
                               });
}
