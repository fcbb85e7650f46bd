#include "MdidHost/File/MdidHost_FileSummary.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <ostream>
#include <span>
#include <tuple>

namespace
{

using Summary = MdidHost_FileSummary;

// Long lists are cut for people; JSON has them whole.
constexpr std::size_t kMaxShown = 4;
constexpr int kMaxNameWidth = 24;

// Bars are counted from 1 where people read.
std::string PositionOf(const Summary& iSummary, std::int64_t iTime)
{
    const auto bars = iSummary.GetBarsAt(iTime);
    if (!bars)
        return "tick " + std::to_string(iTime);
    std::string text = "bar " + std::to_string(bars->mWholeBars + 1);
    if (bars->mTicksLeft > 0)
        text += " + " + std::to_string(bars->mTicksLeft) + " ticks";
    return text;
}

std::string DivisionText(const Summary& iSummary)
{
    switch (iSummary.mDivision)
    {
    case Summary::Division::kTicksPerQuarter:
        return std::to_string(iSummary.mTicksPerQuarter) + " ticks a quarter note";
    case Summary::Division::kSMPTE:
        return std::to_string(iSummary.mFramesPerSecond) + (iSummary.mIsDropFrame ? " (drop-frame)" : "") +
               " frames a second, " + std::to_string(iSummary.mTicksPerFrame) + " ticks a frame";
    default:
        return "no division";
    }
}

std::string LengthText(const Summary& iSummary)
{
    const std::int64_t length = iSummary.GetLength();
    std::string text = std::to_string(length) + " ticks";
    if (const auto bars = iSummary.GetBarsAt(length))
    {
        text += ", " + std::to_string(bars->mWholeBars) + (bars->mWholeBars == 1 ? " bar" : " bars");
        if (bars->mTicksLeft > 0)
            text += " + " + std::to_string(bars->mTicksLeft) + " ticks";
    }
    if (const auto microseconds = iSummary.GetMicrosecondsAt(length))
        text += ", " + MdidHost_MinutesAndSeconds(*microseconds);
    return text;
}

template <class Items, class Describe>
void WriteList(std::ostream& ioStream, const char* iTitle, const Items& iItems, Describe iDescribe)
{
    if (iItems.empty())
        return;
    ioStream << MdidHost_Formatted("  %-8s", iTitle);
    const std::size_t shown = std::min(iItems.size(), kMaxShown);
    for (std::size_t i = 0; i < shown; ++i)
        ioStream << (i > 0 ? ", " : "") << iDescribe(iItems[i]);
    if (iItems.size() > shown)
        ioStream << ", and " << iItems.size() - shown << " more";
    ioStream << '\n';
}

// "1, 3-5", counted from 1.
std::string ChannelsText(const std::bitset<16>& iChannels)
{
    std::string text;
    for (std::size_t first = 0; first < iChannels.size(); ++first)
    {
        if (!iChannels[first])
            continue;
        std::size_t last = first;
        while (last + 1 < iChannels.size() && iChannels[last + 1])
            ++last;
        text += MdidHost_Formatted(text.empty() ? "%zu" : ",%zu", first + 1);
        if (last > first)
            text += MdidHost_Formatted("-%zu", last + 1);
        first = last;
    }
    return text.empty() ? "-" : text;
}

// The cells of a track behind its number and name.
using Cells = std::array<std::string, Summary::kNumCounts + 3>;

Cells CellsOf(const Summary::Track& iTrack)
{
    Cells cells;
    cells.front() = ChannelsText(iTrack.mChannels);
    std::ranges::transform(iTrack.mCounts, cells.begin() + 1, [](std::int64_t count) { return std::to_string(count); });
    cells[cells.size() - 2] = iTrack.mFirstTime ? std::to_string(*iTrack.mFirstTime) : "-";
    cells[cells.size() - 1] = iTrack.mFirstTime ? std::to_string(iTrack.mLastTime) : "-";
    return cells;
}

Cells Titles()
{
    Cells titles;
    titles.front() = "channels";
    std::ranges::copy(Summary::kCountNames, titles.begin() + 1);
    titles[titles.size() - 2] = "first";
    titles[titles.size() - 1] = "last";
    return titles;
}

std::string NameToShow(const Summary::Track& iTrack)
{
    return MdidHost_Printable(iTrack.mName.empty() ? iTrack.mInstrument : iTrack.mName);
}

// Each column is as wide as its widest cell, names up to a limit.
class TrackTable
{
public:
    explicit TrackTable(const std::vector<Summary::Track>& iTracks)
    {
        Widen("name", Titles());
        for (const Summary::Track& track : iTracks)
            Widen(NameToShow(track), CellsOf(track));
    }

    void WriteRow(std::ostream& ioStream, const std::string& iNumber, const std::string& iName,
                  const Cells& iCells) const
    {
        ioStream << MdidHost_Formatted("  %5s  ", iNumber.c_str()) << MdidHost_Column(iName, mNameWidth);
        for (std::size_t i = 0; i < iCells.size(); ++i)
            ioStream << MdidHost_Formatted("  %*s", mWidths[i], iCells[i].c_str());
        ioStream << '\n';
    }

private:
    void Widen(const std::string& iName, const Cells& iCells)
    {
        mNameWidth = std::max(mNameWidth, std::min(MdidHost_WidthOf(iName), kMaxNameWidth));
        for (std::size_t i = 0; i < iCells.size(); ++i)
            mWidths[i] = std::max(mWidths[i], static_cast<int>(iCells[i].size()));
    }

    int mNameWidth = 0;
    std::array<int, std::tuple_size_v<Cells>> mWidths{};
};

void WriteTracks(std::ostream& ioStream, const std::vector<Summary::Track>& iTracks)
{
    if (iTracks.empty())
        return;
    const TrackTable table(iTracks);
    table.WriteRow(ioStream, "track", "name", Titles());
    for (std::size_t i = 0; i < iTracks.size(); ++i)
        table.WriteRow(ioStream, std::to_string(i + 1), NameToShow(iTracks[i]), CellsOf(iTracks[i]));
}

void AddDivision(MdidHost_JsonLine& ioLine, const Summary& iSummary)
{
    MdidHost_JsonLine division;
    switch (iSummary.mDivision)
    {
    case Summary::Division::kTicksPerQuarter:
        division.Add("ticksPerQuarter", iSummary.mTicksPerQuarter);
        return ioLine.Add("division", division);
    case Summary::Division::kSMPTE:
        division.Add("fps", iSummary.mFramesPerSecond);
        division.Add("drop", iSummary.mIsDropFrame);
        division.Add("ticksPerFrame", iSummary.mTicksPerFrame);
        return ioLine.Add("division", division);
    default:
        ioLine.AddNull("division");
    }
}

void AddSMPTEOffset(MdidHost_JsonLine& ioLine, const std::optional<Mdi_MidiFileParserClient_Timecode>& iTimecode)
{
    if (!iTimecode)
        return ioLine.AddNull("smpteOffset");
    MdidHost_JsonLine offset;
    offset.Add("rate", iTimecode->mFrameRate);
    offset.Add("h", iTimecode->mHours);
    offset.Add("m", iTimecode->mMinutes);
    offset.Add("s", iTimecode->mSeconds);
    offset.Add("f", iTimecode->mFrames);
    offset.Add("hundredths", iTimecode->mHundredths);
    ioLine.Add("smpteOffset", offset);
}

MdidHost_JsonLine JsonOf(const Summary::Tempo& iTempo)
{
    MdidHost_JsonLine line;
    line.Add("time", iTempo.mTime);
    line.Add("usPerQuarter", iTempo.mMicrosecondsPerQuarter);
    return line;
}

MdidHost_JsonLine JsonOf(const Summary::Meter& iMeter)
{
    MdidHost_JsonLine line;
    line.Add("time", iMeter.mTime);
    line.Add("numerator", iMeter.mNumerator);
    line.Add("denominator", iMeter.mDenominator);
    return line;
}

MdidHost_JsonLine JsonOf(const Summary::Key& iKey)
{
    MdidHost_JsonLine line;
    line.Add("time", iKey.mTime);
    line.Add("key", MdidHost_NameOfKey(iKey.mKey));
    return line;
}

MdidHost_JsonLine JsonOf(const Summary::Marker& iMarker)
{
    MdidHost_JsonLine line;
    line.Add("time", iMarker.mTime);
    line.Add("text", iMarker.mText);
    return line;
}

MdidHost_JsonLine JsonOf(const Summary::Track& iTrack)
{
    std::vector<int> channels;
    for (std::size_t channel = 0; channel < iTrack.mChannels.size(); ++channel)
        if (iTrack.mChannels[channel])
            channels.push_back(static_cast<int>(channel));

    MdidHost_JsonLine line;
    line.Add("name", iTrack.mName);
    line.Add("instrument", iTrack.mInstrument);
    line.Add("channels", std::span<const int>(channels));
    for (std::size_t i = 0; i < iTrack.mCounts.size(); ++i)
        line.Add(Summary::kCountNames[i], iTrack.mCounts[i]);
    line.Add("first", iTrack.mFirstTime);
    line.Add("last", iTrack.mFirstTime ? std::optional(iTrack.mLastTime) : std::nullopt);
    return line;
}

// One element after the other, so that a long list is never in memory as text.
template <class Items>
void WriteArray(std::ostream& ioStream, const char* iKey, const Items& iItems)
{
    ioStream << ",\"" << iKey << "\":";
    const char* separator = "[";
    for (const auto& item : iItems)
    {
        ioStream << separator << JsonOf(item).GetText();
        separator = ",";
    }
    ioStream << (iItems.empty() ? "[]" : "]");
}

} // namespace

void MdidHost_WriteSummaryAsText(std::ostream& ioStream, const std::string& iName, const MdidHost_FileSummary& iSummary)
{
    const auto at = [&](std::int64_t time) { return " at " + PositionOf(iSummary, time); };
    ioStream << MdidHost_Printable(iName) << "\n  format  " << iSummary.mFormat << ", " << iSummary.mTracks.size()
             << (iSummary.mTracks.size() == 1 ? " track" : " tracks");
    if (static_cast<std::size_t>(iSummary.mAnnouncedTracks) != iSummary.mTracks.size())
        ioStream << " (" << iSummary.mAnnouncedTracks << " announced)";
    ioStream << ", " << DivisionText(iSummary) << "\n  length  " << LengthText(iSummary) << '\n';
    WriteList(ioStream, "tempo", iSummary.mTempos,
              [&](const auto& tempo)
              { return MdidHost_BeatsPerMinute(tempo.mMicrosecondsPerQuarter) + at(tempo.mTime); });
    WriteList(ioStream, "meter", iSummary.mMeters,
              [&](const auto& meter)
              { return MdidHost_Formatted("%d/%d", meter.mNumerator, meter.mDenominator) + at(meter.mTime); });
    WriteList(ioStream, "key", iSummary.mKeys,
              [&](const auto& key) { return MdidHost_NameOfKey(key.mKey) + at(key.mTime); });
    WriteList(ioStream, "markers", iSummary.mMarkers,
              [&](const auto& marker) { return '"' + MdidHost_Printable(marker.mText) + '"' + at(marker.mTime); });
    WriteTracks(ioStream, iSummary.mTracks);
}

void MdidHost_WriteSummaryAsJson(std::ostream& ioStream, const std::string& iName, const MdidHost_FileSummary& iSummary)
{
    const std::int64_t length = iSummary.GetLength();
    const auto bars = iSummary.GetBarsAt(length);
    MdidHost_JsonLine line;
    line.Add("file", iName);
    line.Add("format", iSummary.mFormat);
    line.Add("announcedTracks", iSummary.mAnnouncedTracks);
    AddDivision(line, iSummary);
    line.Add("ticks", length);
    line.Add("bars", bars ? std::optional(bars->mWholeBars) : std::nullopt);
    line.Add("ticksBehindLastBar", bars ? std::optional(bars->mTicksLeft) : std::nullopt);
    line.Add("us", iSummary.GetMicrosecondsAt(length));
    AddSMPTEOffset(line, iSummary.mSMPTEOffset);

    std::string text = line.GetText();
    text.pop_back(); // the object goes on with the lists
    ioStream << text;
    WriteArray(ioStream, "tempos", iSummary.mTempos);
    WriteArray(ioStream, "meters", iSummary.mMeters);
    WriteArray(ioStream, "keys", iSummary.mKeys);
    WriteArray(ioStream, "markers", iSummary.mMarkers);
    WriteArray(ioStream, "tracks", iSummary.mTracks);
    ioStream << "}\n";
}
