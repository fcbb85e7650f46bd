#include "MFnd/Time_Globals.h"

#include <atomic>

namespace
{

Time_Context sContext;
std::atomic<bool> sTickTimesMatter{false};

} // namespace

const Time_Context& Time_Globals::GetContext()
{
    return sContext;
}

void Time_Globals::SetContext(Time_Context iContext) noexcept
{
    sContext = std::move(iContext);
}

void Time_Globals::SetTempoMap(Time_TempoMap iTempoMap) noexcept
{
    sContext.SetTempoMap(std::move(iTempoMap));
}

bool Time_Globals::SetSampleRate(std::int64_t iSampleRate)
{
    return sContext.SetSampleRate(iSampleRate);
}

void Time_Globals::SetSessionStart(Time_Sample iSessionStart)
{
    sContext.SetSessionStart(iSessionStart);
}

bool TickTimesMatter::Active()
{
    return sTickTimesMatter.load(std::memory_order_relaxed);
}

void TickTimesMatter::Set(bool iActive)
{
    sTickTimesMatter.store(iActive, std::memory_order_relaxed);
}
