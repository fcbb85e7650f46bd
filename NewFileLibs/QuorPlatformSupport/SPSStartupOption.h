#pragma once

#include "QuorPlatformSupport/QuorPlatformSupport_Export.h"

#include <atomic>
#include <functional>

// A switch of the process that is settled at start-up: made as a static object, it reads the environment once.
//
// The variable is MDID_OPTION_ and the name in upper case, for example MDID_OPTION_ALLOWMPE. It says 1, true, on or
// yes, or 0, false, off or no, in any case; when it is not set or says something else, the default holds.
//
// Threads: reading and setting are atomic and order nothing else.
class PLATFORMSUPPORT_EXPORT SPSStartupOptionBool
{
public:
    // Neither text is copied; both live as long as the option.
    SPSStartupOptionBool(const char* iName, const char* iDescription, bool iDefault);
    ~SPSStartupOptionBool();
    SPSStartupOptionBool(const SPSStartupOptionBool&) = delete;
    SPSStartupOptionBool& operator=(const SPSStartupOptionBool&) = delete;

    operator bool() const noexcept { return mValue.load(std::memory_order_relaxed); }

    const char* GetName() const noexcept { return mName; }
    const char* GetDescription() const noexcept { return mDescription; }
    bool GetDefault() const noexcept { return mDefault; }

    // Overrules the environment from here on. What has read the option before keeps what it read.
    void Set(bool iValue) noexcept { mValue.store(iValue, std::memory_order_relaxed); }

    // Shows the visitor the options of the process, in the order in which they were made. Usable in static
    // initialisation and destruction. A lock is held meanwhile: the visitor makes and destroys no option.
    static void ForEach(const std::function<void(SPSStartupOptionBool&)>& iVisitor);

private:
    const char* const mName;
    const char* const mDescription;
    const bool mDefault;
    std::atomic<bool> mValue;
};
