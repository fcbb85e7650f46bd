#include "MdidHost/Session/MdidHost_SessionJson_Private.h"

#include "Mdid/Mdi_Controller.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

namespace
{

using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;
using SessionJson = MdidHost_SessionJson;
using Timecode = Mdi_MidiFileParserClient_Timecode;

constexpr std::size_t kMaxDepth = 8;
constexpr std::size_t kMaxKeys = 1000; // of one object
constexpr std::size_t kMaxShown = 200; // characters of the data that a message repeats

const char* NameOf(Time_EType iKind)
{
    return iKind == Time_EType::kMicrosecond ? "microseconds" : "ticks";
}

OrderedJson JsonOf(const MdidHost_Division& iDivision)
{
    if (!iDivision.IsSMPTE())
        return {{"ticksPerQuarter", iDivision.GetTicksPerQuarter()}};
    return {{"framesPerSecond", iDivision.GetFramesPerSecond()},
            {"dropFrame", iDivision.IsDropFrame()},
            {"ticksPerFrame", iDivision.GetTicksPerFrame()}};
}

OrderedJson JsonOf(const Timecode& iOffset)
{
    return {{"frameRate", iOffset.mFrameRate}, {"hours", iOffset.mHours},   {"minutes", iOffset.mMinutes},
            {"seconds", iOffset.mSeconds},     {"frames", iOffset.mFrames}, {"hundredths", iOffset.mHundredths}};
}

// iCountOf(time): the count of a time in the session's kind.
template <class CountOf>
OrderedJson JsonOf(const MdidHost_Track& iTrack, const std::string& iFile, CountOf iCountOf)
{
    OrderedJson channel;
    if (iTrack.mChannel != MdidHost_Track::kNoChannel)
        channel = iTrack.mChannel;
    OrderedJson json{{"name", iTrack.mName},          {"instrument", iTrack.mInstrument},
                     {"comments", iTrack.mComments},  {"fileTrack", iTrack.mFileTrack},
                     {"channel", std::move(channel)}, {"mpeMembers", iTrack.mMPEMembers}};
    if (iTrack.mFileTrackEnd)
        json["fileTrackEnd"] = iCountOf(*iTrack.mFileTrackEnd);
    json["file"] = iFile;
    return json;
}

template <class Range, class Convert>
OrderedJson ArrayOf(const Range& iElements, Convert iConvert)
{
    OrderedJson array = OrderedJson::array();
    for (const auto& element : iElements)
        array.push_back(iConvert(element));
    return array;
}

// A value, and where it stands in the text. A member knows its parent, which must outlive it; the way there is written
// out only for messages.
class Field
{
public:
    Field(const Json& iRoot, const std::string& iFile) : mValue(iRoot), mFile(iFile) {}

    Field operator[](const char* iKey) const
    {
        if (const auto member = Find(iKey))
            return *member;
        const Field missing(mValue, *this, iKey, 0);
        missing.Fail("missing");
    }

    std::optional<Field> Find(const char* iKey) const
    {
        if (!mValue.is_object())
            Fail("not an object");
        const auto member = mValue.find(iKey);
        return member == mValue.end() ? std::nullopt : std::optional(Field(*member, *this, iKey, 0));
    }

    // iVisit(element) for each.
    template <class Visit>
    void ForEach(Visit iVisit) const
    {
        if (!mValue.is_array())
            Fail("not an array");
        for (std::size_t i = 0; i < mValue.size(); ++i)
            iVisit(Field(mValue[i], *this, nullptr, i));
    }

    bool IsNull() const { return mValue.is_null(); }

    bool AsBool() const
    {
        if (!mValue.is_boolean())
            Refuse("true or false");
        return mValue.get<bool>();
    }

    const std::string& AsText() const
    {
        if (!mValue.is_string())
            Refuse("a text");
        return mValue.get_ref<const std::string&>();
    }

    // Both ends belong to the range.
    std::int64_t AsInteger(std::int64_t iMinimum, std::int64_t iMaximum, const char* iWhat) const
    {
        const auto* unsignedP = mValue.get_ptr<const Json::number_unsigned_t*>();
        const bool isTooLarge = unsignedP && *unsignedP > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
        if (!mValue.is_number_integer() || isTooLarge)
            Refuse(iWhat);
        const auto value = mValue.get<std::int64_t>();
        if (value < iMinimum || value > iMaximum)
            Refuse(iWhat);
        return value;
    }

    int AsInt(int iMinimum, int iMaximum, const char* iWhat) const
    {
        return static_cast<int>(AsInteger(iMinimum, iMaximum, iWhat));
    }

    [[noreturn]] void Refuse(const char* iWhat) const
    {
        std::string shown = mValue.is_structured() ? std::string(mValue.type_name()) : mValue.dump();
        if (shown.size() > kMaxShown)
            shown.replace(kMaxShown, std::string::npos, "...");
        Fail(std::string("not ").append(iWhat).append(": ").append(shown));
    }

    [[noreturn]] void Fail(const std::string& iReason) const
    {
        const std::string path = GetPath();
        throw MdidHost_FileError(mFile, path.empty() ? iReason : path + ": " + iReason);
    }

private:
    Field(const Json& iValue, const Field& iParent, const char* iKey, std::size_t iIndex)
        : mValue(iValue),
          mFile(iParent.mFile),
          mParentP(&iParent),
          mKeyP(iKey),
          mIndex(iIndex)
    {
    }

    std::string GetPath() const
    {
        std::string path = mParentP ? mParentP->GetPath() : "";
        if (mKeyP)
            path.append(path.empty() ? "" : ".").append(mKeyP);
        else if (mParentP)
            path.append("[").append(std::to_string(mIndex)).append("]");
        return path;
    }

    const Json& mValue;
    const std::string& mFile;
    const Field* mParentP = nullptr;
    const char* mKeyP = nullptr; // null: an element of an array
    std::size_t mIndex = 0;
};

// Goes over a text and keeps nothing of it but the keys of the objects that are open, so that what is refused takes no
// memory. Every function throws MdidHost_FileError, or lets the reader go on.
class Checker : public nlohmann::json_sax<Json>
{
public:
    explicit Checker(const std::string& iFile) : mFile(iFile) {}

    bool null() override { return Count(); }
    bool boolean(bool) override { return Count(); }
    bool number_integer(number_integer_t) override { return Count(); }
    bool number_unsigned(number_unsigned_t) override { return Count(); }
    bool number_float(number_float_t, const string_t&) override { return Count(); }
    bool string(string_t&) override { return Count(); }
    bool binary(binary_t&) override { return Count(); }

    bool start_object(std::size_t) override { return Open(); }
    bool end_object() override { return Close(); }
    bool start_array(std::size_t) override { return Open(); }
    bool end_array() override { return Close(); }

    bool key(string_t& iKey) override
    {
        std::set<std::string>& keys = mOpen.back();
        if (!keys.insert(iKey).second)
            throw MdidHost_FileError(mFile, "twice in one object: " + Json(iKey).dump().substr(0, kMaxShown));
        if (keys.size() > kMaxKeys)
            throw MdidHost_FileError(mFile, "too many keys in one object");
        return true;
    }

    // The text of the library says more before its bracket than one needs to know.
    bool parse_error(std::size_t iPosition, const std::string&, const Json::exception& iException) override
    {
        const std::string_view text = iException.what();
        const auto bracket = text.find("] ");
        const std::string_view reason = bracket == std::string_view::npos ? text : text.substr(bracket + 2);
        const auto position = static_cast<std::int64_t>(iPosition); // from 1; 0 where it is unknown
        throw MdidHost_FileError(mFile, "not valid JSON: " + std::string(reason.substr(0, kMaxShown)),
                                 std::max<std::int64_t>(position - 1, 0));
    }

private:
    bool Count()
    {
        if (++mNumValues > SessionJson::kMaxValues)
            throw MdidHost_FileError(mFile, "more than " + std::to_string(SessionJson::kMaxValues) + " values");
        return true;
    }

    bool Open()
    {
        if (mOpen.size() == kMaxDepth)
            throw MdidHost_FileError(mFile, "nested too deep");
        mOpen.emplace_back();
        return Count();
    }

    bool Close()
    {
        mOpen.pop_back();
        return true;
    }

    const std::string& mFile;
    std::vector<std::set<std::string>> mOpen; // the keys so far; none of an array
    std::size_t mNumValues = 0;
};

// Twice over: a reader that checks while it builds takes quadratic time for long arrays.
Json Parse(std::string_view iText, const std::string& iFile)
{
    Checker checker(iFile);
    Json::sax_parse(iText.begin(), iText.end(), &checker);
    return Json::parse(iText.begin(), iText.end());
}

MdidHost_Division ReadDivision(const Field& iDivision)
{
    if (const auto ticks = iDivision.Find("ticksPerQuarter"))
        return MdidHost_Division::TicksPerQuarter(ticks->AsInt(1, 32767, "a number of ticks"));
    const Field rate = iDivision["framesPerSecond"];
    const int frames = rate.AsInt(24, 30, "a frame rate");
    if (frames != 24 && frames != 25 && frames != 30)
        rate.Refuse("a frame rate");
    const Field dropFrame = iDivision["dropFrame"];
    if (dropFrame.AsBool() && frames != 30)
        dropFrame.Fail("only with 30 frames a second");
    return MdidHost_Division::SMPTE(frames, dropFrame.AsBool(),
                                    iDivision["ticksPerFrame"].AsInt(1, 255, "a number of ticks"));
}

Time_Context ReadContext(const Field& iRoot)
{
    Time_Context context;
    context.SetSampleRate(iRoot["sampleRate"].AsInteger(1, Time_Context::kMaxSampleRate, "a sample rate"));
    context.SetSessionStart(
        Time_Sample(iRoot["sessionStart"].AsInteger(Time_Packed::kMinCount, Time_Packed::kMaxCount, "a time")));
    Time_TempoMap tempoMap;
    iRoot["tempoMap"].ForEach(
        [&](const Field& iEntry)
        {
            const Field tick = iEntry["tick"];
            const Time_Tick time(tick.AsInteger(0, Time_Packed::kMaxCount, "a time at or after 0"));
            if (!tempoMap.GetEntries().empty() && time <= tempoMap.GetEntries().back().mTick)
                tick.Fail("not later than the one before");
            tempoMap.Set(time, iEntry["microsecondsPerQuarter"].AsInt(1, std::numeric_limits<int>::max(), "a tempo"));
        });
    context.SetTempoMap(std::move(tempoMap));
    return context;
}

MdidHost_Meter ReadMeter(const Field& iMeter)
{
    MdidHost_Meter meter;
    meter.mNumerator = iMeter["numerator"].AsInt(0, 255, "a number of beats");
    const Field denominator = iMeter["denominator"];
    meter.mDenominator = denominator.AsInt(0, 1 << 30, "a power of two");
    if (meter.mDenominator != 0 && !std::has_single_bit(static_cast<unsigned>(meter.mDenominator)))
        denominator.Refuse("a power of two");
    meter.mClocksPerClick = iMeter["clocksPerClick"].AsInt(0, 65535, "a number of clocks");
    meter.mThirtySecondsPerQuarter = iMeter["thirtySecondsPerQuarter"].AsInt(0, 255, "a number of notes");
    return meter;
}

MdidHost_Key ReadKey(const Field& iKey)
{
    MdidHost_Key key;
    key.mKey.SetNumAccidentals(iKey["accidentals"].AsInt(0, 128, "a number of accidentals"));
    key.mKey.SetIsSharps(iKey["sharps"].AsBool());
    key.mKey.SetIsMajor(iKey["major"].AsBool());
    return key;
}

MdidHost_Marker ReadMarker(const Field& iMarker)
{
    return {{}, iMarker["text"].AsText()};
}

Time_Typed ReadTime(const Field& iTime, Time_EType iKind)
{
    return {iTime.AsInteger(Time_Packed::kMinCount, Time_Packed::kMaxCount, "a time"), iKind};
}

// Reads an array of what happens at times.
template <class T>
std::vector<T> ReadTimed(const Field& iArray, Time_EType iKind, T (*iRead)(const Field&))
{
    std::vector<T> elements;
    iArray.ForEach(
        [&](const Field& iElement)
        {
            const Field time = iElement["time"];
            T element = iRead(iElement);
            element.mTime = ReadTime(time, iKind);
            if (!elements.empty() && element.mTime < elements.back().mTime)
                time.Fail("earlier than the one before");
            elements.push_back(std::move(element));
        });
    return elements;
}

std::optional<Timecode> ReadSMPTEOffset(const std::optional<Field>& iOffset)
{
    if (!iOffset)
        return {};
    Timecode offset;
    const Field rate = (*iOffset)["frameRate"];
    offset.mFrameRate = static_cast<std::uint16_t>(rate.AsInt(24, Timecode::kDrop30, "a frame rate"));
    if (offset.mFrameRate != 24 && offset.mFrameRate != 25 && offset.mFrameRate != 30 &&
        offset.mFrameRate != Timecode::kDrop30)
        rate.Refuse("a frame rate");
    const auto read = [&](const char* iKey, int iMaximum, const char* iWhat)
    { return static_cast<std::uint8_t>((*iOffset)[iKey].AsInt(0, iMaximum, iWhat)); };
    offset.mHours = read("hours", 23, "an hour");
    offset.mMinutes = read("minutes", 59, "a minute");
    offset.mSeconds = read("seconds", 59, "a second");
    offset.mFrames = read("frames", (offset.mFrameRate & 0xFF) - 1, "a frame");
    offset.mHundredths = read("hundredths", 99, "a hundredth of a frame");
    return offset;
}

// What stands in a folder, and not elsewhere.
bool IsPlainName(const std::string& iName)
{
    return !iName.empty() && iName != "." && iName != ".." && iName.find('/') == std::string::npos &&
           iName.find('\0') == std::string::npos;
}

MdidHost_Track ReadTrack(const Field& iTrack, Time_EType iKind)
{
    MdidHost_Track track;
    track.mName = iTrack["name"].AsText();
    track.mInstrument = iTrack["instrument"].AsText();
    iTrack["comments"].ForEach([&](const Field& iComment) { track.mComments.push_back(iComment.AsText()); });
    track.mFileTrack = iTrack["fileTrack"].AsInt(1, 65535, "a track of a file");
    const Field channel = iTrack["channel"];
    if (!channel.IsNull())
        track.mChannel = channel.AsInt(0, 15, "a channel");
    track.mMPEMembers = iTrack["mpeMembers"].AsInt(
        0, track.mChannel == 15 ? Mdi_Controller::kMaxUpperMembers : Mdi_Controller::kMaxLowerMembers,
        "a number of channels");
    if (track.mMPEMembers > 0 && track.mChannel != 0 && track.mChannel != 15)
        channel.Refuse("the master channel of an MPE zone");
    if (const auto end = iTrack.Find("fileTrackEnd"))
        track.mFileTrackEnd = ReadTime(*end, iKind);
    return track;
}

void ReadTracks(const Field& iTracks, Time_EType iKind, SessionJson& oJson)
{
    std::set<std::string> files;
    iTracks.ForEach(
        [&](const Field& iTrack)
        {
            oJson.mSession.mTracks.push_back(ReadTrack(iTrack, iKind));
            const Field file = iTrack["file"];
            if (!IsPlainName(file.AsText()))
                file.Refuse("a file of this folder");
            if (!files.insert(file.AsText()).second)
                file.Fail("the file of another track too");
            oJson.mFiles.push_back(file.AsText());
        });
}

} // namespace

std::string MdidHost_SessionJson::Write() const
{
    const Time_EType kind = mSession.mDivision.GetKind();
    const auto countOf = [&](Time_Typed iTime) { return mSession.mContext.ToType(iTime, kind).AsInt64(); };

    OrderedJson root;
    root["formatVersion"] = kFormatVersion;
    root["generation"] = mGeneration;
    root["fileFormat"] = mSession.mFormat;
    root["division"] = JsonOf(mSession.mDivision);
    root["kind"] = NameOf(kind);
    root["sampleRate"] = mSession.mContext.GetSampleRate();
    root["sessionStart"] = mSession.mContext.GetSessionStart().AsInt64();
    root["tempoMap"] = ArrayOf(mSession.mContext.GetTempoMap().GetEntries(),
                               [](const Time_TempoMap::Entry& iEntry) {
                                   return OrderedJson{{"tick", iEntry.mTick.AsInt64()},
                                                      {"microsecondsPerQuarter", iEntry.mMicrosecondsPerQuarter}};
                               });
    root["meters"] = ArrayOf(mSession.mMeters,
                             [&](const MdidHost_Meter& iMeter)
                             {
                                 return OrderedJson{{"time", countOf(iMeter.mTime)},
                                                    {"numerator", iMeter.mNumerator},
                                                    {"denominator", iMeter.mDenominator},
                                                    {"clocksPerClick", iMeter.mClocksPerClick},
                                                    {"thirtySecondsPerQuarter", iMeter.mThirtySecondsPerQuarter}};
                             });
    root["keys"] = ArrayOf(mSession.mKeys,
                           [&](const MdidHost_Key& iKey)
                           {
                               return OrderedJson{{"time", countOf(iKey.mTime)},
                                                  {"accidentals", iKey.mKey.GetNumAccidentals()},
                                                  {"sharps", iKey.mKey.GetIsSharps()},
                                                  {"major", iKey.mKey.GetIsMajor()}};
                           });
    root["markers"] = ArrayOf(mSession.mMarkers,
                              [&](const MdidHost_Marker& iMarker) {
                                  return OrderedJson{{"time", countOf(iMarker.mTime)}, {"text", iMarker.mText}};
                              });
    if (mSession.mSMPTEOffset)
        root["smpteOffset"] = JsonOf(*mSession.mSMPTEOffset);
    root["perNoteData"] = mSession.mHasPerNoteData;
    auto file = mFiles.begin();
    root["tracks"] =
        ArrayOf(mSession.mTracks, [&](const MdidHost_Track& iTrack) { return JsonOf(iTrack, *file++, countOf); });
    return root.dump(2, ' ', false, OrderedJson::error_handler_t::replace) + '\n';
}

MdidHost_SessionJson MdidHost_SessionJson::Read(std::string_view iText, const std::string& iFile)
{
    const Json value = Parse(iText, iFile);
    const Field root(value, iFile);
    const std::int64_t version =
        root["formatVersion"].AsInteger(1, std::numeric_limits<std::int64_t>::max(), "a format version");
    if (version > kFormatVersion)
        root["formatVersion"].Fail("made by a newer version: " + std::to_string(version) + ", " +
                                   std::to_string(kFormatVersion) + " is known here");

    MdidHost_SessionJson json;
    json.mGeneration = root["generation"].AsInt(1, kMaxGeneration, "a generation");
    MdidHost_Session& session = json.mSession;
    session.mFormat = root["fileFormat"].AsInt(0, 2, "a file format");
    session.mDivision = ReadDivision(root["division"]);
    const Time_EType kind = session.mDivision.GetKind();
    if (root["kind"].AsText() != NameOf(kind))
        root["kind"].Refuse("the kind of time of this division");
    session.mContext = ReadContext(root);
    session.mMeters = ReadTimed(root["meters"], kind, ReadMeter);
    session.mKeys = ReadTimed(root["keys"], kind, ReadKey);
    session.mMarkers = ReadTimed(root["markers"], kind, ReadMarker);
    session.mSMPTEOffset = ReadSMPTEOffset(root.Find("smpteOffset"));
    session.mHasPerNoteData = root["perNoteData"].AsBool();
    ReadTracks(root["tracks"], kind, json);
    return json;
}
