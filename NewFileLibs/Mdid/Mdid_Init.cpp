#include "Mdid/Mdid_Init.h"

#include "CFnd/Sys_DelayedDeletion.h"

#include <chrono>

namespace
{

// What this library has set aside has its destructors here, so it goes before the library does.
class PurgeAtUnload
{
public:
    PurgeAtUnload() = default;
    ~PurgeAtUnload() { Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0)); }
    PurgeAtUnload(const PurgeAtUnload&) = delete;
    PurgeAtUnload& operator=(const PurgeAtUnload&) = delete;
};

const PurgeAtUnload sPurgeAtUnload;

} // namespace

constinit bool Mdid_Init::sIsInitialized = false;

void Mdid_Init::Init()
{
    if (!sIsInitialized)
        sIsInitialized = true;
}

void Mdid_Init::Free()
{
    if (sIsInitialized)
        sIsInitialized = false;
}

void Mdid_Init::PlatformInit() {}
