#include "MdidHost/Import/MdidHost_ImportClock_Private.h"

MdidHost_ImportClock::Moment MdidHost_ImportClock::AdvanceToSysex(int iReaderTime)
{
    const auto difference =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(iReaderTime) - static_cast<std::uint32_t>(mReaderTime));
    if (difference < 0 && mNow.mFileTick + difference >= 0)
        return MomentOf(mNow.mFileTick + difference);
    AdvanceTo(iReaderTime);
    return mNow;
}

bool MdidHost_ImportClock::IsOfAnotherTick(std::int64_t iTime, const Moment& iMoment) const
{
    return iTime != iMoment.mTime && mDivision.ToFileTick(Time_Typed(iTime, GetKind()), {}) != iMoment.mFileTick;
}
