#pragma once

#include "MFnd/Time_Typed.h"

// The saved form of times and lengths: (count << 2) | kind, one int64.
class MFND_EXPORT Time_TypedDefs
{
public:
    // A count that does not fit into 62 bits is reported and saturates.
    static std::int64_t GetRawDataForSave(std::int64_t iCount, Time_EType iType);

    static constexpr std::int64_t GetRawDataForSave(Time_Typed iTime) { return iTime.GetPacked().GetRaw(); }
    static constexpr std::int64_t GetRawDataForSave(Time_TypedLength iLength) { return iLength.GetPacked().GetRaw(); }

    // The inverse. False, with the out-arguments untouched, for the one form that was never saved: kind 3.
    static bool SetFromRawSavedData(std::int64_t iRaw, std::int64_t& oCount, Time_EType& oType);
    static bool SetFromRawSavedData(std::int64_t iRaw, Time_Typed& oTime);
    static bool SetFromRawSavedData(std::int64_t iRaw, Time_TypedLength& oLength);
};
