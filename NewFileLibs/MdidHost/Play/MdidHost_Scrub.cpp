#include "MdidHost/Play/MdidHost_Scrub.h"

#include "MdidHost/Play/MdidHost_PlaySchedule_Private.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <array>

namespace
{

const char* NameOf(Mdid_ScrubEvent::EKind iKind)
{
    static constexpr std::array<const char*, 4> kNames{"noteEnd", "bend", "bendBack", "noteStart"};
    return kNames.at(static_cast<std::size_t>(iKind));
}

using Passed = MdidHost_Scrub::Passed;

bool IsNote(const Mdid_ScrubEvent& iEvent)
{
    return iEvent.mKind == Mdid_ScrubEvent::kNoteStart || iEvent.mKind == Mdid_ScrubEvent::kNoteEnd;
}

std::string JsonOf(const Passed& iPassed, const MdidHost_MusicalTime& iTimes)
{
    const Mdid_ScrubEvent& event = iPassed.mEvent;
    MdidHost_JsonLine line;
    line.Add("sample", event.mTime);
    line.Add("us", iTimes.ToMicroseconds({event.mTime, Time_EType::kSample}));
    line.Add("track", iPassed.mTrack + 1);
    line.Add("channel", iPassed.mChannel);
    line.Add("direction", iPassed.mIsForward ? "forward" : "backward");
    line.Add("kind", NameOf(event.mKind));
    if (IsNote(event))
    {
        line.Add("pitch", event.mValue);
        line.Add("velocity", event.mVelocity);
        line.Add("offVelocity", event.mOffVelocity);
    }
    else
        line.Add("value", event.mValue);
    return line.GetText();
}

std::string TextOf(const Passed& iPassed, const MdidHost_MusicalTime& iTimes)
{
    const Mdid_ScrubEvent& event = iPassed.mEvent;
    const Time_Typed time(event.mTime, Time_EType::kSample);
    std::string text = MdidHost_Formatted(
        "%5d %13lld %12s  %-10s%9d  %-9s  %-9s  ", iPassed.mTrack + 1, static_cast<long long>(event.mTime),
        MdidHost_MinutesAndSeconds(iTimes.ToMicroseconds(time)).c_str(), iTimes.FormatBar(time).c_str(),
        iPassed.mChannel + 1, iPassed.mIsForward ? "forward" : "backward", NameOf(event.mKind));
    if (IsNote(event))
        text += MdidHost_NameOfPitch(event.mValue) +
                MdidHost_Formatted(", velocity %d, off velocity %d", event.mVelocity, event.mOffVelocity);
    else
        text += MdidHost_Formatted("value %d", event.mValue);
    return text;
}

} // namespace

MdidHost_Scrub::MdidHost_Scrub(const MdidHost_Session& iSession, std::optional<std::size_t> iTrack, std::int64_t iStart)
{
    const MdidHost_Session::Scope scope(iSession);
    AddNotesAndBends(MdidHost_PlaySchedule(iSession, Mdie_Filter().SetAll()), iTrack);
    MoveTo(iStart);
    mPassed.clear();
}

void MdidHost_Scrub::AddNotesAndBends(const MdidHost_PlaySchedule& iSchedule, std::optional<std::size_t> iTrack)
{
    using Item = MdidHost_PlayItem;
    for (const Item& item : iSchedule.GetItems())
    {
        const auto track = static_cast<std::size_t>(item.mTrack);
        if (iTrack && *iTrack != track)
            continue;
        if (item.mKind == Item::kNote)
        {
            const auto& note = static_cast<const MdidHost_PlaySchedule::Note&>(*item.mSourceP);
            if (const auto event = iSchedule.MakeNote(track, note))
                AddNote(mChannels[{item.mTrack, event->GetChannel()}], item.mSample,
                        MdidHost_PlaySchedule::SampleOf(note.GetEndTime()), *event);
        }
        else if (item.mKind == Item::kLane)
        {
            const Mdid_Event event = iSchedule.GetKey(item.mLane).MakeEvent(item.mValue, item.mChannel);
            if (event.GetType() == Mdid_Event::kPitchBend)
                mChannels[{item.mTrack, item.mChannel}].AddBend(item.mSample, event.As<Mdid_PitchBendEvent>());
        }
    }
}

void MdidHost_Scrub::AddNote(Channel& ioChannel, std::int64_t iStart, std::int64_t iEnd,
                             const Mdid_NoteWithDurationBase& iNote)
{
    const Time_TypedLength duration(std::max<std::int64_t>(iEnd - iStart, 1), Time_EType::kSample);
    const Mdid_NoteWithDurationEvent note(iNote.GetChannel(), iNote.GetPitch(), duration, iNote.GetVelocity(),
                                          iNote.GetOffVelocity());
    ioChannel.mList.AddNote({{iStart, Time_EType::kSample}, note}, true);
}

// The bend before stands in front: it is what a way back ends with.
void MdidHost_Scrub::Channel::AddBend(std::int64_t iSample, const Mdid_PitchBendEvent& iEvent)
{
    if (mBends.empty() || mBends.back().mSample != iSample)
        mBends.push_back({iSample, mLastBend});
    mList.AddPitchBend({{iSample, Time_EType::kSample}, iEvent}, mBends.back().mBendBefore, true);
    mLastBend = static_cast<short>(iEvent.GetBendValue());
}

short MdidHost_Scrub::Channel::BendBefore(std::int64_t iSample) const
{
    return std::ranges::lower_bound(mBends, iSample, {}, &SampleWithBends::mSample)->mBendBefore;
}

const std::vector<MdidHost_Scrub::Passed>& MdidHost_Scrub::MoveTo(std::int64_t iSample)
{
    mPassed.clear();
    const bool isForward = iSample >= mPosition;
    if (isForward)
        std::for_each(mChannels.begin(), mChannels.end(), [&](auto& io) { Pass(io.first, io.second, iSample, true); });
    else
        std::for_each(mChannels.rbegin(), mChannels.rend(),
                      [&](auto& io) { Pass(io.first, io.second, iSample, false); });
    const auto isPassedFirst = [&](const Passed& iA, const Passed& iB)
    { return isForward ? iA.mEvent.GoesBefore(iB.mEvent) : iB.mEvent.GoesBefore(iA.mEvent); };
    std::ranges::stable_sort(mPassed, isPassedFirst);
    mPosition = iSample;
    return mPassed;
}

void MdidHost_Scrub::Pass(ChannelKey iKey, Channel& ioChannel, std::int64_t iSample, bool iIsForward)
{
    while (const Mdid_ScrubEvent* const eventP = ioChannel.mList.MoveTowards({iSample, Time_EType::kSample}))
    {
        Mdid_ScrubEvent event = *eventP;
        if (!iIsForward && event.mKind == Mdid_ScrubEvent::kBendBack)
            event.mValue = ioChannel.BendBefore(event.mTime);
        mPassed.push_back({iKey.first, iKey.second, iIsForward, event});
    }
}

void MdidHost_ListScrub(std::ostream& ioStream, const MdidHost_Session& iSession, const MdidHost_ScrubListing& iListing)
{
    if (iListing.mPath.empty())
        return;
    const MdidHost_Session::Scope scope(iSession);
    const MdidHost_MusicalTime times(iSession);
    const auto track = iListing.mTrack ? std::optional(static_cast<std::size_t>(*iListing.mTrack - 1)) : std::nullopt;
    MdidHost_Scrub scrub(iSession, track, iListing.mPath.front());
    if (!iListing.mIsJson)
        ioStream << "track        sample         time  bar         channel  direction  kind       values\n";
    for (const std::int64_t sample : iListing.mPath)
        for (const Passed& passed : scrub.MoveTo(sample))
            ioStream << (iListing.mIsJson ? JsonOf(passed, times) : TextOf(passed, times)) << '\n';
}
