#include "Mdid/Mdid_Options.h"

#include "QuorPlatformSupport/SPSStartupOption.h"

SPSStartupOptionBool& Mdid_AllowMPE()
{
    static SPSStartupOptionBool sAllowMPE("AllowMPE", "Enable MIDI Polyphonic Expression (MPE) support", false);
    return sAllowMPE;
}

namespace
{

// Makes the option when the library is loaded, so that a host finds it in the list of options and the environment is
// read then, not at the first use.
[[maybe_unused]] const SPSStartupOptionBool& sMadeAtLoad = Mdid_AllowMPE();

} // namespace
