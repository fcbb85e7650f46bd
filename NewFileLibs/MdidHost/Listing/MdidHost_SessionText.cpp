#include "MdidHost/Listing/MdidHost_SessionText.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <ostream>

namespace
{

// Long lists are cut for people; JSON has them whole.
constexpr std::size_t kMaxShown = 4;

// The lowest and the highest of some values; none when there was no value.
struct Range
{
    int mLow = 0;
    int mHigh = -1;

    bool IsEmpty() const { return mHigh < mLow; }
    void Include(int iValue)
    {
        mLow = IsEmpty() ? iValue : std::min(mLow, iValue);
        mHigh = IsEmpty() ? iValue : std::max(mHigh, iValue);
    }
};

// Something of a track, with how much there is of it, where, and in what range.
struct Part
{
    std::int64_t mCount = 0;
    Time_Typed mFirst;
    Time_Typed mLast;
    Range mValues; // pitches of notes

    void Include(Time_Typed iTime)
    {
        mFirst = mCount == 0 ? iTime : std::min(mFirst, iTime);
        mLast = mCount == 0 ? iTime : std::max(mLast, iTime);
        ++mCount;
    }
};

struct LanePart : Part
{
    std::string mType; // "controller"
    std::optional<int> mNumber;
};

struct TrackParts
{
    Part mNotes;
    Range mVelocities;
    std::int64_t mTrimmedNotes = 0;
    std::int64_t mNotesWithLanes = 0;
    std::int64_t mPerNoteBreakpoints = 0;
    std::vector<LanePart> mLanes;
    Part mSysex;
};

// The number that people know a value of a lane by: of programs, without the bank.
int ValueOf(const Mdie_SubStream& iLane, int iValue)
{
    if (iLane.GetDataType().GetDataType() != Mdie_SubStreamDataType::kProgram)
        return iValue;
    return iLane.MakeEvent(iValue).As<Mdid_ProgramEvent>().GetProgram();
}

LanePart PartOf(const Mdid_ContinuousDataStream& iLane)
{
    static constexpr std::array<const char*, 6> kTypes{"lane",    "bend",     "controller",
                                                       "program", "pressure", "polyPressure"};
    const Mdie_SubStream& subStream = iLane.GetSubStream();
    const int dataType = subStream.GetDataType().GetDataType();
    LanePart part;
    part.mType = kTypes[static_cast<std::size_t>(dataType)];
    if (dataType == Mdie_SubStreamDataType::kController || dataType == Mdie_SubStreamDataType::kPolyPressure)
        part.mNumber = subStream.GetSubType();
    for (const auto& segment : iLane.GetSegments())
    {
        part.Include(segment.mTime);
        part.mValues.Include(ValueOf(subStream, segment.mValue));
    }
    return part;
}

void IncludeNote(TrackParts& ioParts, const Mdid_NoteWithDurationExtendedEvent& iNote)
{
    ioParts.mNotes.Include(iNote.GetTime());
    ioParts.mNotes.mValues.Include(iNote.GetPitch());
    ioParts.mVelocities.Include(iNote.GetNote().GetVelocity());
    ioParts.mTrimmedNotes += iNote.HasTrimExtension();
    if (!iNote.HasPerNoteControllers() || iNote.GetPerNoteControllers()->empty())
        return;
    ++ioParts.mNotesWithLanes;
    for (const Mdid_PerNoteDataStream& lane : *iNote.GetPerNoteControllers())
        ioParts.mPerNoteBreakpoints += lane.NumSegments();
}

TrackParts PartsOf(const Mdid_Chunk& iChunk)
{
    TrackParts parts;
    for (const auto& note : *iChunk.GetNoteList())
        IncludeNote(parts, note);
    for (const auto& lane : *iChunk.GetContinuousList())
        if (lane && !lane->IsEmpty())
            parts.mLanes.push_back(PartOf(*lane));
    for (const Mdie_TimedEvent& event : *iChunk.GetEventStream())
        parts.mSysex.Include(event.GetTime());
    return parts;
}

std::string Quoted(const std::string& iText)
{
    return '"' + MdidHost_Printable(iText) + '"';
}

class TextWriter
{
public:
    TextWriter(std::ostream& ioStream, const MdidHost_Session& iSession)
        : mStream(ioStream),
          mSession(iSession),
          mTimes(iSession)
    {
    }

    void Write(const std::string& iName)
    {
        const Time_Typed end = mSession.GetEnd();
        mStream << MdidHost_Printable(iName) << "\n  format  " << mSession.mFormat << ", "
                << MdidHost_Counted(std::ssize(mSession.mTracks), "track") << ", " << DivisionText()
                << (mSession.mHasPerNoteData ? ", per-note data" : "") << "\n  length  "
                << MdidHost_Counted(mTimes.ToFileTick(end), "tick") << ", "
                << MdidHost_MinutesAndSeconds(mTimes.ToMicroseconds(end)) << ", to " << At(end) << '\n';
        WriteLists();
        for (std::size_t i = 0; i < mSession.mTracks.size(); ++i)
            WriteTrack(i + 1, mSession.mTracks[i]);
    }

private:
    std::string DivisionText() const
    {
        const MdidHost_Division& division = mSession.mDivision;
        if (!division.IsSMPTE())
            return MdidHost_Counted(division.GetTicksPerQuarter(), "tick") + " a quarter note";
        return std::to_string(division.GetFramesPerSecond()) + (division.IsDropFrame() ? " (drop-frame)" : "") +
               " frames a second, " + MdidHost_Counted(division.GetTicksPerFrame(), "tick") + " a frame";
    }

    // In bars, where there are bars.
    std::string At(Time_Typed iTime) const
    {
        return mSession.mDivision.IsSMPTE() ? std::to_string(mTimes.ToFileTick(iTime)) + "t" : mTimes.FormatBar(iTime);
    }

    void WriteLists() const
    {
        WriteList("tempo", mSession.mContext.GetTempoMap().GetEntries(),
                  [&](const auto& tempo)
                  { return MdidHost_BeatsPerMinute(tempo.mMicrosecondsPerQuarter) + " at " + At(tempo.mTick); });
        const auto at = [&](const auto& item) { return " at " + At(item.mTime); };
        WriteList("meter", mSession.mMeters,
                  [&](const auto& meter)
                  { return MdidHost_Formatted("%d/%d", meter.mNumerator, meter.mDenominator) + at(meter); });
        WriteList("key", mSession.mKeys, [&](const auto& key) { return MdidHost_NameOfKey(key.mKey) + at(key); });
        WriteList("markers", mSession.mMarkers, [&](const auto& marker) { return Quoted(marker.mText) + at(marker); });
    }

    template <class Items, class Describe>
    void WriteList(const char* iTitle, const Items& iItems, Describe iDescribe) const
    {
        if (iItems.empty())
            return;
        mStream << MdidHost_Formatted("  %-8s", iTitle);
        const std::size_t shown = std::min(iItems.size(), kMaxShown);
        for (std::size_t i = 0; i < shown; ++i)
            mStream << (i > 0 ? ", " : "") << iDescribe(iItems[i]);
        if (iItems.size() > shown)
            mStream << ", and " << iItems.size() - shown << " more";
        mStream << '\n';
    }

    void WriteTrack(std::size_t iNumber, const MdidHost_Track& iTrack) const
    {
        const std::string& name = iTrack.mName.empty() ? iTrack.mInstrument : iTrack.mName;
        mStream << "  track " << iNumber << ": " << Quoted(name) << ", "
                << (iTrack.mChannel == MdidHost_Track::kNoChannel ? "no channel"
                                                                  : "channel " + std::to_string(iTrack.mChannel + 1));
        if (iTrack.mMPEMembers > 0)
            mStream << " (MPE, " << MdidHost_Counted(iTrack.mMPEMembers, "member") << ')';
        mStream << ", track " << iTrack.mFileTrack << " of the file\n";

        const TrackParts parts = PartsOf(*iTrack.mChunk);
        const Range& pitches = parts.mNotes.mValues;
        const auto numbers = [](int value) { return std::to_string(value); };
        WritePart("notes", parts.mNotes,
                  RangeText(pitches, MdidHost_NameOfPitch) + ", velocity " + RangeText(parts.mVelocities, numbers),
                  parts.mTrimmedNotes > 0 ? ", " + std::to_string(parts.mTrimmedNotes) + " trimmed" : "");
        if (parts.mNotesWithLanes > 0)
            mStream << "    " << MdidHost_Column("expression", 18)
                    << MdidHost_Formatted("%7lld", static_cast<long long>(parts.mPerNoteBreakpoints))
                    << (parts.mPerNoteBreakpoints == 1 ? "  breakpoint of " : "  breakpoints of ")
                    << MdidHost_Counted(parts.mNotesWithLanes, "note") << '\n';
        for (const LanePart& lane : parts.mLanes)
            WritePart(lane.mType + (lane.mNumber ? ' ' + NumberText(lane) : ""), lane,
                      RangeText(lane.mValues, numbers));
        WritePart("sysex", parts.mSysex, "");
    }

    static std::string NumberText(const LanePart& iLane)
    {
        return iLane.mType == "controller" ? std::to_string(*iLane.mNumber) : MdidHost_NameOfPitch(*iLane.mNumber);
    }

    template <class ToText>
    static std::string RangeText(const Range& iRange, ToText iToText)
    {
        return iToText(iRange.mLow) + (iRange.mLow == iRange.mHigh ? "" : " to " + iToText(iRange.mHigh));
    }

    void WritePart(const std::string& iWhat, const Part& iPart, const std::string& iRange,
                   const std::string& iRemark = {}) const
    {
        if (iPart.mCount == 0)
            return;
        mStream << "    " << MdidHost_Column(iWhat, 18)
                << MdidHost_Formatted("%7lld  ", static_cast<long long>(iPart.mCount)) << MdidHost_Column(iRange, 31)
                << At(iPart.mFirst) << " .. " << At(iPart.mLast) << iRemark << '\n';
    }

    std::ostream& mStream;
    const MdidHost_Session& mSession;
    MdidHost_MusicalTime mTimes;
};

class JsonWriter
{
public:
    explicit JsonWriter(const MdidHost_Session& iSession) : mSession(iSession), mTimes(iSession) {}

    MdidHost_JsonLine JsonOf(const std::string& iName) const
    {
        const Time_Typed end = mSession.GetEnd();
        MdidHost_JsonLine line;
        line.Add("session", iName);
        line.Add("format", mSession.mFormat);
        line.Add("division", JsonOf(mSession.mDivision));
        line.Add("sampleRate", mSession.mContext.GetSampleRate());
        line.Add("ticks", mTimes.ToFileTick(end));
        line.Add("us", mTimes.ToMicroseconds(end));
        line.Add("perNoteData", mSession.mHasPerNoteData);
        AddArray(line, "tempos", mSession.mContext.GetTempoMap().GetEntries());
        AddArray(line, "meters", mSession.mMeters);
        AddArray(line, "keys", mSession.mKeys);
        AddArray(line, "markers", mSession.mMarkers);
        AddArray(line, "tracks", mSession.mTracks);
        return line;
    }

private:
    template <class Items>
    void AddArray(MdidHost_JsonLine& ioLine, const char* iKey, const Items& iItems) const
    {
        std::vector<MdidHost_JsonLine> lines;
        lines.reserve(iItems.size());
        for (const auto& item : iItems)
            lines.push_back(JsonOf(item));
        ioLine.Add(iKey, std::span<const MdidHost_JsonLine>(lines));
    }

    static MdidHost_JsonLine JsonOf(const MdidHost_Division& iDivision)
    {
        MdidHost_JsonLine line;
        if (!iDivision.IsSMPTE())
        {
            line.Add("ticksPerQuarter", iDivision.GetTicksPerQuarter());
            return line;
        }
        line.Add("fps", iDivision.GetFramesPerSecond());
        line.Add("drop", iDivision.IsDropFrame());
        line.Add("ticksPerFrame", iDivision.GetTicksPerFrame());
        return line;
    }

    MdidHost_JsonLine At(Time_Typed iTime) const
    {
        MdidHost_JsonLine line;
        line.Add("tick", mTimes.ToFileTick(iTime));
        return line;
    }

    MdidHost_JsonLine JsonOf(const Time_TempoMap::Entry& iTempo) const
    {
        MdidHost_JsonLine line = At(iTempo.mTick);
        line.Add("usPerQuarter", iTempo.mMicrosecondsPerQuarter);
        return line;
    }
    MdidHost_JsonLine JsonOf(const MdidHost_Meter& iMeter) const
    {
        MdidHost_JsonLine line = At(iMeter.mTime);
        line.Add("numerator", iMeter.mNumerator);
        line.Add("denominator", iMeter.mDenominator);
        return line;
    }
    MdidHost_JsonLine JsonOf(const MdidHost_Key& iKey) const
    {
        MdidHost_JsonLine line = At(iKey.mTime);
        line.Add("key", MdidHost_NameOfKey(iKey.mKey));
        return line;
    }
    MdidHost_JsonLine JsonOf(const MdidHost_Marker& iMarker) const
    {
        MdidHost_JsonLine line = At(iMarker.mTime);
        line.Add("text", iMarker.mText);
        return line;
    }

    MdidHost_JsonLine JsonOf(const MdidHost_Track& iTrack) const
    {
        const bool hasChannel = iTrack.mChannel != MdidHost_Track::kNoChannel;
        const TrackParts parts = PartsOf(*iTrack.mChunk);
        MdidHost_JsonLine line;
        line.Add("name", iTrack.mName);
        line.Add("instrument", iTrack.mInstrument);
        line.Add("fileTrack", iTrack.mFileTrack);
        line.Add("channel", hasChannel ? std::optional<std::int64_t>(iTrack.mChannel) : std::nullopt);
        line.Add("mpeMembers", iTrack.mMPEMembers);
        line.Add("notes", JsonOf(parts));
        AddArray(line, "lanes", parts.mLanes);
        MdidHost_JsonLine sysex;
        AddPart(sysex, parts.mSysex);
        line.Add("sysex", sysex);
        return line;
    }

    MdidHost_JsonLine JsonOf(const TrackParts& iParts) const
    {
        MdidHost_JsonLine line;
        AddPart(line, iParts.mNotes);
        AddRange(line, "lowestPitch", "highestPitch", iParts.mNotes.mValues);
        AddRange(line, "lowestVelocity", "highestVelocity", iParts.mVelocities);
        if (iParts.mTrimmedNotes > 0)
            line.Add("trimmed", iParts.mTrimmedNotes);
        line.Add("withPerNoteData", iParts.mNotesWithLanes);
        line.Add("perNoteBreakpoints", iParts.mPerNoteBreakpoints);
        return line;
    }

    MdidHost_JsonLine JsonOf(const LanePart& iLane) const
    {
        MdidHost_JsonLine line;
        line.Add("type", iLane.mType);
        line.Add("number", iLane.mNumber ? std::optional<std::int64_t>(*iLane.mNumber) : std::nullopt);
        AddPart(line, iLane);
        AddRange(line, "lowest", "highest", iLane.mValues);
        return line;
    }

    void AddPart(MdidHost_JsonLine& ioLine, const Part& iPart) const
    {
        const auto tick = [&](Time_Typed time)
        { return iPart.mCount > 0 ? std::optional(mTimes.ToFileTick(time)) : std::nullopt; };
        ioLine.Add("count", iPart.mCount);
        ioLine.Add("first", tick(iPart.mFirst));
        ioLine.Add("last", tick(iPart.mLast));
    }

    static void AddRange(MdidHost_JsonLine& ioLine, const char* iLow, const char* iHigh, const Range& iRange)
    {
        const auto value = [&](int end) { return iRange.IsEmpty() ? std::nullopt : std::optional<std::int64_t>(end); };
        ioLine.Add(iLow, value(iRange.mLow));
        ioLine.Add(iHigh, value(iRange.mHigh));
    }

    const MdidHost_Session& mSession;
    MdidHost_MusicalTime mTimes;
};

} // namespace

void MdidHost_WriteSessionAsText(std::ostream& ioStream, const std::string& iName, const MdidHost_Session& iSession)
{
    TextWriter(ioStream, iSession).Write(iName);
}

void MdidHost_WriteSessionAsJson(std::ostream& ioStream, const std::string& iName, const MdidHost_Session& iSession)
{
    ioStream << JsonWriter(iSession).JsonOf(iName).GetText() << '\n';
}
