#include "MFnd/Time_Typed.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Time_Globals.h"

std::int64_t Time_Packed::ReportUnknownKind(Time_EType iType)
{
    CMN_VERIFY(iType == Time_EType::kSample || iType == Time_EType::kTick || iType == Time_EType::kMicrosecond);
    return static_cast<std::int64_t>(Time_EType::kSample);
}

std::weak_ordering Time_MixedKinds::Compare(Time_Typed iLeft, Time_Typed iRight)
{
    return Time_Globals::GetContext().Compare(iLeft, iRight);
}

std::weak_ordering Time_MixedKinds::Compare(Time_TypedLength iLeft, Time_TypedLength iRight)
{
    return Time_Globals::GetContext().Compare(iLeft, iRight);
}

Time_Typed Time_MixedKinds::Add(Time_Typed iTime, Time_TypedLength iLength)
{
    return Time_Globals::GetContext().Add(iTime, iLength);
}

Time_Typed Time_MixedKinds::Subtract(Time_Typed iTime, Time_TypedLength iLength)
{
    return Time_Globals::GetContext().Subtract(iTime, iLength);
}

Time_TypedLength Time_MixedKinds::Subtract(Time_Typed iLeft, Time_Typed iRight)
{
    return Time_Globals::GetContext().Subtract(iLeft, iRight);
}

Time_TypedLength Time_MixedKinds::Add(Time_TypedLength iLeft, Time_TypedLength iRight)
{
    return Time_Globals::GetContext().Add(iLeft, iRight);
}

Time_TypedLength Time_MixedKinds::Subtract(Time_TypedLength iLeft, Time_TypedLength iRight)
{
    return Time_Globals::GetContext().Subtract(iLeft, iRight);
}
