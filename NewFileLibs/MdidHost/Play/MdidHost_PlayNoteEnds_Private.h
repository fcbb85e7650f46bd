#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

// When the next note of each track ends, and of all tracks: a knockout among them. Takes memory at construction only.
class MdidHost_PlayNoteEnds
{
public:
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    explicit MdidHost_PlayNoteEnds(std::size_t iNumTracks)
        : mNumPlaces(std::bit_ceil(iNumTracks)),
          mEarliest(2 * mNumPlaces, kNever)
    {
    }

    std::int64_t GetEarliest() const { return mEarliest[1]; }

    // The track whose note it is; only when there is one. Logarithmic, as Set is.
    std::size_t GetTrack() const
    {
        std::size_t place = 1;
        while (place < mNumPlaces)
            place = 2 * place + (mEarliest[2 * place] == mEarliest[place] ? 0 : 1);
        return place - mNumPlaces;
    }

    void Set(std::size_t iTrack, std::int64_t iSample)
    {
        std::size_t place = mNumPlaces + iTrack;
        mEarliest[place] = iSample;
        for (place /= 2; place > 0; place /= 2)
            mEarliest[place] = std::min(mEarliest[2 * place], mEarliest[2 * place + 1]);
    }

private:
    std::size_t mNumPlaces;
    std::vector<std::int64_t> mEarliest; // of the tracks from mNumPlaces on; of n, those at 2n and 2n + 1
};
