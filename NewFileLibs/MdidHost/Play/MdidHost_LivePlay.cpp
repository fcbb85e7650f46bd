#include "MdidHost/Play/MdidHost_LivePlay.h"

#include "MdidHost/Play/MdidHost_PlayMessages_Private.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kBlocksPerSecond = 100;
constexpr std::size_t kUsualMessageLength = std::size_t{1} << 16;

// Sends each event when it is due.
class PacedSink : public MdidHost_PlaySink
{
public:
    PacedSink(const MdidHost_Player& iPlayer, MdidHost_MessageSink& ioMessages, const std::atomic<bool>& iIsToStop)
        : mPlayer(iPlayer),
          mMessages(ioMessages),
          mIsToStop(iIsToStop),
          mFirst(iPlayer.GetElapsed())
    {
        mBytes.reserve(kUsualMessageLength);
    }

    void Receive(const MdidHost_PlayedEvent& iEvent) override
    {
        WaitFor(iEvent.mElapsed);
        MdidHost_ForEachMessage(iEvent.mEvent, mBytes, [this](const auto& message) { mMessages.Send(message); });
    }

    void WaitFor(std::int64_t iElapsed) const
    {
        constexpr Clock::duration kSlice =
            Clock::duration(std::chrono::seconds(1)) / kBlocksPerSecond; // a stop is noticed so soon
        const Clock::time_point due = mStart + TimeOf(iElapsed - mFirst);
        for (Clock::time_point now = Clock::now(); now < due && !mIsToStop; now = Clock::now())
            std::this_thread::sleep_until(std::min(due, now + kSlice));
    }

private:
    // Rounded up: nothing is early.
    Clock::duration TimeOf(std::int64_t iSamples) const
    {
        const std::int64_t rate = mPlayer.GetSampleRate();
        const std::chrono::seconds seconds(iSamples / rate);
        return seconds + std::chrono::nanoseconds((iSamples % rate * 1'000'000'000 + rate - 1) / rate);
    }

    const MdidHost_Player& mPlayer;
    MdidHost_MessageSink& mMessages;
    const std::atomic<bool>& mIsToStop;
    std::vector<unsigned char> mBytes;
    std::int64_t mFirst;
    Clock::time_point mStart = Clock::now();
};

} // namespace

std::int64_t MdidHost_LiveBlockSize(std::int32_t iSampleRate)
{
    return std::max<std::int64_t>(iSampleRate / kBlocksPerSecond, 1);
}

void MdidHost_PlayLive(MdidHost_Player& ioPlayer, MdidHost_MessageSink& ioMessages, const std::atomic<bool>& iIsToStop)
{
    if (ioPlayer.GetBlockSize() > MdidHost_LiveBlockSize(ioPlayer.GetSampleRate()))
        throw std::invalid_argument("the blocks of live play have to be short");
    PacedSink sink(ioPlayer, ioMessages, iIsToStop);
    try
    {
        for (bool isPlaying = true; isPlaying && !iIsToStop;)
        {
            isPlaying = ioPlayer.Render(sink);
            sink.WaitFor(ioPlayer.GetElapsed());
        }
        ioPlayer.Stop(sink);
    }
    catch (...)
    {
        try
        {
            ioPlayer.Stop(sink);
        }
        catch (...) // the first failure is the one to tell
        {
        }
        throw;
    }
}
