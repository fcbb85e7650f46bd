#include "MdidHost/Edit/MdidHost_Edit.h"

#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_Chunk.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

namespace
{

using Request = MdidHost_EditRequest;
using Note = Mdid_NoteListBase::Note;
using Lane = Mdid_ContinuousDataStream;
using LaneData = Mdid_ContinuousDataStreamCore;

constexpr int kDrumChannel = 9;
constexpr int kMaxPitch = 127;

// A chunk to edit, and how it is called.
struct Target
{
    Mdid_Chunk* mChunkP;
    std::string mName;
};

bool IsDrums(const MdidHost_Track& iTrack)
{
    return iTrack.mChannel == kDrumChannel && iTrack.mMPEMembers == 0;
}

std::vector<Target> TargetsOf(const MdidHost_Session& iSession, const Request& iRequest)
{
    const auto numTracks = static_cast<int>(iSession.mTracks.size());
    if (iRequest.mTrack && (*iRequest.mTrack < 1 || *iRequest.mTrack > numTracks))
        throw std::invalid_argument("there is no track " + std::to_string(*iRequest.mTrack));

    std::vector<Target> targets;
    for (int number = 1; number <= numTracks; ++number)
    {
        const MdidHost_Track& track = iSession.mTracks[static_cast<std::size_t>(number - 1)];
        const bool isNamed = iRequest.mTrack == number;
        const bool isLeftAlone = iRequest.mKind == Request::Kind::kTranspose && IsDrums(track) && !isNamed;
        if (track.mChunk && (isNamed || !iRequest.mTrack) && !isLeftAlone &&
            std::ranges::find(targets, track.mChunk.Get(), &Target::mChunkP) == targets.end())
            targets.push_back({track.mChunk.Get(), "track " + std::to_string(number)});
    }
    return targets;
}

template <class Do>
void ForEachLane(const Mdid_Chunk& iChunk, Do iDo)
{
    for (const auto& laneP : *iChunk.GetContinuousList())
        if (laneP)
            iDo(*laneP);
}

template <class Do>
void ForEachTime(const Mdid_Chunk& iChunk, Do iDo)
{
    for (const Note& note : *iChunk.GetNoteList())
        iDo(note.GetTime());
    for (const Mdie_TimedEvent& event : *iChunk.GetEventStream())
        iDo(event.GetTime());
    ForEachLane(iChunk,
                [&](const Mdid_ContinuousDataStream& iLane)
                {
                    for (const auto& segment : iLane.GetSegments())
                        iDo(segment.mTime);
                });
}

std::int64_t CountEvents(const Mdid_Chunk& iChunk)
{
    std::int64_t count = std::ssize(*iChunk.GetEventStream()) + static_cast<std::int64_t>(iChunk.GetNoteList()->Size());
    ForEachLane(iChunk, [&](const Mdid_ContinuousDataStream& iLane) { count += iLane.NumSegments(); });
    return count;
}

bool IsPolyPressure(const Mdid_ContinuousDataStream& iLane)
{
    return iLane.GetSubStream().GetDataType().GetDataType() == Mdie_SubStreamDataType::kPolyPressure;
}

// What is refused, before anything changes.
class Validator
{
public:
    Validator(const MdidHost_Session& iSession, const Request& iRequest) : mMusicalTime(iSession), mRequest(iRequest) {}

    void Check(const Target& iTarget) const
    {
        switch (mRequest.mKind)
        {
        case Request::Kind::kTranspose:
            return CheckPitches(iTarget);
        case Request::Kind::kShift:
            return ForEachTime(*iTarget.mChunkP, [&](Time_Typed i) { CheckTime(iTarget, i, mRequest.mLength); });
        case Request::Kind::kQuantize:
            if (mRequest.mLength.AsInt64() <= 0)
                throw std::invalid_argument("the grid has to be longer than 0");
            return;
        case Request::Kind::kCopy:
            return CheckCopy(iTarget);
        case Request::Kind::kErase:
            return;
        }
    }

private:
    void CheckPitches(const Target& iTarget) const
    {
        const auto check = [&](int iPitch, const auto& iDescribe)
        {
            const std::int64_t pitch = std::int64_t{iPitch} + mRequest.mSemitones;
            if (pitch < 0 || pitch > kMaxPitch)
                throw std::invalid_argument(iTarget.mName + ": " + iDescribe() + ' ' + MdidHost_NameOfPitch(iPitch) +
                                            " would get pitch " + std::to_string(pitch));
        };
        for (const Note& note : *iTarget.mChunkP->GetNoteList())
            check(note.GetPitch(), [&] { return "the note at " + mMusicalTime.FormatBar(note.GetTime()); });
        ForEachLane(*iTarget.mChunkP,
                    [&](const Mdid_ContinuousDataStream& iLane)
                    {
                        if (IsPolyPressure(iLane))
                            check(iLane.GetSubStream().GetSubType(), [] { return std::string("the pressure of"); });
                    });
    }

    void CheckCopy(const Target& iTarget) const
    {
        const Time_TypedLength offset = mRequest.mTarget - mRequest.mStart;
        ForEachTime(*iTarget.mChunkP,
                    [&](Time_Typed iTime)
                    {
                        if (mRequest.mStart <= iTime && iTime < mRequest.mEnd)
                            CheckTime(iTarget, iTime, offset);
                    });
    }

    // At the ends of time all that goes on would meet.
    void CheckTime(const Target& iTarget, Time_Typed iTime, Time_TypedLength iOffset) const
    {
        const std::int64_t count = (iTime + iOffset).AsInt64();
        if (count >= 0 && count < Time_Packed::kMaxCount && iTime.AsInt64() < Time_Packed::kMaxCount)
            return;
        throw std::invalid_argument(iTarget.mName + ": what stands at " + mMusicalTime.FormatBar(iTime) +
                                    (count < 0 ? " would come before the start" : " would come after the end of time"));
    }

    MdidHost_MusicalTime mMusicalTime;
    const Request& mRequest;
};

// Changes the notes for which iEdit(note) says so. Returns how many.
template <class Edit>
std::int64_t EditNotes(Mdid_NoteListBase& ioNotes, Edit iEdit)
{
    std::int64_t count = 0;
    auto batch = ioNotes.ModificationBatch();
    for (std::size_t i = 0; i < ioNotes.Size(); ++i)
    {
        Note edited = ioNotes[i];
        if (!iEdit(edited))
            continue;
        Mdid_BorrowedElement element = ioNotes.Borrow(ioNotes[i]);
        element.mElement = std::move(edited);
        batch.Return(std::move(element));
        ++count;
    }
    batch.Complete();
    return count;
}

// A lane is known by its pitch: each gives its breakpoints to the lane of another one.
std::int64_t TransposePolyPressure(Mdid_Chunk& ioChunk, int iSemitones)
{
    std::vector<LaneData> moved;
    ForEachLane(ioChunk,
                [&](Lane& ioLane)
                {
                    const Mdie_SubStream& old = ioLane.GetSubStream();
                    if (!IsPolyPressure(ioLane) || old.IsPerNote() || ioLane.IsEmpty())
                        return;
                    Mdie_SubStream key = Mdie_SubStream::PolyPressure(old.GetSubType() + iSemitones);
                    key.SetStreamType(old.GetStreamType());
                    key.SetChannel(old.GetChannel());
                    moved.emplace_back().SetSubStream(key);
                    moved.back().ReplaceData(&ioLane);
                    ioLane.Clear();
                });
    std::int64_t count = 0;
    for (const LaneData& lane : moved)
    {
        ioChunk.FindOrCreateContinuousStream(lane.GetSubStream())->AddAllFromStream(&lane, {0, Time_EType::kTick});
        count += lane.NumSegments();
    }
    ioChunk.EraseRange({1, Time_EType::kTick}, {0, Time_EType::kTick}); // nothing, and lanes that are empty with it
    return count;
}

std::int64_t Transpose(Mdid_Chunk& ioChunk, int iSemitones)
{
    if (iSemitones == 0)
        return 0;
    const auto transpose = [=](Note& ioNote)
    {
        ioNote.GetNote().SetPitch(static_cast<signed char>(ioNote.GetPitch() + iSemitones));
        return true;
    };
    ioChunk.DropSortedList(); // the parts are edited directly
    return EditNotes(*ioChunk.GetNoteList(), transpose) + TransposePolyPressure(ioChunk, iSemitones);
}

bool IsOfParameterNumber(const Mdie_SubStream& iKey)
{
    return iKey.GetDataType().GetDataType() == Mdie_SubStreamDataType::kController && !iKey.IsPerNote() &&
           Mdi_Controller::IsOfParameterNumber(iKey.GetSubType());
}

// Each lane by itself, but those of the parameter numbers of a channel together.
std::vector<std::vector<Lane*>> LanesInOrder(const Mdid_Chunk& iChunk)
{
    constexpr int kAllChannels = -1;
    std::vector<std::vector<Lane*>> groups;
    std::map<int, std::vector<Lane*>> parameterNumbers; // by channel
    ForEachLane(iChunk,
                [&](Lane& ioLane)
                {
                    const Mdie_SubStream& key = ioLane.GetSubStream();
                    const bool hasChannel = key.GetStreamType() == Mdie_SubStream::kPerChannel;
                    if (IsOfParameterNumber(key))
                        parameterNumbers[hasChannel ? key.GetChannel() : kAllChannels].push_back(&ioLane);
                    else
                        groups.push_back({&ioLane});
                });
    for (auto& [channel, lanes] : parameterNumbers)
        groups.push_back(std::move(lanes));
    return groups;
}

bool AreTimesOfKind(const std::vector<Lane*>& iLanes, Time_EType iKind)
{
    return std::ranges::all_of(iLanes,
                               [=](const Lane* iLaneP)
                               {
                                   return std::ranges::all_of(iLaneP->GetSegments(), [=](const auto& iSegment)
                                                              { return iSegment.mTime.GetType() == iKind; });
                               });
}

// The shifted time that comes behind another one: a unit later at least.
Time_Typed Behind(Time_Typed iLatest, Time_Typed iTime)
{
    if (iLatest < iTime)
        return iTime;
    return Time_Convert::ToType(iLatest, iTime.GetType()) + Time_TypedLength(1, iTime.GetType());
}

// Where the tempo changes, what was apart may come to one time: it is set apart again, in the order that it had.
void ShiftInOrder(const std::vector<Lane*>& iLanes, Time_TypedLength iLength)
{
    struct Point
    {
        Time_Typed mTime;
        std::size_t mLane;
        int mValue;
    };
    std::vector<Point> points;
    std::vector<LaneData> shifted;
    for (const Lane* const laneP : iLanes)
    {
        for (const auto& segment : laneP->GetSegments())
            points.push_back({segment.mTime, shifted.size(), segment.mValue});
        shifted.emplace_back(laneP->GetSnapToCoarseTicks());
    }
    std::ranges::stable_sort(points, {}, &Point::mTime);

    Time_Typed latest;
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        const Time_Typed time = points[i].mTime + iLength;
        if (i == 0)
            latest = time;
        else if (points[i - 1].mTime != points[i].mTime)
            latest = Behind(latest, time);
        shifted[points[i].mLane].AddBreakpoint(latest, points[i].mValue);
    }
    for (std::size_t i = 0; i < iLanes.size(); ++i)
        if (!iLanes[i]->IsEmpty())
            iLanes[i]->ReplaceData(&shifted[i]);
}

// On the coarse grid what comes together stays together.
void ShiftLanes(Mdid_Chunk& ioChunk, Time_TypedLength iLength)
{
    const bool isSnapping = ioChunk.QuantizeContents() && TickTimesMatter::Active();
    for (const std::vector<Lane*>& lanes : LanesInOrder(ioChunk))
    {
        if (!isSnapping && !AreTimesOfKind(lanes, iLength.GetType()))
            ShiftInOrder(lanes, iLength);
        else
            std::ranges::for_each(lanes, [=](Lane* ioLaneP) { ioLaneP->OffsetTimes(iLength); });
    }
}

void ShiftEvents(Mdid_EventStream& ioEvents, Time_TypedLength iLength)
{
    const auto timeOf = [](const Mdie_TimedEvent& iEvent) { return iEvent.GetTime(); };
    if (ioEvents.empty())
        return;
    if (!std::ranges::is_sorted(ioEvents, {}, timeOf))
    {
        // As a damaged file had them.
        ioEvents.AboutToModify();
        ioEvents.OffsetTimes(iLength);
        return;
    }
    // In order, should times of several kinds have passed each other.
    const Mdid_EventStream source = ioEvents;
    const Time_Typed last = source.back().GetTime();
    ioEvents.Clear();
    ioEvents.AddFromStream(&source, source.front().GetTime(), last + Time_TypedLength(1, last.GetType()), iLength);
}

std::int64_t Shift(Mdid_Chunk& ioChunk, Time_TypedLength iLength)
{
    if (iLength.AsInt64() == 0)
        return 0;
    ioChunk.DropSortedList(); // the parts are edited directly
    ioChunk.GetNoteList()->OffsetTimes(iLength);
    ShiftLanes(ioChunk, iLength);
    ShiftEvents(*ioChunk.GetEventStream(), iLength);
    const std::int64_t count = CountEvents(ioChunk);
    ioChunk.QuantizeEventsForTTM();
    return count;
}

Time_Typed NearestOnGrid(Time_Typed iTime, Time_TypedLength iGrid)
{
    const Time_Typed origin = Time_Convert::ToType({0, Time_EType::kTick}, iGrid.GetType());
    const std::int64_t count = (Time_Convert::ToType(iTime, iGrid.GetType()) - origin).AsInt64();
    const std::int64_t grid = iGrid.AsInt64();
    const std::int64_t doubled = 2 * count + grid; // counts have 62 bits
    const std::int64_t lines = doubled / (2 * grid) - (doubled % (2 * grid) < 0 ? 1 : 0);
    return Time_Convert::ToType(origin + Time_TypedLength(lines * grid, iGrid.GetType()), iTime.GetType());
}

std::int64_t Quantize(Mdid_Chunk& ioChunk, Time_TypedLength iGrid)
{
    Mdid_NoteListBase& notes = *ioChunk.GetNoteList();
    const auto quantize = [&](Note& ioNote)
    {
        const Time_Typed start = notes.QuantizeTimeConditional(NearestOnGrid(ioNote.GetTime(), iGrid));
        if (start == ioNote.GetTime())
            return false;
        const Time_Typed performed = ioNote.GetTime() + ioNote.GetQuantizeTimeDelta();
        ioNote.SetTime(start);
        ioNote.SetQuantizeTimeDelta(performed - start);
        return true;
    };
    ioChunk.DropSortedList(); // the parts are edited directly
    return EditNotes(notes, quantize);
}

std::int64_t Copy(Mdid_Chunk& ioChunk, const Request& iRequest)
{
    const Time_TypedLength offset = iRequest.mTarget - iRequest.mStart;
    const Mdie_Filter all = Mdie_Filter().SetAll();
    std::int64_t count = 0;
    bool isOfKind = true;
    ForEachTime(ioChunk,
                [&](Time_Typed i)
                {
                    const bool isInRange = iRequest.mStart <= i && i < iRequest.mEnd;
                    count += isInRange ? 1 : 0;
                    isOfKind = isOfKind && (!isInRange || i.GetType() == offset.GetType());
                });
    if (isOfKind)
    {
        ioChunk.AddEventsFromChunk(&ioChunk, iRequest.mStart, iRequest.mEnd, offset, all);
        return count;
    }

    // What a change of tempo lies between is shifted on its own, before it goes between what is there.
    const auto sourceP = Mdid_Chunk::MakeUnique(Ndo_Object::kNotUndoable, false);
    sourceP->AddEventsFromChunk(&ioChunk, iRequest.mStart, iRequest.mEnd, {0, Time_EType::kTick}, all);
    Shift(*sourceP, offset);
    std::optional<Time_Typed> first, last;
    ForEachTime(*sourceP,
                [&](Time_Typed i)
                {
                    first = std::min(first.value_or(i), i);
                    last = std::max(last.value_or(i), i);
                });
    ioChunk.AddEventsFromChunk(sourceP.get(), *first, *last + Time_TypedLength(1, last->GetType()),
                               {0, Time_EType::kTick}, all);
    return count;
}

std::int64_t Erase(Mdid_Chunk& ioChunk, const Request& iRequest)
{
    const std::int64_t before = CountEvents(ioChunk);
    ioChunk.EraseRange(iRequest.mStart, iRequest.mEnd);
    return before - CountEvents(ioChunk);
}

std::int64_t Apply(Mdid_Chunk& ioChunk, const Request& iRequest)
{
    switch (iRequest.mKind)
    {
    case Request::Kind::kTranspose:
        return Transpose(ioChunk, iRequest.mSemitones);
    case Request::Kind::kShift:
        return Shift(ioChunk, iRequest.mLength);
    case Request::Kind::kQuantize:
        return Quantize(ioChunk, iRequest.mLength);
    case Request::Kind::kCopy:
        return Copy(ioChunk, iRequest);
    case Request::Kind::kErase:
        return Erase(ioChunk, iRequest);
    }
    return 0;
}

} // namespace

std::string MdidHost_NameOf(const MdidHost_EditRequest& iRequest)
{
    switch (iRequest.mKind)
    {
    case Request::Kind::kTranspose:
        return "Transpose by " + MdidHost_Counted(iRequest.mSemitones, "semitone");
    case Request::Kind::kShift:
        return "Shift";
    case Request::Kind::kQuantize:
        return "Quantize";
    case Request::Kind::kCopy:
        return "Copy";
    case Request::Kind::kErase:
        return "Erase";
    }
    return {};
}

std::int64_t MdidHost_ApplyEdit(MdidHost_Session& ioSession, const MdidHost_EditRequest& iRequest)
{
    const MdidHost_Session::Scope scope(ioSession);
    const std::vector<Target> targets = TargetsOf(ioSession, iRequest);
    const Validator validator(ioSession, iRequest);
    for (const Target& target : targets)
        validator.Check(target);

    Ndo_Step step(MdidHost_NameOf(iRequest));
    std::int64_t count = 0;
    for (const Target& target : targets)
        count += Apply(*target.mChunkP, iRequest);
    step.Commit();
    return count;
}
