#include "MdidHost/Edit/MdidHost_DiffItems_Private.h"

#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <bit>

using namespace MdidHost_DiffItems;

namespace
{

constexpr std::size_t kMaxBytesShown = 32;

// "ch 1 ", or nothing without a channel.
std::string NameOfChannel(int iChannel)
{
    return iChannel < 0 ? "" : "ch " + std::to_string(iChannel + 1) + ' ';
}

// As the session has it, whose context it is in.
Time_Typed TimeIn(const TrackView& iView, const Note& iNote, const Segment& iSegment)
{
    const Time_TypedLength cutOff = iNote.GetUntrimmedLeftDelta(nullptr);
    const Time_Typed start = cutOff.AsInt64() < 0 ? iView.mSide.Add(iNote.GetTime(), cutOff) : iNote.GetTime();
    return iView.mSide.Add(start, Time_TypedLength(iSegment.mTime.GetPacked()));
}

Order CompareSegments(const TrackView& iLeftView, const Note& iLeftNote, const Lane& iLeft, const TrackView& iRightView,
                      const Note& iRightNote, const Lane& iRight)
{
    auto left = iLeft.GetSegments().begin();
    auto right = iRight.GetSegments().begin();
    const auto keyOf = [](const TrackView& iView, const Note& iNote, const Segment& iSegment)
    { return std::tuple(iView.PositionOf(TimeIn(iView, iNote, iSegment)), iSegment.mValue); };
    for (; left != iLeft.GetSegments().end() && right != iRight.GetSegments().end(); ++left, ++right)
        if (const Order order = keyOf(iLeftView, iLeftNote, *left) <=> keyOf(iRightView, iRightNote, *right);
            order != 0)
            return order;
    return iLeft.NumSegments() <=> iRight.NumSegments();
}

// The lanes of two notes.
Order CompareExpression(const TrackView& iLeftView, const Note& iLeft, const TrackView& iRightView, const Note& iRight)
{
    if (!iLeft.HasPerNoteControllers() && !iRight.HasPerNoteControllers())
        return Order::equal;
    const std::vector<ExpressionItem> leftLanes = ExpressionOf(iLeft);
    const std::vector<ExpressionItem> rightLanes = ExpressionOf(iRight);
    if (leftLanes.size() != rightLanes.size())
        return leftLanes.size() <=> rightLanes.size();
    for (std::size_t i = 0; i < leftLanes.size(); ++i)
    {
        if (const Order order = leftLanes[i].mIndex <=> rightLanes[i].mIndex; order != 0)
            return order;
        if (const Order order =
                CompareSegments(iLeftView, iLeft, *leftLanes[i].mLaneP, iRightView, iRight, *rightLanes[i].mLaneP);
            order != 0)
            return order;
    }
    return Order::equal;
}

// All of a note but its start and its lanes.
auto FieldsOf(const TrackView& iView, const Note& iNote)
{
    const Mdid_NoteWithDurationBase& note = iNote.GetNote();
    const Time_Typed start = iNote.GetTime();
    const bool isFractional = note.GetType() == Mdid_Event::kPitchToMIDINoteWithDuration;
    const float fraction = isFractional ? note.As<Mdid_PitchToMIDINoteWithDuration>().GetFractionalPitch() : 0;
    return std::tuple(note.GetPitch(), iView.ChannelOf(note.GetChannel()), iView.mSide.EndOf(start, note.GetDuration()),
                      note.GetVelocity(), note.GetOffVelocity(), note.GetType(), std::bit_cast<std::int32_t>(fraction),
                      iNote.IsMuted(), iNote.GetOriginalPitch(), iNote.GetOriginalOnVelocity(),
                      iNote.GetOriginalOffVelocity(), iView.mSide.EndOf(start, iNote.GetOriginalDuration()),
                      iView.mSide.EndOf(start, iNote.GetQuantizeTimeDelta()),
                      iNote.GetUntrimmedLeftDelta(nullptr).AsInt64(), iNote.GetUntrimmedRightDelta(nullptr).AsInt64());
}

std::string Velocities(int iOn, int iOff)
{
    return " velocity " + std::to_string(iOn) + '/' + std::to_string(iOff);
}

std::string DescribeProgram(const Mdid_ProgramEvent& iEvent)
{
    const auto part = [](bool iIsEnabled, int iValue) { return iIsEnabled ? std::to_string(iValue) : "-"; };
    return part(iEvent.IsProgramEnabled(), iEvent.GetProgram()) + " bank " +
           part(iEvent.IsMSBBankEnabled(), iEvent.GetMSBBank()) + '/' +
           part(iEvent.IsLSBBankEnabled(), iEvent.GetLSBBank());
}

// As sent, a system-exclusive message that is not complete too.
std::string BytesOf(const Mdid_Event& iEvent)
{
    std::vector<unsigned char> bytes;
    const auto type = iEvent.GetType();
    if (type == Mdid_Event::kSysex || type == Mdid_Event::kLongSysex || type == Mdid_Event::kSysexPacket)
    {
        const Mdid_SysexPacketEvent& packet = iEvent.AsSysexPacket();
        bytes.resize(static_cast<std::size_t>(std::max(packet.GetLength(), 0)));
        if (!bytes.empty())
            packet.GetData(bytes.data(), 0, packet.GetLength() - 1);
        return {bytes.begin(), bytes.end()};
    }
    for (int i = 0; i < iEvent.GetNumMessages(); ++i)
    {
        const std::size_t start = bytes.size();
        bytes.resize(start + static_cast<std::size_t>(iEvent.GetMessageLength(i)));
        iEvent.GetMessageData(bytes.data() + start, i);
    }
    return {bytes.begin(), bytes.end()};
}

} // namespace

Position Side::PositionOfOtherKind(Time_Typed iTime) const
{
    const Time_Context& context = mSession.mContext;
    const std::int64_t count = context.ToType(iTime, mKind).AsInt64();
    for (const Time_EType kind : {mKind, Time_EType::kSample, Time_EType::kTick})
        if (const Time_Typed time = context.ToType(iTime, kind); context.Compare(time, iTime) == 0)
            return {count, time.GetPacked().GetRaw()};
    return {count, iTime.GetPacked().GetRaw()};
}

std::string Side::Format(Time_Typed iTime) const
{
    const MdidHost_Division& division = mSession.mDivision;
    const std::int64_t tick = mMusicalTime.ToFileTick(iTime);
    const std::int64_t rest =
        mSession.mContext.ToType(iTime, division.GetKind()).AsInt64() - division.ToTime(tick).AsInt64();
    std::string text = division.IsSMPTE() ? std::to_string(tick) + 't' : mMusicalTime.FormatBar(iTime);
    if (rest != 0)
        (text += rest > 0 ? "+" : "") += std::to_string(rest);
    return text;
}

std::vector<NoteItem> MdidHost_DiffItems::NotesOf(const TrackView& iView)
{
    std::vector<NoteItem> notes;
    notes.reserve(iView.mTrack.mChunk->GetNoteList()->Size());
    for (const Note& note : *iView.mTrack.mChunk->GetNoteList())
        notes.push_back({iView.PositionOf(note.GetTime()), &note});
    SortBy(notes, [&](const NoteItem& iA, const NoteItem& iB) { return CompareNotes(iView, iA, iView, iB); });
    return notes;
}

std::vector<LaneItem> MdidHost_DiffItems::LanesOf(const TrackView& iView)
{
    std::vector<LaneItem> lanes;
    for (const auto& laneP : *iView.mTrack.mChunk->GetContinuousList())
    {
        if (!laneP || laneP->IsEmpty())
            continue;
        const Mdie_SubStream& key = laneP->GetSubStream();
        const Time_Typed time(key.GetTime().GetPacked());
        lanes.push_back({{key.GetDataTypeIndex(), key.GetStreamType(), iView.ChannelOf(key.GetChannel()),
                          key.GetPitch(), key.GetVelocity(), key.IsPerNote() ? iView.PositionOf(time) : Position{}},
                         laneP.Get()});
    }
    SortBy(lanes, [](const LaneItem& iA, const LaneItem& iB) { return iA.mKey <=> iB.mKey; });
    return lanes;
}

std::vector<PointItem> MdidHost_DiffItems::PointsOf(const TrackView& iView, const Lane& iLane)
{
    std::vector<PointItem> points;
    points.reserve(iLane.NumSegments());
    for (const Segment& segment : iLane.GetSegments())
        points.push_back({iView.PositionOf(segment.mTime), segment.mTime, segment.mValue});
    SortBy(points, ComparePoints);
    return points;
}

std::vector<PointItem> MdidHost_DiffItems::PointsOf(const TrackView& iView, const Note& iNote, const Lane& iLane)
{
    std::vector<PointItem> points;
    points.reserve(iLane.NumSegments());
    for (const Segment& segment : iLane.GetSegments())
    {
        const Time_Typed time = TimeIn(iView, iNote, segment);
        points.push_back({iView.PositionOf(time), time, segment.mValue});
    }
    SortBy(points, ComparePoints);
    return points;
}

std::vector<ExpressionItem> MdidHost_DiffItems::ExpressionOf(const Note& iNote)
{
    std::vector<ExpressionItem> lanes;
    if (iNote.HasPerNoteControllers())
        for (const Mdid_PerNoteDataStream& lane : *iNote.GetPerNoteControllers())
            if (!lane.IsEmpty())
                lanes.push_back({lane.GetSubStream().GetDataTypeIndex(), &lane});
    return lanes;
}

std::vector<TextItem> MdidHost_DiffItems::EventsOf(const TrackView& iView)
{
    std::vector<TextItem> items;
    for (const Mdie_TimedEvent& event : *iView.mTrack.mChunk->GetEventStream())
        items.push_back({iView.PositionOf(event.GetTime()), event.GetTime(), BytesOf(event.GetEvent())});
    SortBy(items, CompareTexts);
    return items;
}

Order MdidHost_DiffItems::CompareNotesAlone(const TrackView& iLeftView, const NoteItem& iLeft,
                                            const TrackView& iRightView, const NoteItem& iRight)
{
    if (const Order order = iLeft.mPosition <=> iRight.mPosition; order != 0)
        return order;
    return FieldsOf(iLeftView, *iLeft.mNoteP) <=> FieldsOf(iRightView, *iRight.mNoteP);
}

Order MdidHost_DiffItems::CompareNotes(const TrackView& iLeftView, const NoteItem& iLeft, const TrackView& iRightView,
                                       const NoteItem& iRight)
{
    if (const Order order = CompareNotesAlone(iLeftView, iLeft, iRightView, iRight); order != 0)
        return order;
    return CompareExpression(iLeftView, *iLeft.mNoteP, iRightView, *iRight.mNoteP);
}

Order MdidHost_DiffItems::ComparePoints(const PointItem& iLeft, const PointItem& iRight)
{
    return std::tie(iLeft.mPosition, iLeft.mValue) <=> std::tie(iRight.mPosition, iRight.mValue);
}

// What is as it was played is not said twice.
std::string MdidHost_DiffItems::DescribeNote(const TrackView& iView, const Note& iNote)
{
    const Mdid_NoteWithDurationBase& note = iNote.GetNote();
    std::string text =
        "note " + iView.Format(iNote.GetTime()) + ' ' + NameOfChannel(iView.ChannelOf(note.GetChannel()));
    text += MdidHost_NameOfPitch(note.GetPitch()) + Velocities(note.GetVelocity(), note.GetOffVelocity());
    text += " to " + iView.Format(iView.mSide.Add(iNote.GetTime(), note.GetDuration()));
    if (iNote.IsMuted())
        text += ", muted";
    const Mdid_NoteWithDurationEvent played = iNote.GetAsPerformedEvent();
    Note whole = iNote; // as it was before a clip cut it
    whole.UntrimHead(nullptr);
    whole.UntrimTail(nullptr);
    const bool isAsPlayed = played.IsSameNoteOn(note) && played.GetOffVelocity() == note.GetOffVelocity() &&
                            iView.mSide.EndOf(whole.GetTime(), played.GetDuration()) ==
                                iView.mSide.EndOf(whole.GetTime(), whole.GetDuration());
    if (!isAsPlayed || iNote.GetQuantizeTimeDelta().AsInt64() != 0)
    {
        const Time_Typed start = iView.mSide.Add(whole.GetTime(), iNote.GetQuantizeTimeDelta());
        text += ", played " + iView.Format(start) + ' ' + MdidHost_NameOfPitch(played.GetPitch()) +
                Velocities(played.GetVelocity(), played.GetOffVelocity());
        text += " to " + iView.Format(iView.mSide.Add(start, played.GetDuration()));
    }
    if (note.GetType() == Mdid_Event::kPitchToMIDINoteWithDuration)
        text += MdidHost_Formatted(", pitch %.9g",
                                   double{note.As<Mdid_PitchToMIDINoteWithDuration>().GetFractionalPitch()});
    if (iNote.HasTrimExtension())
        text += ", trimmed by " + std::to_string(iNote.GetUntrimmedLeftDelta(nullptr).AsInt64()) + '/' +
                std::to_string(iNote.GetUntrimmedRightDelta(nullptr).AsInt64());
    if (const auto lanes = std::ssize(ExpressionOf(iNote)); lanes > 0)
        text += ", " + MdidHost_Counted(lanes, "lane");
    return text;
}

std::string MdidHost_DiffItems::DescribePoint(const TrackView& iView, const Mdie_SubStream& iKey, int iChannel,
                                              const PointItem& iPoint)
{
    const std::string where = ' ' + iView.Format(iPoint.mTime) + ' ' + NameOfChannel(iChannel);
    const std::string value = std::to_string(iPoint.mValue);
    switch (iKey.GetDataType().GetDataType())
    {
    case Mdie_SubStreamDataType::kPitchBend:
        return "bend" + where + value;
    case Mdie_SubStreamDataType::kController:
        return "controller" + where + std::to_string(iKey.GetSubType()) + " = " + value;
    case Mdie_SubStreamDataType::kProgram:
        return "program" + where + DescribeProgram(iKey.MakeEvent(iPoint.mValue).As<Mdid_ProgramEvent>());
    case Mdie_SubStreamDataType::kMonoPressure:
        return "pressure" + where + value;
    default:
        return "polyPressure" + where + MdidHost_NameOfPitch(iKey.GetSubType()) + " = " + value;
    }
}

std::string MdidHost_DiffItems::DescribeEvent(const TrackView& iView, const TextItem& iItem)
{
    const std::vector<unsigned char> bytes(iItem.mText.begin(), iItem.mText.end());
    const std::size_t shown = std::min(bytes.size(), kMaxBytesShown);
    std::string text = (bytes.empty() || bytes[0] >= 0xF0 ? "sysex " : "event ") + iView.Format(iItem.mTime) + ' ';
    text += MdidHost_HexOf(std::span(bytes).first(shown));
    return shown == bytes.size() ? text : text + " ... (" + std::to_string(bytes.size()) + " bytes)";
}

std::string MdidHost_DiffItems::DescribeTrack(const TrackView& iView)
{
    const Mdid_Chunk& chunk = *iView.mTrack.mChunk;
    std::int64_t points = 0;
    for (const auto& laneP : *chunk.GetContinuousList())
        points += laneP ? laneP->NumSegments() : 0;
    std::string text =
        "of file track " + std::to_string(iView.mTrack.mFileTrack) + ' ' + NameOfChannel(iView.mTrack.mChannel);
    text += '"' + MdidHost_Printable(iView.mTrack.mName) + '"' + ": ";
    text += MdidHost_Counted(static_cast<std::int64_t>(chunk.GetNoteList()->Size()), "note") + ", ";
    return text + MdidHost_Counted(points, "breakpoint") + ", " +
           MdidHost_Counted(std::ssize(*chunk.GetEventStream()), "event");
}
