#include "MdidHost/File/MdidHost_FileSummary.h"

#include "MFnd/Time_TempoMap.h"

#include <algorithm>

namespace
{

using Summary = MdidHost_FileSummary;

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;

// Divides to the nearest, halves upward; neither side is negative.
std::int64_t DivideRounded(std::int64_t iDividend, std::int64_t iDivisor)
{
    return (2 * iDividend + iDivisor) / (2 * iDivisor);
}

std::optional<Summary::ECount> CountOf(const Mdid_Event& iEvent)
{
    switch (iEvent.GetType())
    {
    case Mdid_Event::kNoteOn:
        return Summary::kNotes;
    case Mdid_Event::kController:
        return Summary::kControllers;
    case Mdid_Event::kPitchBend:
        return Summary::kBends;
    case Mdid_Event::kMonoPressure:
    case Mdid_Event::kPolyPressure:
        return Summary::kPressure;
    case Mdid_Event::kProgram:
        return Summary::kPrograms;
    case Mdid_Event::kSysex:
    case Mdid_Event::kLongSysex:
        return Summary::kSysex;
    default:
        return {};
    }
}

// Times the division. In the file's own ticks, so that nothing is rounded at the changes. A tempo of 0 and one that
// times which wrap put back mean nothing: the tempo before goes on.
std::int64_t ScaledMicrosecondsAt(const std::vector<Summary::Tempo>& iTempos, std::int64_t iTime)
{
    Summary::Tempo tempo{0, Time_TempoMap::kDefaultMicrosecondsPerQuarter};
    std::int64_t scaled = 0; // below 2^31 ticks of 2^24
    for (const Summary::Tempo& next : iTempos)
    {
        if (next.mTime > iTime)
            break;
        if (next.mMicrosecondsPerQuarter == 0 || next.mTime < tempo.mTime)
            continue;
        scaled += (next.mTime - tempo.mTime) * tempo.mMicrosecondsPerQuarter;
        tempo = next;
    }
    return scaled + (iTime - tempo.mTime) * tempo.mMicrosecondsPerQuarter;
}

// Times wrap at 32 bits in the reader; a file that goes so far has no sensible times there.
std::int64_t Sane(int iTime)
{
    return std::max(iTime, 0);
}

} // namespace

std::int64_t MdidHost_FileSummary::GetLength() const
{
    std::int64_t length = 0;
    for (const Track& track : mTracks)
        length = std::max({length, track.mLastTime, track.mEndTime});
    return length;
}

// A bar's length in ticks is numerator x 4 x division / denominator, and need not be whole: all counting is done in
// units of 1/denominator tick. A change of meter begins a bar; that it comes less than a tick behind a bar line is
// rounding, and makes no bar. A meter of 0 and one that times which wrap put back mean nothing.
std::optional<Summary::Bars> MdidHost_FileSummary::GetBarsAt(std::int64_t iTime) const
{
    if (mDivision != Division::kTicksPerQuarter || mTicksPerQuarter == 0)
        return {};

    Bars bars;
    Meter meter{0, 4, 4};
    const auto countTo = [&](std::int64_t iEnd)
    {
        const std::int64_t barLength = std::int64_t{4} * meter.mNumerator * mTicksPerQuarter;
        const std::int64_t length = (iEnd - meter.mTime) * meter.mDenominator;
        bars.mWholeBars += length / barLength;
        bars.mTicksLeft = length % barLength / meter.mDenominator;
    };
    for (const Meter& next : mMeters)
    {
        if (next.mTime > iTime)
            break;
        if (next.mNumerator == 0 || next.mDenominator == 0 || next.mTime < meter.mTime)
            continue;
        countTo(next.mTime);
        bars.mWholeBars += bars.mTicksLeft > 0 ? 1 : 0;
        meter = next;
    }
    countTo(iTime);
    return bars;
}

std::optional<std::int64_t> MdidHost_FileSummary::GetMicrosecondsAt(std::int64_t iTime) const
{
    if (mDivision == Division::kSMPTE && mFramesPerSecond * mTicksPerFrame != 0)
    {
        // 30 drop-frame runs at 30,000/1,001 frames a second.
        const std::int64_t ticks = iTime * (mIsDropFrame ? 1001 : 1000);
        return DivideRounded(ticks * (kMicrosecondsPerSecond / 1000), std::int64_t{mFramesPerSecond} * mTicksPerFrame);
    }
    if (mDivision == Division::kTicksPerQuarter && mTicksPerQuarter != 0)
        return DivideRounded(ScaledMicrosecondsAt(mTempos, iTime), mTicksPerQuarter);
    return {};
}

void MdidHost_FileSummary::SetFormat(unsigned short iFormat)
{
    mFormat = iFormat;
}
void MdidHost_FileSummary::SetNumTracks(unsigned short iCount)
{
    mAnnouncedTracks = iCount;
}

void MdidHost_FileSummary::SetTicksPerQuarterNote(short iTicks)
{
    mDivision = Division::kTicksPerQuarter;
    mTicksPerQuarter = iTicks;
}

void MdidHost_FileSummary::SetSMPTETicks(short iFramesPerSecond, bool iDropFrame, short iTicksPerFrame)
{
    mDivision = Division::kSMPTE;
    mFramesPerSecond = iFramesPerSecond;
    mIsDropFrame = iDropFrame;
    mTicksPerFrame = iTicksPerFrame;
}

void MdidHost_FileSummary::BeginTrack()
{
    mTracks.emplace_back();
}

void MdidHost_FileSummary::RxMidiEvent(int iTime, const Mdid_Event& iEvent, short iChannel)
{
    Track& track = mTracks.back();
    if (const auto count = CountOf(iEvent))
        ++track.mCounts[*count];
    if (!iEvent.IsMessageSysex(0))
        track.mChannels.set(static_cast<std::size_t>(iChannel));
    track.mFirstTime = std::min(track.mFirstTime.value_or(Sane(iTime)), Sane(iTime));
    track.mLastTime = std::max(track.mLastTime, Sane(iTime));
}

void MdidHost_FileSummary::RxTrackName(const std::string& iText)
{
    if (mTracks.back().mName.empty())
        mTracks.back().mName = iText;
}

void MdidHost_FileSummary::RxTrackInstrumentName(const std::string& iText)
{
    if (mTracks.back().mInstrument.empty())
        mTracks.back().mInstrument = iText;
}

// The passes over the first track report it too, before there is a track.
void MdidHost_FileSummary::RxEndOfTrack(int iTime)
{
    if (!mTracks.empty())
        mTracks.back().mEndTime = std::max(mTracks.back().mEndTime, Sane(iTime));
}

void MdidHost_FileSummary::RxTempo(int iTime, int iMicrosecondsPerQuarter)
{
    mTempos.push_back({Sane(iTime), iMicrosecondsPerQuarter});
}

void MdidHost_FileSummary::RxMeter(int iTime, int iNumerator, int iDenominator, int, int)
{
    mMeters.push_back({Sane(iTime), iNumerator, iDenominator});
}

void MdidHost_FileSummary::RxKey(int iTime, Time_KeySignature& iKey)
{
    mKeys.push_back({Sane(iTime), iKey});
}

void MdidHost_FileSummary::RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& iTimecode)
{
    mSMPTEOffset = iTimecode;
}

void MdidHost_FileSummary::RxMarker(int iTime, const std::string& iText)
{
    mMarkers.push_back({Sane(iTime), iText});
}
