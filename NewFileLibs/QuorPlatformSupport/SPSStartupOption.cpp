#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace
{

struct Registry
{
    std::mutex mMutex;
    std::vector<SPSStartupOptionBool*> mOptions;
};

// Never destroyed: options of other libraries are destroyed after this one's statics.
Registry& GetRegistry()
{
    static Registry& registry = *new Registry;
    return registry;
}

std::string InUpperCase(std::string iText)
{
    std::ranges::transform(iText, iText.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return iText;
}

bool ReadFromEnvironment(const std::string& iName, bool iDefault)
{
    static constexpr std::array<std::string_view, 4> kTrue = {"1", "TRUE", "ON", "YES"};
    static constexpr std::array<std::string_view, 4> kFalse = {"0", "FALSE", "OFF", "NO"};

    const char* const textP = std::getenv(("MDID_OPTION_" + InUpperCase(iName)).c_str());
    const std::string value = textP ? InUpperCase(textP) : "";
    if (std::ranges::find(kTrue, value) != kTrue.end())
        return true;
    return iDefault && std::ranges::find(kFalse, value) == kFalse.end();
}

} // namespace

SPSStartupOptionBool::SPSStartupOptionBool(const char* iName, const char* iDescription, bool iDefault)
    : mName(iName),
      mDescription(iDescription),
      mDefault(iDefault),
      mValue(ReadFromEnvironment(iName, iDefault))
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mMutex);
    registry.mOptions.push_back(this);
}

SPSStartupOptionBool::~SPSStartupOptionBool()
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mMutex);
    std::erase(registry.mOptions, this);
}

void SPSStartupOptionBool::ForEach(const std::function<void(SPSStartupOptionBool&)>& iVisitor)
{
    Registry& registry = GetRegistry();
    const std::lock_guard lock(registry.mMutex);
    for (SPSStartupOptionBool* const optionP : registry.mOptions)
        iVisitor(*optionP);
}
