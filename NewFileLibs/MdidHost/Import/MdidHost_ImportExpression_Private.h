#pragma once

#include "MdidHost/Import/MdidHost_NotePairing_Private.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Where the expression of a zone's member channels stands: bends, channel pressure and controller 74, which go to
// notes.
class MdidHost_ImportExpression
{
public:
    using Note = MdidHost_NotePairing::Note;

    enum ELane
    {
        kBend,
        kPressure,
        kTimbre,
        kNumLanes
    };

    // Times ascend within a lane.
    void Add(int iChannel, ELane iLane, std::int64_t iTime)
    {
        mTimes[static_cast<std::size_t>(iChannel)][iLane].push_back(iTime);
        ++mSize;
    }
    void Clear();

    // How many there are. Each note takes a copy of what its channel has while it sounds.
    std::int64_t Size() const { return mSize; }
    std::int64_t CountDuring(const Note& iNote) const;

    // Those that come while nothing sounds on their channel.
    struct BetweenNotes
    {
        std::int64_t mMoved = 0;   // still in force when a note starts, which takes them over
        std::int64_t mUnheard = 0; // by any note
    };
    // iNotes: ascending by start. Linear.
    BetweenNotes CountBetween(std::span<const Note> iNotes) const;

private:
    using Times = std::vector<std::int64_t>;

    std::array<std::array<Times, kNumLanes>, 16> mTimes;
    std::int64_t mSize = 0;
};
