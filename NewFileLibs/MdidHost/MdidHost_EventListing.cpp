#include "MdidHost/MdidHost_EventListing.h"

#include "MdidHost/MdidHost_EventWalk_Private.h"
#include "MdidHost/MdidHost_MusicalTime.h"
#include "MdidHost/MdidHost_Text.h"
#include "MdidHost/MdidHost_Wording_Private.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <ostream>
#include <stdexcept>

namespace
{

using Listing = MdidHost_EventListing;

// As they are named for --only, and in the lines.
constexpr std::array<std::string_view, Listing::kNumKinds> kKindNames{"notes",    "controllers",  "bends", "programs",
                                                                      "pressure", "polyPressure", "sysex"};
constexpr std::array<std::string_view, Listing::kNumKinds> kTypeNames{"note",     "controller",   "bend", "program",
                                                                      "pressure", "polyPressure", "sysex"};

std::optional<Listing::EKind> KindOf(signed char iType)
{
    switch (iType)
    {
    case Mdid_Event::kNoteWithDuration:
    case Mdid_Event::kPitchToMIDINoteWithDuration:
        return Listing::kNotes;
    case Mdid_Event::kPitchBend:
        return Listing::kBends;
    case Mdid_Event::kController:
        return Listing::kControllers;
    case Mdid_Event::kProgram:
        return Listing::kPrograms;
    case Mdid_Event::kMonoPressure:
        return Listing::kPressure;
    case Mdid_Event::kPolyPressure:
        return Listing::kPolyPressure;
    case Mdid_Event::kSysex:
    case Mdid_Event::kLongSysex:
        return Listing::kSysex;
    default:
        return {};
    }
}

Mdie_Filter FilterOf(Listing::Kinds iKinds)
{
    static constexpr std::array<Mdie_Filter::EDataType, Listing::kNumKinds> kDataTypes{
        Mdie_Filter::kNotes,        Mdie_Filter::kHostFlag1,    Mdie_Filter::kPitchBend, Mdie_Filter::kProgram,
        Mdie_Filter::kMonoPressure, Mdie_Filter::kPolyPressure, Mdie_Filter::kSysex};
    Mdie_Filter filter;
    if (iKinds[Listing::kControllers])
        filter.SetAll();
    for (std::size_t kind = 0; kind < kDataTypes.size(); ++kind)
        filter.Set(kDataTypes[kind], iKinds[kind]);
    return filter;
}

// Behind the first columns, in this order.
enum EField
{
    kPitch,
    kName,
    kVelocity,
    kOffVelocity,
    kDuration,
    kNumber,
    kValue,
    kProgram,
    kBankMsb,
    kBankLsb,
    kBytes,
    kNoteTick,
    kNotePitch,
    kNumFields
};

constexpr std::array<std::string_view, kNumFields> kFieldNames{
    "pitch",   "name",    "velocity", "offVelocity", "duration", "number",   "value",
    "program", "bankMsb", "bankLsb",  "bytes",       "noteTick", "notePitch"};

void Append(std::string& ioText, std::int64_t iNumber)
{
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), iNumber).ptr;
    ioText.append(digits.data(), end);
}

void AppendRight(std::string& ioText, std::string_view iCell, std::size_t iWidth)
{
    ioText.append(iWidth - std::min(iWidth, iCell.size()), ' ') += iCell;
}

// Where an event is; found once for all events of one time.
struct Position
{
    Time_Typed mTime;
    std::int64_t mTick;
    std::int64_t mMicroseconds;
    std::string mBar;
};

struct Head
{
    int mTrack;
    const Position& mPosition;
    Listing::EKind mKind;
    std::optional<int> mChannel;
};

// The three formats: a line of titles, and of each event its head, its fields in the order of EField, and, of per-note
// data, its note. Nothing in them has to be escaped.
class JsonLines
{
public:
    explicit JsonLines(std::string& ioText) : mText(ioText) {}

    void Titles() {}

    void Begin(const Head& iHead)
    {
        mText += R"({"track":)";
        Append(mText, iHead.mTrack);
        mText += R"(,"tick":)";
        Append(mText, iHead.mPosition.mTick);
        mText += R"(,"us":)";
        Append(mText, iHead.mPosition.mMicroseconds);
        ((mText += R"(,"bar":")") += iHead.mPosition.mBar) += R"(","type":")";
        (mText += kTypeNames[iHead.mKind]) += R"(","channel":)";
        AppendOrNull(iHead.mChannel);
    }

    void Add(EField iField, std::optional<std::int64_t> iNumber)
    {
        BeginField(iField);
        AppendOrNull(iNumber);
    }
    void Add(EField iField, std::string_view iText)
    {
        BeginField(iField);
        ((mText += '"') += iText) += '"';
    }

    void AddNote(std::int64_t iTick, int iPitch)
    {
        mText += R"(,"note":{"tick":)";
        Append(mText, iTick);
        mText += R"(,"pitch":)";
        Append(mText, iPitch);
        mText += '}';
    }

    void End() { mText += "}\n"; }

private:
    void BeginField(EField iField) { ((mText += ",\"") += kFieldNames[iField]) += "\":"; }
    void AppendOrNull(std::optional<std::int64_t> iNumber)
    {
        if (iNumber)
            Append(mText, *iNumber);
        else
            mText += "null";
    }

    std::string& mText;
};

class CsvLines
{
public:
    explicit CsvLines(std::string& ioText) : mText(ioText) {}

    void Titles()
    {
        mText += "track,tick,us,bar,type,channel";
        for (const std::string_view name : kFieldNames)
            (mText += ',') += name;
        mText += '\n';
    }

    void Begin(const Head& iHead)
    {
        mNext = 0;
        for (const std::int64_t number :
             {std::int64_t{iHead.mTrack}, iHead.mPosition.mTick, iHead.mPosition.mMicroseconds})
        {
            Append(mText, number);
            mText += ',';
        }
        ((mText += iHead.mPosition.mBar) += ',') += kTypeNames[iHead.mKind];
        mText += ',';
        if (iHead.mChannel)
            Append(mText, *iHead.mChannel);
    }

    void Add(EField iField, std::optional<std::int64_t> iNumber)
    {
        FillUpTo(iField + 1);
        if (iNumber)
            Append(mText, *iNumber);
    }
    void Add(EField iField, std::string_view iText)
    {
        FillUpTo(iField + 1);
        mText += iText;
    }

    void AddNote(std::int64_t iTick, int iPitch)
    {
        Add(kNoteTick, iTick);
        Add(kNotePitch, iPitch);
    }

    void End()
    {
        FillUpTo(kNumFields);
        mText += '\n';
    }

private:
    void FillUpTo(int iField)
    {
        for (; mNext < iField; ++mNext)
            mText += ',';
    }

    std::string& mText;
    int mNext = 0;
};

class TextLines
{
public:
    explicit TextLines(std::string& ioText) : mText(ioText) {}

    void Titles() { mText += "track  bar             tick         time  channel  event\n"; }

    void Begin(const Head& iHead)
    {
        AppendRight(mText, std::to_string(iHead.mTrack), 5);
        (mText += "  ") += MdidHost_Column(iHead.mPosition.mBar, 10);
        AppendRight(mText, std::to_string(iHead.mPosition.mTick), 10);
        AppendRight(mText, MdidHost_MinutesAndSeconds(iHead.mPosition.mMicroseconds), 13);
        AppendRight(mText, iHead.mChannel ? std::to_string(*iHead.mChannel + 1) : "-", 9);
        (mText += "  ") += kTypeNames[iHead.mKind];
        mSeparator = " ";
    }

    void Add(EField iField, std::optional<std::int64_t> iNumber)
    {
        if (!iNumber || iField == kPitch) // which its name tells
            return;
        BeginField(iField);
        Append(mText, *iNumber);
    }
    void Add(EField iField, std::string_view iText)
    {
        BeginField(iField);
        mText += iText;
    }

    void AddNote(std::int64_t iTick, int iPitch)
    {
        ((mText += ", of the note ") += MdidHost_NameOfPitch(iPitch)) += " at ";
        Append(mText, iTick);
    }

    void End() { mText += '\n'; }

private:
    void BeginField(EField iField)
    {
        static constexpr std::array<std::string_view, kNumFields> kLabels{
            "", "", "velocity ", "off velocity ", "duration ", "", "value ", "", "bank MSB ", "bank LSB ", "", "", ""};
        (mText += mSeparator) += kLabels[iField];
        mSeparator = ", ";
    }

    std::string& mText;
    std::string_view mSeparator;
};

// What a note is called, for all pitches.
std::string_view NameOfPitch(int iPitch)
{
    static const auto kNames = []
    {
        std::array<std::string, 128> names;
        for (std::size_t pitch = 0; pitch < names.size(); ++pitch)
            names[pitch] = MdidHost_NameOfPitch(static_cast<int>(pitch));
        return names;
    }();
    return kNames[static_cast<std::size_t>(iPitch & 0x7F)];
}

template <class Lines>
class Lister
{
public:
    Lister(std::ostream& ioStream, const MdidHost_Session& iSession, const Listing& iListing)
        : mStream(ioStream),
          mTimes(iSession),
          mLines(mText),
          mPosition(Find({}))
    {
        const MdidHost_EventWindow window{iListing.mStart, iListing.mEnd};
        const Mdie_Filter filter = FilterOf(iListing.mKinds);
        for (std::size_t i = 0; i < iSession.mTracks.size(); ++i)
            if (const int number = static_cast<int>(i) + 1; !iListing.mTrack || *iListing.mTrack == number)
                mWalks.push_back(std::make_unique<MdidHost_TrackWalk>(iSession.mTracks[i], number, window, filter));
        std::erase_if(mWalks, [](const auto& walk) { return !walk->IsMore(); });
        std::ranges::make_heap(mWalks, IsLater);
    }

    std::int64_t Run()
    {
        std::int64_t count = 0;
        mLines.Titles();
        for (; !mWalks.empty() && mStream.good(); Next())
        {
            count += Write(*mWalks.front()) ? 1 : 0;
            if (mText.size() > kBufferSize)
                Flush();
        }
        Flush();
        return count;
    }

private:
    static constexpr std::size_t kBufferSize = std::size_t{1} << 16;
    using Walk = std::unique_ptr<MdidHost_TrackWalk>;

    static bool IsLater(const Walk& iA, const Walk& iB)
    {
        return iA->GetTime() != iB->GetTime() ? iB->GetTime() < iA->GetTime() : iB->GetNumber() < iA->GetNumber();
    }

    void Next()
    {
        std::ranges::pop_heap(mWalks, IsLater);
        mWalks.back()->Next();
        if (mWalks.back()->IsMore())
            std::ranges::push_heap(mWalks, IsLater);
        else
            mWalks.pop_back();
    }

    void Flush()
    {
        mStream.write(mText.data(), std::ssize(mText));
        mText.clear();
    }

    Position Find(Time_Typed iTime) const
    {
        return {iTime, mTimes.ToFileTick(iTime), mTimes.ToMicroseconds(iTime), mTimes.FormatBar(iTime)};
    }

    void MoveTo(Time_Typed iTime)
    {
        if (iTime.GetPacked().GetRaw() != mPosition.mTime.GetPacked().GetRaw())
            mPosition = Find(iTime);
    }

    // What a record of another program may hold beyond the kinds that are listed is passed over.
    bool Write(const MdidHost_TrackWalk& iWalk)
    {
        const MdidHost_ListedEvent item = iWalk.Get();
        const auto kind = KindOf(item.mEvent.GetType());
        if (!kind)
            return false;
        MoveTo(item.mTime);
        const int channel = iWalk.GetTrack().GetChannelOf(item.mEvent.GetChannel());
        const bool hasChannel = *kind != Listing::kSysex && channel != MdidHost_Track::kNoChannel;
        mLines.Begin({iWalk.GetNumber(), mPosition, *kind, hasChannel ? std::optional(channel) : std::nullopt});
        WriteFields(*kind, item);
        if (item.mNoteP)
            mLines.AddNote(mTimes.ToFileTick(item.mNoteP->GetTime()), item.mNoteP->GetPitch());
        mLines.End();
        return true;
    }

    void WriteFields(Listing::EKind iKind, const MdidHost_ListedEvent& iItem)
    {
        const Mdid_Event& event = iItem.mEvent;
        switch (iKind)
        {
        case Listing::kNotes:
            return WriteNote(event.As<Mdid_NoteWithDurationBase>(), iItem.mTime);
        case Listing::kControllers:
            mLines.Add(kNumber, event.As<Mdid_ControllerEvent>().GetController());
            return mLines.Add(kValue, event.As<Mdid_ControllerEvent>().GetValue());
        case Listing::kBends:
            return mLines.Add(kValue, event.As<Mdid_PitchBendEvent>().GetBendValue());
        case Listing::kPrograms:
            return WriteProgram(event.As<Mdid_ProgramEvent>());
        case Listing::kPressure:
            return mLines.Add(kValue, event.As<Mdid_MonoPressureEvent>().GetValue());
        case Listing::kPolyPressure:
            WritePitch(event.As<Mdid_PolyPressureEvent>().GetPitch());
            return mLines.Add(kValue, event.As<Mdid_PolyPressureEvent>().GetValue());
        default:
            return mLines.Add(kBytes, std::string_view(MdidHost_HexOfMessages(event)));
        }
    }

    void WritePitch(int iPitch)
    {
        mLines.Add(kPitch, iPitch);
        mLines.Add(kName, NameOfPitch(iPitch));
    }

    // A duration is what lies between the file ticks of both ends.
    void WriteNote(const Mdid_NoteWithDurationBase& iNote, Time_Typed iStart)
    {
        WritePitch(iNote.GetPitch());
        mLines.Add(kVelocity, iNote.GetVelocity());
        mLines.Add(kOffVelocity, iNote.GetOffVelocity());
        mLines.Add(kDuration, mTimes.ToFileTick(iStart + iNote.GetDuration()) - mPosition.mTick);
    }

    void WriteProgram(const Mdid_ProgramEvent& iEvent)
    {
        const auto ifEnabled = [](bool isEnabled, int value)
        { return isEnabled ? std::optional<std::int64_t>(value) : std::nullopt; };
        mLines.Add(kProgram, ifEnabled(iEvent.IsProgramEnabled(), iEvent.GetProgram()));
        mLines.Add(kBankMsb, ifEnabled(iEvent.IsMSBBankEnabled(), iEvent.GetMSBBank()));
        mLines.Add(kBankLsb, ifEnabled(iEvent.IsLSBBankEnabled(), iEvent.GetLSBBank()));
    }

    std::ostream& mStream;
    MdidHost_MusicalTime mTimes;
    std::string mText;
    Lines mLines;
    std::vector<Walk> mWalks; // a heap: the next event is that of the first
    Position mPosition;
};

} // namespace

std::optional<Listing::Kinds> MdidHost_EventListing::ParseKinds(std::string_view iText)
{
    Kinds kinds;
    for (bool isMore = true; isMore;)
    {
        const std::size_t comma = iText.find(',');
        const auto name = std::ranges::find(kKindNames, iText.substr(0, comma));
        if (name == kKindNames.end())
            return {};
        kinds.set(static_cast<std::size_t>(name - kKindNames.begin()));
        isMore = comma != std::string_view::npos;
        iText.remove_prefix(isMore ? comma + 1 : iText.size());
    }
    return kinds;
}

std::int64_t MdidHost_ListEvents(std::ostream& ioStream, const MdidHost_Session& iSession, const Listing& iListing)
{
    if (iListing.mTrack && (*iListing.mTrack < 1 || *iListing.mTrack > std::ssize(iSession.mTracks)))
        throw std::invalid_argument("there is no track " + std::to_string(*iListing.mTrack));
    switch (iListing.mFormat)
    {
    case Listing::Format::kJson:
        return Lister<JsonLines>(ioStream, iSession, iListing).Run();
    case Listing::Format::kCsv:
        return Lister<CsvLines>(ioStream, iSession, iListing).Run();
    default:
        return Lister<TextLines>(ioStream, iSession, iListing).Run();
    }
}
