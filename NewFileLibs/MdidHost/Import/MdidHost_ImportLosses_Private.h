#pragma once

#include "MdidHost/File/MdidHost_Findings.h"

#include <array>
#include <cstdint>
#include <vector>

// What an import does not keep, counted as it goes.
class MdidHost_ImportLosses
{
public:
    enum EKind
    {
        kLoneNoteOffs,
        kOpenNotes,
        kNotesOfNoLength,
        kLoneBankSelects,
        kCrowdedEvents,
        kUnheardExpression,
        kMovedExpression,
        kNotesWithoutExpression,
        kTemposOfZero,
        kReplacedTempos,
        kMeters,
        kFurtherNames,
        kChannelPrefixes,
        kEmptyTracks,
        kLateTracks,
        kDivisions,
        kNumKinds
    };

    void Add(EKind iKind, std::int64_t iCount = 1) { mCounts[iKind] += iCount; }

    void AppendTo(std::vector<MdidHost_Loss>& ioLosses) const;

private:
    std::array<std::int64_t, kNumKinds> mCounts{};
};
