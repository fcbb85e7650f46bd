#include "PlayToPort.h"

#include "Command.h"
#include "MdidHost/Play/MdidHost_LivePlay.h"
#include "MidiPort.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <unistd.h>

namespace
{

constexpr unsigned kSecondsToOpen = 5;
constexpr unsigned kSecondsToStop = 2;

std::atomic<bool> sIsToStop = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

int sStandardError = STDERR_FILENO; // that of the port is quiet at times

// A hang-up often comes twice, and behind other signals: only the first one counts.
void StopPlay(int)
{
    if (!sIsToStop.exchange(true))
        alarm(kSecondsToStop);
}

void GiveUp(int)
{
    constexpr std::string_view kText = "mdid: the MIDI output does not answer\n";
    static_cast<void>(!write(sStandardError, kText.data(), kText.size()));
    std::_Exit(kBadInput);
}

// For its scope. What is ignored, as in the background, stays so.
class SignalsThatStop
{
public:
    SignalsThatStop()
    {
        sStandardError = dup(STDERR_FILENO);
        for (std::size_t i = 0; i < kSignals.size(); ++i)
            if ((mBefore[i] = std::signal(kSignals[i], StopPlay)) == SIG_IGN)
                std::signal(kSignals[i], SIG_IGN);
        std::signal(SIGALRM, GiveUp);
    }
    ~SignalsThatStop()
    {
        alarm(0);
        close(sStandardError);
        for (std::size_t i = 0; i < kSignals.size(); ++i)
            std::signal(kSignals[i], mBefore[i]);
    }
    SignalsThatStop(const SignalsThatStop&) = delete;
    SignalsThatStop& operator=(const SignalsThatStop&) = delete;

private:
    static constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};

    std::array<void (*)(int), kSignals.size()> mBefore{};
};

} // namespace

void PlayToPort(MdidHost_Player& ioPlayer, const std::string& iPort)
{
    const SignalsThatStop signals;
    int numDoubtful = 0;
    {
        alarm(kSecondsToOpen); // a system that has frozen would not let go
        MidiPort port(iPort);
        alarm(0);
        MdidHost_PlayLive(ioPlayer, port, sIsToStop);
        alarm(kSecondsToStop);
        port.Verify();
        numDoubtful = port.GetNumDoubtful();
    }
    if (numDoubtful > 0)
        std::cerr << "mdid: messages longer than the MIDI system may take: " << numDoubtful << '\n';
}
