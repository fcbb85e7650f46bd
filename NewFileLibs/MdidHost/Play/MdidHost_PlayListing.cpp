#include "MdidHost/Play/MdidHost_PlayListing.h"

#include "Mdid/Mdi_Meta.h"
#include "Mdid/Mdi_Status.h"
#include "MdidHost/Export/MdidHost_ExportTrackWriter_Private.h"
#include "MdidHost/Play/MdidHost_PlayMessages_Private.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

namespace
{

using Writer = MdidHost_ExportTrackWriter;

constexpr std::size_t kBufferSize = std::size_t{1} << 16;
constexpr int kMaxTicksPerQuarter = 32767;
constexpr std::int64_t kMaxSize = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kLastTick = std::int64_t{1} << 40;           // a file of some thousand bridged gaps
constexpr std::array<unsigned char, 3> kTempo = {0x07, 0xA1, 0x20}; // half a second a quarter

std::string Right(const std::string& iText, std::size_t iWidth)
{
    return std::string(iWidth - std::min(iWidth, iText.size()), ' ') + iText;
}

int TicksPerQuarterAt(std::int64_t iSampleRate)
{
    if (iSampleRate % 2 == 0 && iSampleRate / 2 <= kMaxTicksPerQuarter)
        return static_cast<int>(iSampleRate / 2);
    return static_cast<int>(std::min<std::int64_t>(iSampleRate, kMaxTicksPerQuarter));
}

} // namespace

MdidHost_PlayListing::MdidHost_PlayListing(std::ostream& ioStream, const MdidHost_Session& iSession,
                                           const Options& iOptions)
    : mStream(ioStream),
      mTimes(iSession),
      mOptions(iOptions)
{
    if (!mOptions.mIsJson)
        mText = "track        sample         time  bar         channel  why         bytes\n";
}

MdidHost_PlayListing::~MdidHost_PlayListing()
{
    Flush();
}

void MdidHost_PlayListing::Receive(const MdidHost_PlayedEvent& iEvent)
{
    if (mOptions.mTrack && *mOptions.mTrack != iEvent.mTrack + 1)
        return;
    if (mOptions.mIsChaseOnly && iEvent.mWhy != MdidHost_PlayedEvent::kChase)
        return;
    MdidHost_ForEachMessage(iEvent.mEvent, mMessage, [&](const auto& message) { AddLine(iEvent, message); });
    if (mText.size() > kBufferSize)
        Flush();
}

void MdidHost_PlayListing::AddLine(const MdidHost_PlayedEvent& iEvent, const std::vector<unsigned char>& iMessage)
{
    const Time_Typed time(iEvent.mSample, Time_EType::kSample);
    const bool hasChannel = iMessage.front() < Mdi_Status::kSysexStart;
    const int channel = iMessage.front() & 0x0F;
    if (mOptions.mIsJson)
    {
        MdidHost_JsonLine line;
        line.Add("sample", iEvent.mSample);
        line.Add("us", mTimes.ToMicroseconds(time));
        line.Add("track", iEvent.mTrack + 1);
        line.Add("channel", hasChannel ? std::optional<std::int64_t>(channel) : std::nullopt);
        line.Add("why", NameOf(iEvent.mWhy));
        line.Add("bytes", MdidHost_HexOf(iMessage));
        (mText += line.GetText()) += '\n';
        return;
    }
    mText += Right(std::to_string(iEvent.mTrack + 1), 5) + ' ' + Right(std::to_string(iEvent.mSample), 13) + ' ' +
             Right(MdidHost_MinutesAndSeconds(mTimes.ToMicroseconds(time)), 12) + "  ";
    mText += MdidHost_Column(mTimes.FormatBar(time), 10) + Right(hasChannel ? std::to_string(channel + 1) : "-", 9);
    ((mText += "  ") += MdidHost_Column(NameOf(iEvent.mWhy), 10)) += "  ";
    (mText += MdidHost_HexOf(iMessage)) += '\n';
}

void MdidHost_PlayListing::Flush()
{
    mStream.write(mText.data(), std::ssize(mText));
    mText.clear();
}

std::string_view MdidHost_PlayListing::NameOf(MdidHost_PlayedEvent::Why iWhy)
{
    static constexpr std::array<std::string_view, 5> kNames{"chase", "event", "noteOff", "release", "transition"};
    return kNames.at(static_cast<std::size_t>(iWhy));
}

MdidHost_PlayedFile::MdidHost_PlayedFile(const MdidHost_Session& iSession)
    : mSampleRate(iSession.mContext.GetSampleRate()),
      mTicksPerQuarter(TicksPerQuarterAt(mSampleRate)),
      mTracks(std::max<std::size_t>(iSession.mTracks.size(), 1))
{
    if (mTracks.size() > std::numeric_limits<std::uint16_t>::max())
        throw std::runtime_error("more tracks than a MIDI file can say");
    mTracks.front().AddMeta(0, Mdi_Meta::kTempo, kTempo);
    for (std::size_t i = 0; i < iSession.mTracks.size(); ++i)
        if (const std::string& name = iSession.mTracks[i].mName; !name.empty())
        {
            const std::size_t length = std::min(name.size(), static_cast<std::size_t>(Writer::kMaxQuantity));
            mTracks[i].AddMeta(0, Mdi_Meta::kTrackName, {reinterpret_cast<const unsigned char*>(name.data()), length});
        }
}

MdidHost_PlayedFile::~MdidHost_PlayedFile() = default;

void MdidHost_PlayedFile::Receive(const MdidHost_PlayedEvent& iEvent)
{
    mLastTick = std::max(mLastTick, GetTick(iEvent.mElapsed));
    Writer& track = mTracks.at(static_cast<std::size_t>(iEvent.mTrack));
    mSize -= track.GetSize();
    MdidHost_ForEachMessage(iEvent.mEvent, mMessage, [&](const auto& message) { Add(track, message); });
    mSize += track.GetSize();
    if (mSize > kMaxSize)
        throw std::runtime_error("what is played takes more than 2 GB");
}

void MdidHost_PlayedFile::Add(Writer& ioTrack, std::span<const unsigned char> iMessage) const
{
    if (std::ssize(iMessage) > Writer::kMaxQuantity)
        throw std::runtime_error("a message is longer than a MIDI file can say");
    if (iMessage[0] < Mdi_Status::kSysexStart)
        ioTrack.AddMessage(mLastTick, iMessage[0], iMessage.subspan(1));
    else if (iMessage[0] == Mdi_Status::kSysexStart && iMessage.back() == Mdi_Status::kSysexEnd)
        ioTrack.AddSysex(mLastTick, iMessage.subspan(1, iMessage.size() - 2));
    else
        ioTrack.AddEscape(mLastTick, iMessage);
}

void MdidHost_PlayedFile::Write(Cmn_OutStream& ioStream, std::int64_t iElapsed)
{
    const std::int64_t end = std::max(mLastTick, GetTick(iElapsed));
    Writer::WriteFileHeader(1, mTracks.size(), static_cast<std::uint16_t>(mTicksPerQuarter), ioStream);
    for (Writer& track : mTracks)
        track.Finish(end, ioStream);
}

// In whole seconds and the rest, so that no product overflows.
std::int64_t MdidHost_PlayedFile::GetTick(std::int64_t iElapsed) const
{
    const std::int64_t ticksPerSecond = std::int64_t{2} * mTicksPerQuarter;
    const std::int64_t seconds = iElapsed / mSampleRate;
    if (seconds > kLastTick / ticksPerSecond)
        throw std::runtime_error("play is longer than a MIDI file can say");
    const std::int64_t rest = iElapsed % mSampleRate * ticksPerSecond;
    return seconds * ticksPerSecond + (rest + mSampleRate / 2) / mSampleRate;
}
