#include "Mdid/Mdid_Messages.h"

#include "CFnd/I18N_StUTF8Buffer.h"
#include "CFnd/I18N_Utils.h"

#include <array>
#include <atomic>
#include <stdexcept>

namespace
{

constexpr std::size_t kMaxMessageSize = 1024; // in wide characters, with the terminator

// Resolved at the first message and never released. Two threads that are first at once resolve the same module twice,
// which harms nothing.
constinit std::atomic<const I18N_ResourceModule*> sMessageModuleP{nullptr};

const I18N_ResourceModule* GetMessageModule()
{
    const I18N_ResourceModule* moduleP = sMessageModuleP.load(std::memory_order_acquire);
    if (!moduleP)
    {
        moduleP = I18N_Utils::GetResourceDLL("Mdid_Resource");
        if (!moduleP)
            moduleP = I18N_Utils::GetResourceDLL("Mdid");
        sMessageModuleP.store(moduleP, std::memory_order_release);
    }
    return moduleP;
}

} // namespace

std::string Mdid_LoadMessage(unsigned int iId)
{
    return Mdid_LoadMessageFrom(GetMessageModule(), iId);
}

std::string Mdid_FormatMessage(unsigned int iId, const char* iArgument1, const char* iArgument2, const char* iArgument3,
                               const char* iArgument4, const char* iArgument5, const char* iArgument6,
                               const char* iArgument7, const char* iArgument8, const char* iArgument9,
                               const char* iArgument10)
{
    return I18N_Utils::FormatL10nString(Mdid_LoadMessage(iId),
                                        {iArgument1, iArgument2, iArgument3, iArgument4, iArgument5, iArgument6,
                                         iArgument7, iArgument8, iArgument9, iArgument10});
}

void Mdid_ThrowMessage(unsigned int iId)
{
    throw std::runtime_error(Mdid_LoadMessage(iId));
}

std::string Mdid_LoadMessageFrom(const I18N_ResourceModule* iModuleP, unsigned int iId)
{
    if (!iModuleP)
        return {};
    std::array<wchar_t, kMaxMessageSize> text;
    if (iModuleP->LoadStringW(iId, text.data(), static_cast<int>(text.size())) == 0)
        throw std::runtime_error("0 Length String, missing translation");
    return I18N_StUTF8Buffer(text.data()).c_str();
}
