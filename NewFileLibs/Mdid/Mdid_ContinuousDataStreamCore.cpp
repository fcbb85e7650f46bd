#include "Mdid/Mdid_ContinuousDataStreamCore.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "CFnd/Sys_StreamException.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "MFnd/Time_TypedDefs.h"
#include "Mdid/Mdid_Messages.h"
#include "Mdid/Mdid_SortIfNeeded_Private.h"

#include <algorithm>
#include <array>

namespace
{

using Segment = Mdid_ContinuousDataStreamCore::Segment;
using Segments = std::vector<Segment>;

constexpr char kTag[] = "MdCD";
constexpr std::int16_t kVersion = 1;

constexpr std::size_t kTimeSize = sizeof(std::int64_t);
constexpr std::size_t kPairSize = kTimeSize + sizeof(std::int32_t);
constexpr std::size_t kPairsAtOnce = 512;

template <class T>
void Encode(unsigned char* oBytes, T iValue)
{
    const auto bytes = Sys_ToBytes<std::endian::little>(iValue);
    std::copy(bytes.begin(), bytes.end(), oBytes);
}

template <class T>
T Decode(const unsigned char* iBytes)
{
    std::array<unsigned char, sizeof(T)> bytes;
    std::copy_n(iBytes, sizeof(T), bytes.begin());
    return Sys_FromBytes<std::endian::little, T>(bytes);
}

// The first of all that have one time stays; those of iFirst come before those of iSecond.
// One pass into fresh room: std::merge and std::unique take half as long again.
Segments MergedWithoutEqualTimes(const Segments& iFirst, const Segments& iSecond)
{
    Segments merged;
    merged.reserve(iFirst.size() + iSecond.size());
    auto first = iFirst.begin();
    auto second = iSecond.begin();
    while (first != iFirst.end() || second != iSecond.end())
    {
        const bool takesFirst = second == iSecond.end() || (first != iFirst.end() && !(second->mTime < first->mTime));
        const Segment& next = takesFirst ? *first++ : *second++;
        if (merged.empty() || merged.back().mTime != next.mTime)
            merged.push_back(next);
    }
    return merged;
}

} // namespace

Mdid_ContinuousDataStreamCore::~Mdid_ContinuousDataStreamCore() = default;

bool Mdid_ContinuousDataStreamCore::operator==(const Mdid_ContinuousDataStreamCore& iOther) const
{
    return mSubStream == iOther.mSubStream && mSnapToCoarseTicks == iOther.mSnapToCoarseTicks &&
           mSegments == iOther.mSegments;
}

void Mdid_ContinuousDataStreamCore::AboutToModify() {}

Mdid_ContinuousDataStreamCore::const_iterator Mdid_ContinuousDataStreamCore::LowerBound(Time_Typed iTime) const
{
    return std::ranges::lower_bound(mSegments, iTime, {}, &Segment::mTime);
}

Mdid_ContinuousDataStreamCore::const_iterator Mdid_ContinuousDataStreamCore::UpperBound(Time_Typed iTime) const
{
    return std::ranges::upper_bound(mSegments, iTime, {}, &Segment::mTime);
}

bool Mdid_ContinuousDataStreamCore::IsSnapping() const
{
    return TickTimesMatter::Active() && mSnapToCoarseTicks;
}

void Mdid_ContinuousDataStreamCore::AddBreakpoint(Time_Typed iTime, int iValue)
{
    AboutToModify();
    // A recording grows at its end.
    if (mSegments.empty() || mSegments.back().mTime < iTime)
    {
        mSegments.push_back({iTime, iValue});
        return;
    }
    const auto place = mSegments.begin() + (LowerBound(iTime) - mSegments.cbegin());
    if (place->mTime != iTime)
    {
        mSegments.insert(place, {iTime, iValue});
        return;
    }
    // Snapping can have brought several here, of which the last is heard.
    place->mValue = iValue;
    mSegments.erase(place + 1, UpperBound(iTime));
}

void Mdid_ContinuousDataStreamCore::AddEvent(const Mdie_TimedEvent& iEvent)
{
    AddBreakpoint(iEvent.GetTime(), mSubStream.GetValueFromEvent(iEvent.GetEvent()));
}

void Mdid_ContinuousDataStreamCore::EraseEvent(const Mdie_TimedEvent& iEvent)
{
    const Time_Typed time = iEvent.GetTime();
    EraseRange(time, time + Time_TypedLength(1, time.GetType()));
}

void Mdid_ContinuousDataStreamCore::EraseRange(Time_Typed iStart, Time_Typed iEnd)
{
    const auto first = LowerBound(iStart);
    const auto last = LowerBound(iEnd);
    if (first >= last)
        return;
    AboutToModify();
    mSegments.erase(first, last);
}

void Mdid_ContinuousDataStreamCore::Clear()
{
    if (mSegments.empty())
        return;
    AboutToModify();
    mSegments.clear();
}

void Mdid_ContinuousDataStreamCore::AddAllFromStream(const Mdid_ContinuousDataStreamCore* iSrc,
                                                     Time_TypedLength iOffset)
{
    if (iSrc == nullptr || iSrc->IsEmpty())
        return;
    // Kept: without an offset nothing is snapped.
    MergeBlock(iSrc->mSegments.begin(), iSrc->mSegments.end(), iOffset, iOffset.AsInt64() != 0);
}

void Mdid_ContinuousDataStreamCore::AddFromStream(const Mdid_ContinuousDataStreamCore* iSrc, Time_Typed iStart,
                                                  Time_Typed iEnd, Time_TypedLength iOffset)
{
    if (iSrc == nullptr || iEnd <= iStart)
        return;
    const auto first = iSrc->LowerBound(iStart);
    const auto last = iSrc->LowerBound(iEnd);
    if (first < last)
        MergeBlock(first, last, iOffset, true);
}

// The block is shifted and snapped before it is merged: snapping moves a time across the ones here.
// Kept: at equal times the copied breakpoint stays, and of two copied ones the earlier.
void Mdid_ContinuousDataStreamCore::MergeBlock(const_iterator iFirst, const_iterator iLast, Time_TypedLength iOffset,
                                               bool iIsShifted)
{
    Segments block(iFirst, iLast);
    if (iIsShifted)
    {
        const bool isSnapping = IsSnapping();
        for (Segment& segment : block)
        {
            segment.mTime += iOffset;
            if (isSnapping && segment.mTime.GetType() == Time_EType::kTick)
                segment.mTime = Time_Convert::SnapToCoarseInternalTick(segment.mTime);
        }
        Mdid_SortIfNeeded(block, std::ranges::less(), &Segment::mTime); // kinds may have passed each other
    }

    Segments merged = MergedWithoutEqualTimes(block, mSegments);
    AboutToModify();
    mSegments = std::move(merged);
}

void Mdid_ContinuousDataStreamCore::EraseFromStream(const Mdid_ContinuousDataStreamCore* iSrc, Time_Typed iStart,
                                                    Time_Typed iEnd, Time_TypedLength iOffset)
{
    if (iSrc == nullptr || iEnd <= iStart)
        return;
    auto source = iSrc->LowerBound(iStart);
    const auto last = iSrc->LowerBound(iEnd);
    if (source >= last)
        return;

    auto here = LowerBound(source->mTime + iOffset);
    Segments kept(mSegments.cbegin(), here);
    kept.reserve(mSegments.size());
    while (source != last && here != mSegments.end())
    {
        const Time_Typed time = source->mTime + iOffset;
        if (time < here->mTime)
        {
            ++source;
            continue;
        }
        const bool isMet = here->mTime == time;
        if (!isMet || here->mValue != source->mValue)
            kept.push_back(*here);
        ++here;
        if (isMet)
            ++source;
    }
    kept.insert(kept.end(), here, mSegments.cend());

    AboutToModify();
    mSegments = std::move(kept);
}

void Mdid_ContinuousDataStreamCore::ReplaceData(const Mdid_ContinuousDataStreamCore* iSrc)
{
    if (iSrc == nullptr)
        return;
    // Kept: saves from itself too, where nothing changes.
    AboutToModify();
    mSegments = iSrc->mSegments;
    mSnapToCoarseTicks = iSrc->mSnapToCoarseTicks;
}

// Kept: the bulk edits ask the kind of each time whether to snap, this one none.
void Mdid_ContinuousDataStreamCore::OffsetTimes(Time_TypedLength iDelta)
{
    const bool isSnapping = IsSnapping();
    Segments shifted = mSegments;
    for (Segment& segment : shifted)
    {
        segment.mTime += iDelta;
        if (isSnapping)
            segment.mTime = Time_Convert::SnapToCoarseInternalTick(segment.mTime);
    }
    Mdid_SortIfNeeded(shifted, std::ranges::less(), &Segment::mTime);
    ReplaceSegments(std::move(shifted));
}

// Kept: and this one that of the length.
void Mdid_ContinuousDataStreamCore::ConvertTimes(const Time_TypedLength& iFrom, const Time_TypedLength& iTo)
{
    const bool isSnapping = IsSnapping() && iTo.GetType() == Time_EType::kTick;
    Segments converted = mSegments;
    for (Segment& segment : converted)
    {
        segment.mTime = Time_Convert::ToType(segment.mTime + iFrom, iTo.GetType()) - iTo;
        if (isSnapping)
            segment.mTime = Time_Convert::SnapToCoarseInternalTick(segment.mTime);
    }
    ReplaceSegments(std::move(converted));
}

void Mdid_ContinuousDataStreamCore::ReplaceSegments(Segments&& iSegments)
{
    if (std::ranges::equal(mSegments, iSegments, &Segment::IsIdenticalTo))
        return;
    AboutToModify();
    mSegments = std::move(iSegments);
}

bool Mdid_ContinuousDataStreamCore::VerifyTimesAscend() const
{
    bool isAscending = true;
    Time_Typed previousTime;
    for (auto iter = mSegments.begin(); iter != mSegments.end(); ++iter)
    {
        isAscending &= CMN_VERIFY(iter->mTime.AsInt64() >= previousTime.AsInt64());
        previousTime = iter->mTime;
    }
    return isAscending;
}

// "MdCD", version 1:
//   int32  count
//   count times, ascending:  int64 time (Time_TypedDefs::GetRawDataForSave), int32 value
void Mdid_ContinuousDataStreamCore::StreamOut(Sys_TypedOutStream& ioStream) const
{
    // Kept: reported, and written all the same.
    VerifyTimesAscend();
    WriteSegments(ioStream, mSegments);
}

void Mdid_ContinuousDataStreamCore::WriteSegments(Sys_TypedOutStream& ioStream, const Segments& iSegments)
{
    Sys_StdStreamHeaderWriter header(ioStream, kTag, kVersion);
    ioStream.Write(static_cast<std::int32_t>(iSegments.size()));
    std::array<unsigned char, kPairsAtOnce * kPairSize> bytes;
    for (std::size_t done = 0; done < iSegments.size();)
    {
        const std::size_t count = std::min(iSegments.size() - done, kPairsAtOnce);
        for (std::size_t i = 0; i < count; ++i)
        {
            const Segment& segment = iSegments[done + i];
            Encode(&bytes[i * kPairSize], Time_TypedDefs::GetRawDataForSave(segment.mTime));
            Encode(&bytes[i * kPairSize + kTimeSize], segment.mValue);
        }
        ioStream.WriteBlock(bytes.data(), count * kPairSize);
        done += count;
    }
    header.PatchSize();
}

void Mdid_ContinuousDataStreamCore::StreamIn(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, kTag);
    try
    {
        header.CheckVersion(1, kVersion);
        ReadSegments(ioStream);
        header.SkipTheRest();
    }
    catch (...)
    {
        SkipTheRest(header);
        throw;
    }
}

void Mdid_ContinuousDataStreamCore::ReadSegments(Sys_TypedInStream& ioStream)
{
    const auto count = ioStream.Read<std::int32_t>();
    if (count < 0)
        Mdid_ThrowMessage(100); // "bad data encountered"
    mSegments.clear();
    const auto pairsThere = [&ioStream] { return static_cast<std::size_t>(ioStream.GetBytesLeft()) / kPairSize; };
    auto left = static_cast<std::size_t>(count);
    mSegments.reserve(std::min(left, pairsThere()));

    std::int64_t previous = 0;
    std::array<unsigned char, kPairsAtOnce * kPairSize> bytes;
    while (left > 0)
    {
        // Where no whole pair is left, reading one fails as it should.
        const std::size_t pairs = std::min({left, kPairsAtOnce, std::max<std::size_t>(pairsThere(), 1)});
        ioStream.ReadBlock(bytes.data(), pairs * kPairSize);
        for (std::size_t i = 0; i < pairs; ++i)
        {
            Segment segment;
            if (!Time_TypedDefs::SetFromRawSavedData(Decode<std::int64_t>(&bytes[i * kPairSize]), segment.mTime) ||
                segment.mTime.AsInt64() < previous)
                Mdid_ThrowMessage(100);
            segment.mValue = Decode<std::int32_t>(&bytes[i * kPairSize + kTimeSize]);
            // Kept: here the later of two values at one time stays, unlike in the bulk edits.
            if (!mSegments.empty() && segment.mTime.AsInt64() == previous)
                mSegments.back().mValue = segment.mValue;
            else
                mSegments.push_back(segment);
            previous = segment.mTime.AsInt64();
        }
        left -= pairs;
    }
}

void Mdid_ContinuousDataStreamCore::SkipTheRest(Sys_StdStreamHeaderReader& ioHeader) noexcept
{
    try
    {
        ioHeader.SkipTheRest();
    }
    catch (const Sys_StreamException&)
    {
        // The failure that led here is the one that counts.
        return;
    }
}
