#pragma once

#include "QuorPlatformSupport/QuorPlatformSupport_Export.h"

#include <memory>
#include <string>

namespace boost::dll
{
class shared_library;
}

// A module found and loaded at run time by its name: "QuorTrace" is the file QuorTrace.so in one of
//   the folders of the environment variable MDID_MODULE_PATH, separated by colons, in their order,
//   the folder "mdid" beside this library.
//
// A small value: copies share the module, and the last one unloads it. Copies may live on different threads.
class PLATFORMSUPPORT_EXPORT PSUtil_Module
{
public:
    enum class ELifetime
    {
        kWhileHeld, // unloaded with the last handle
        kProcess    // never unloaded: what was looked up in it stays valid
    };

    // No module; nothing is found in it.
    PSUtil_Module() = default;

    // The first file of that name that loads, or an empty handle when there is none. The sub-folder, a language for
    // example, stands below each of the folders. Both are plain names: with a separator in it, or "..", nothing is
    // found. Reads the file system and runs the module's initialisers.
    static PSUtil_Module Load(const std::string& iName, const std::string& iSubFolder = {},
                              ELifetime iLifetime = ELifetime::kWhileHeld);

    explicit operator bool() const noexcept { return mLibraryP != nullptr; }

    // The file that was loaded; empty when there is none.
    std::string GetPath() const;

    // The function that the module exports under that unmangled name, or null. The type is the caller's word for it.
    template <class Function>
    Function* GetFunction(const char* iSymbol) const
    {
        return reinterpret_cast<Function*>(LookUp(iSymbol));
    }

private:
    void* LookUp(const char* iSymbol) const;

    std::shared_ptr<const boost::dll::shared_library> mLibraryP;
};
