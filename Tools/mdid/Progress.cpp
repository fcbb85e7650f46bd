#include "Progress.h"

#include "MdidHost/Text/MdidHost_Text.h"

#include <chrono>
#include <iostream>
#include <unistd.h>

Progress::Progress(const std::string& iWhat, std::size_t iSteps) : mWhat(MdidHost_Printable(iWhat)), mSteps(iSteps)
{
    if (::isatty(STDERR_FILENO) == 1)
        mThread = std::jthread([this](const std::stop_token& stop) { Show(stop); });
}

Progress::~Progress() = default;

void Progress::Show(const std::stop_token& iStop)
{
    using namespace std::chrono_literals;
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock lock(mMutex);
    const auto isOver = [&](auto wait)
    { return mWakeUp.wait_for(lock, iStop, wait, [] { return false; }), iStop.stop_requested(); };
    if (isOver(1s))
        return;
    do
    {
        const auto seconds =
            std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
        std::string line = "\r\033[K" + mWhat + ": ";
        if (mSteps > 0)
            line += std::to_string(mStep) + " of " + std::to_string(mSteps) + ", ";
        std::cerr << line + std::to_string(seconds) + " s" << std::flush;
    } while (!isOver(200ms));
    std::cerr << "\r\033[K" << std::flush;
}
