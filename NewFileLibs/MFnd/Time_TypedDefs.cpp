#include "MFnd/Time_TypedDefs.h"

#include "CFnd/Cmn_Assert.h"

std::int64_t Time_TypedDefs::GetRawDataForSave(std::int64_t iCount, Time_EType iType)
{
    CMN_VERIFY(iCount >= Time_Packed::kMinCount && iCount <= Time_Packed::kMaxCount);
    return Time_Packed(iCount, iType).GetRaw();
}

bool Time_TypedDefs::SetFromRawSavedData(std::int64_t iRaw, std::int64_t& oCount, Time_EType& oType)
{
    constexpr std::int64_t kNoKind = 3;
    if ((iRaw & 3) == kNoKind)
        return false;
    oCount = iRaw >> 2;
    oType = static_cast<Time_EType>(iRaw & 3);
    return true;
}

bool Time_TypedDefs::SetFromRawSavedData(std::int64_t iRaw, Time_Typed& oTime)
{
    std::int64_t count = 0;
    Time_EType type = Time_EType::kSample;
    if (!SetFromRawSavedData(iRaw, count, type))
        return false;
    oTime = Time_Typed(count, type);
    return true;
}

bool Time_TypedDefs::SetFromRawSavedData(std::int64_t iRaw, Time_TypedLength& oLength)
{
    Time_Typed time;
    if (!SetFromRawSavedData(iRaw, time))
        return false;
    oLength = Time_TypedLength(time.GetPacked());
    return true;
}
