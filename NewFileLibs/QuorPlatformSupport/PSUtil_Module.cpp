#include "QuorPlatformSupport/PSUtil_Module.h"

#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/dll/shared_library.hpp>
#include <boost/filesystem.hpp>

#include <cstdlib>
#include <dlfcn.h>
#include <sstream>
#include <vector>

namespace dll = boost::dll;
namespace fs = boost::filesystem;

namespace
{

constexpr const char* kPathVariable = "MDID_MODULE_PATH";
constexpr const char* kModuleFolder = "mdid";
constexpr const char* kModuleExtension = ".so";

// Taken when the first module is asked for, which is when this library is loaded: the loader may have noted a relative
// path, and the working folder changes.
const fs::path& GetOwnModuleFolder()
{
    static const fs::path& folder = *new fs::path(
        []
        {
            boost::system::error_code error;
            fs::path library = dll::this_line_location(error);
            if (!error && library.is_relative())
                library = fs::current_path(error) / library;
            return error ? fs::path() : library.parent_path() / kModuleFolder;
        }());
    return folder;
}

std::vector<fs::path> GetModuleFolders()
{
    std::vector<fs::path> folders;
    if (const char* const pathP = std::getenv(kPathVariable))
    {
        std::istringstream path(pathP);
        for (std::string folder; std::getline(path, folder, ':');)
        {
            if (!folder.empty())
                folders.emplace_back(folder);
        }
    }
    if (!GetOwnModuleFolder().empty())
        folders.push_back(GetOwnModuleFolder());
    return folders;
}

bool IsPlainName(const std::string& iName)
{
    return !iName.empty() && iName != "." && iName != ".." && iName.find_first_of(std::string("/\0", 2)) == iName.npos;
}

dll::load_mode::type GetLoadMode(PSUtil_Module::ELifetime iLifetime)
{
    const auto mode = dll::load_mode::rtld_now | dll::load_mode::rtld_local;
    return iLifetime == PSUtil_Module::ELifetime::kProcess ? mode | static_cast<dll::load_mode::type>(RTLD_NODELETE)
                                                           : mode;
}

} // namespace

PSUtil_Module PSUtil_Module::Load(const std::string& iName, const std::string& iSubFolder, ELifetime iLifetime)
{
    PSUtil_Module module;
    if (!IsPlainName(iName) || !(iSubFolder.empty() || IsPlainName(iSubFolder)))
        return module;

    for (const fs::path& folder : GetModuleFolders())
    {
        const fs::path file = folder / iSubFolder / (iName + kModuleExtension);
        boost::system::error_code error;
        if (!fs::is_regular_file(file, error))
            continue;
        const auto libraryP = std::make_shared<dll::shared_library>();
        libraryP->load(file, GetLoadMode(iLifetime), error);
        if (libraryP->is_loaded())
        {
            module.mLibraryP = libraryP;
            break;
        }
        PSUTIL_TRACE(kTraceDiagnostics, "PSUtil_Module %s is no module that can be loaded", file.c_str());
    }
    return module;
}

std::string PSUtil_Module::GetPath() const
{
    boost::system::error_code error;
    return mLibraryP ? mLibraryP->location(error).string() : std::string();
}

void* PSUtil_Module::LookUp(const char* iSymbol) const
{
    // Boost hands out what a symbol refers to; the address of that is the symbol's.
    if (!mLibraryP || !mLibraryP->has(iSymbol))
        return nullptr;
    return &mLibraryP->get<char>(iSymbol);
}
