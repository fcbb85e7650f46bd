#pragma once

#include "MdidHost/Listing/MdidHost_EventListing.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ostream>
#include <span>
#include <string>

// How events and notes are listed: the three formats, and what is said of a note in all of them.
namespace MdidHost_ListingLines
{

using Format = MdidHost_EventListing::Format;

// As they are named in the lines.
constexpr std::array<std::string_view, MdidHost_EventListing::kNumKinds> kTypeNames{
    "note", "controller", "bend", "program", "pressure", "polyPressure", "sysex"};

// Behind the first columns; of a listing some of them, in this order.
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
    kEnd,
    kMuted,
    kTrimmedLeft,
    kTrimmedRight,
    kNumFields
};

constexpr std::array<std::string_view, kNumFields> kFieldNames{
    "pitch",   "name",  "velocity", "offVelocity", "duration", "number", "value",       "program",     "bankMsb",
    "bankLsb", "bytes", "noteTick", "notePitch",   "end",      "muted",  "trimmedLeft", "trimmedRight"};

inline void Append(std::string& ioText, std::int64_t iNumber)
{
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), iNumber).ptr;
    ioText.append(digits.data(), end);
}

inline void AppendRight(std::string& ioText, std::string_view iCell, std::size_t iWidth)
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
    MdidHost_EventListing::EKind mKind;
    std::optional<int> mChannel;
};

// The three formats: a line of titles, and of each event its head, its fields in the order of EField, and, of per-note
// data, its note. Nothing in them has to be escaped.
class JsonLines
{
public:
    JsonLines(std::string& ioText, std::span<const EField>) : mText(ioText) {}

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
    void AddFlag(EField iField, bool iFlag)
    {
        BeginField(iField);
        mText += iFlag ? "true" : "false";
    }
    void AddEnd(std::int64_t iTick, std::string_view) { Add(kEnd, iTick); }

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
    CsvLines(std::string& ioText, std::span<const EField> iFields) : mText(ioText), mFields(iFields) {}

    void Titles()
    {
        mText += "track,tick,us,bar,type,channel";
        for (const EField field : mFields)
            (mText += ',') += kFieldNames[field];
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
        FillUpTo(iField);
        if (iNumber)
            Append(mText, *iNumber);
    }
    void Add(EField iField, std::string_view iText)
    {
        FillUpTo(iField);
        mText += iText;
    }
    void AddFlag(EField iField, bool iFlag) { Add(iField, std::string_view(iFlag ? "true" : "false")); }
    void AddEnd(std::int64_t iTick, std::string_view) { Add(kEnd, iTick); }

    void AddNote(std::int64_t iTick, int iPitch)
    {
        Add(kNoteTick, iTick);
        Add(kNotePitch, iPitch);
    }

    void End() { mText.append(mFields.size() - mNext, ',') += '\n'; }

private:
    // Commas up to a field's own value.
    void FillUpTo(EField iField)
    {
        while (mNext < mFields.size() && mFields[mNext] <= iField)
        {
            mText += ',';
            ++mNext;
        }
    }

    std::string& mText;
    std::span<const EField> mFields; // ascending
    std::size_t mNext = 0;
};

class TextLines
{
public:
    static constexpr std::string_view kNoBar = "-"; // MdidHost_MusicalTime::FormatBar

    TextLines(std::string& ioText, std::span<const EField>) : mText(ioText) {}

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
    void AddFlag(EField iField, bool iFlag)
    {
        if (iFlag)
            BeginField(iField);
    }
    void AddEnd(std::int64_t iTick, std::string_view iBar)
    {
        BeginField(kEnd);
        if (iBar == kNoBar)
            Append(mText, iTick);
        else
            mText += iBar;
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
        static constexpr std::array<std::string_view, kNumFields> kLabels{"",
                                                                          "",
                                                                          "velocity ",
                                                                          "off velocity ",
                                                                          "duration ",
                                                                          "",
                                                                          "value ",
                                                                          "",
                                                                          "bank MSB ",
                                                                          "bank LSB ",
                                                                          "",
                                                                          "",
                                                                          "",
                                                                          "to ",
                                                                          "muted",
                                                                          "cut at the start by ",
                                                                          "cut at the end by "};
        (mText += mSeparator) += kLabels[iField];
        mSeparator = ", ";
    }

    std::string& mText;
    std::string_view mSeparator;
};

// What a note is called, for all pitches.
inline std::string_view NameOfPitch(int iPitch)
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

// A listing as it is written, a line after the other.
template <class Lines>
class Writer
{
public:
    // iFields: ascending. The stream and the session have to outlive the writer, the fields too.
    Writer(std::ostream& ioStream, const MdidHost_Session& iSession, std::span<const EField> iFields)
        : mStream(ioStream),
          mTimes(iSession),
          mLines(mText, iFields),
          mPosition(Find({}))
    {
        mLines.Titles();
    }

    Lines& GetLines() { return mLines; }
    const MdidHost_MusicalTime& GetTimes() const { return mTimes; }
    bool IsGood() const { return mStream.good(); }

    // An event of a track; number from 1.
    void Begin(const MdidHost_Track& iTrack, int iNumber, Time_Typed iTime, MdidHost_EventListing::EKind iKind,
               signed char iEventChannel)
    {
        MoveTo(iTime);
        const int channel = iTrack.GetChannelOf(iEventChannel);
        const bool hasChannel = iKind != MdidHost_EventListing::kSysex && channel != MdidHost_Track::kNoChannel;
        mLines.Begin({iNumber, mPosition, iKind, hasChannel ? std::optional(channel) : std::nullopt});
    }

    void AddPitch(int iPitch)
    {
        mLines.Add(kPitch, iPitch);
        mLines.Add(kName, NameOfPitch(iPitch));
    }

    // Of a note that starts where the line began. A duration is what lies between the file ticks of both ends.
    void AddNote(const Mdid_NoteWithDurationBase& iNote, Time_Typed iEnd)
    {
        AddPitch(iNote.GetPitch());
        mLines.Add(kVelocity, iNote.GetVelocity());
        mLines.Add(kOffVelocity, iNote.GetOffVelocity());
        mLines.Add(kDuration, mTimes.ToFileTick(iEnd) - mPosition.mTick);
    }

    void End()
    {
        mLines.End();
        if (mText.size() > kBufferSize)
            Flush();
    }

    void Flush()
    {
        mStream.write(mText.data(), std::ssize(mText));
        mText.clear();
    }

private:
    static constexpr std::size_t kBufferSize = std::size_t{1} << 16;

    Position Find(Time_Typed iTime) const
    {
        return {iTime, mTimes.ToFileTick(iTime), mTimes.ToMicroseconds(iTime), mTimes.FormatBar(iTime)};
    }

    void MoveTo(Time_Typed iTime)
    {
        if (iTime.GetPacked().GetRaw() != mPosition.mTime.GetPacked().GetRaw())
            mPosition = Find(iTime);
    }

    std::ostream& mStream;
    MdidHost_MusicalTime mTimes;
    std::string mText;
    Lines mLines;
    Position mPosition;
};

// Calls iList with one of the formats, a type.
template <class List>
std::int64_t InFormat(Format iFormat, List iList)
{
    switch (iFormat)
    {
    case Format::kJson:
        return iList.template operator()<JsonLines>();
    case Format::kCsv:
        return iList.template operator()<CsvLines>();
    default:
        return iList.template operator()<TextLines>();
    }
}

} // namespace MdidHost_ListingLines
