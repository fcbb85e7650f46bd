#include "MdidHost/Import/MdidHost_ImportLosses_Private.h"

#include <cstddef>

namespace
{

// By EKind.
constexpr std::array<const char*, MdidHost_ImportLosses::kNumKinds> kTexts{
    "note-offs without a note-on",
    "notes left open, which end with their track",
    "notes of no length, which last one tick",
    "bank selects without a program change behind them",
    "events too many for their tick, which come later",
    "expression events of MPE channels that no note hears",
    "expression events that move to the start of their note",
    "notes with more expression than is copied to them",
    "tempos of 0",
    "tempos that another one at the same time replaces",
    "meters that do not exist",
    "further names of one track",
    "channel prefixes",
    "tracks at the end without contents",
    "tracks longer than time can tell",
    "divisions that do not exist",
};

} // namespace

void MdidHost_ImportLosses::AppendTo(std::vector<MdidHost_Loss>& ioLosses) const
{
    for (std::size_t kind = 0; kind < mCounts.size(); ++kind)
        if (mCounts[kind] > 0)
            MdidHost_AddLoss(ioLosses, kTexts[kind], mCounts[kind]);
}
