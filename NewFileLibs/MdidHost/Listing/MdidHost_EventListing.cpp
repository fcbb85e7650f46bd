#include "MdidHost/Listing/MdidHost_EventListing.h"

#include "MdidHost/Listing/MdidHost_EventWalk_Private.h"
#include "MdidHost/Listing/MdidHost_ListingLines_Private.h"
#include "MdidHost/Text/MdidHost_Text.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

using namespace MdidHost_ListingLines;

namespace
{

using Listing = MdidHost_EventListing;

// As they are named for --only.
constexpr std::array<std::string_view, Listing::kNumKinds> kKindNames{"notes",    "controllers",  "bends", "programs",
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

constexpr std::array kFields{kPitch,   kName,    kVelocity, kOffVelocity, kDuration, kNumber,   kValue,
                             kProgram, kBankMsb, kBankLsb,  kBytes,       kNoteTick, kNotePitch};

template <class Lines>
class Lister
{
public:
    Lister(std::ostream& ioStream, const MdidHost_Session& iSession, const Listing& iListing)
        : mWriter(ioStream, iSession, kFields)
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
        for (; !mWalks.empty() && mWriter.IsGood(); Next())
            count += Write(*mWalks.front()) ? 1 : 0;
        mWriter.Flush();
        return count;
    }

private:
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

    // What a record of another program may hold beyond the kinds that are listed is passed over.
    bool Write(const MdidHost_TrackWalk& iWalk)
    {
        const MdidHost_ListedEvent item = iWalk.Get();
        const auto kind = KindOf(item.mEvent.GetType());
        if (!kind)
            return false;
        mWriter.Begin(iWalk.GetTrack(), iWalk.GetNumber(), item.mTime, *kind, item.mEvent.GetChannel());
        WriteFields(*kind, item);
        if (item.mNoteP)
            mLines.AddNote(mWriter.GetTimes().ToFileTick(item.mNoteP->GetTime()), item.mNoteP->GetPitch());
        mWriter.End();
        return true;
    }

    void WriteFields(Listing::EKind iKind, const MdidHost_ListedEvent& iItem)
    {
        const Mdid_Event& event = iItem.mEvent;
        switch (iKind)
        {
        case Listing::kNotes:
            return mWriter.AddNote(event.As<Mdid_NoteWithDurationBase>(),
                                   iItem.mTime + event.As<Mdid_NoteWithDurationBase>().GetDuration());
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
            mWriter.AddPitch(event.As<Mdid_PolyPressureEvent>().GetPitch());
            return mLines.Add(kValue, event.As<Mdid_PolyPressureEvent>().GetValue());
        default:
            return mLines.Add(kBytes, std::string_view(MdidHost_HexOfMessages(event)));
        }
    }

    void WriteProgram(const Mdid_ProgramEvent& iEvent)
    {
        const auto ifEnabled = [](bool isEnabled, int value)
        { return isEnabled ? std::optional<std::int64_t>(value) : std::nullopt; };
        mLines.Add(kProgram, ifEnabled(iEvent.IsProgramEnabled(), iEvent.GetProgram()));
        mLines.Add(kBankMsb, ifEnabled(iEvent.IsMSBBankEnabled(), iEvent.GetMSBBank()));
        mLines.Add(kBankLsb, ifEnabled(iEvent.IsLSBBankEnabled(), iEvent.GetLSBBank()));
    }

    Writer<Lines> mWriter;
    Lines& mLines = mWriter.GetLines();
    std::vector<Walk> mWalks; // a heap: the next event is that of the first
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
    return InFormat(iListing.mFormat, [&]<class Lines>() { return Lister<Lines>(ioStream, iSession, iListing).Run(); });
}
