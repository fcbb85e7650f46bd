#pragma once

#include "Mdid/Mdid_NoteList.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Of the long notes of a list, where they stand in it and when they end, so that those that sound at a time are found
// without passing over the others; and which kinds of time the list has.
//
// The tempo map may change without an edit of the list. So nothing in here depends on it: each kind of time has ends of
// its own, and only counts of one kind are compared.
class Mdid_NoteListBase::LongNoteIndex
{
public:
    using Thresholds = std::array<std::int64_t, 3>; // by kind

    // Of a list with a long-note list. Those of its notes that the list does not have are left out. O(n), and sorting
    // of what starts at one time. Throws std::bad_alloc.
    explicit LongNoteIndex(const Mdid_NoteListBase& iList);

    // Whether neither list has changed since.
    bool IsOf(const Mdid_NoteListBase& iList) const;

    // Whether a start or a duration in the list is of this kind.
    bool HasKind(Time_EType iKind) const { return mHasKind[static_cast<std::size_t>(iKind)]; }

    // Counts such that what ends behind iTime ends behind the one of its kind, too.
    Thresholds GetThresholds(Time_Typed iTime) const;

    // The first long note from the given one on that may end behind the threshold, or Size(). Logarithmic.
    std::size_t FindNext(std::size_t iLongNote, const Thresholds& iThresholds) const;

    // Positions in the list, ascending.
    std::size_t Size() const { return mPositions.size(); }
    std::size_t GetPosition(std::size_t iLongNote) const { return mPositions[iLongNote]; }

private:
    // The latest ends of runs, of runs of runs, and so on: an implicit tree.
    class LatestEnds
    {
    public:
        LatestEnds() = default; // of no notes
        explicit LatestEnds(std::vector<std::int64_t> iEnds);

        bool empty() const { return mLevels.empty(); }
        std::size_t FindNext(std::size_t iFirst, std::int64_t iThreshold) const;

    private:
        std::vector<std::vector<std::int64_t>> mLevels; // from the ends themselves up to one run
    };

    using NotePointers = std::vector<const Note*>;

    void FindKinds(const Notes& iNotes);
    void FindPositions(const Notes& iNotes, const Notes& iLongNotes);
    void MatchNotesOfOneTime(const Note* iFirstP, NotePointers& ioNotes, NotePointers& ioLongNotes);
    void MatchEqualNotes(const Note* iFirstP, std::span<const Note* const> iNotes,
                         std::span<const Note* const> iLongNotes);

    const std::uint64_t mRevision;
    const Mdid_NoteListBase* const mLongNoteListP; // only compared
    const std::uint64_t mLongNoteRevision;
    std::array<bool, 3> mHasKind{};
    std::vector<std::size_t> mPositions;
    std::array<LatestEnds, 3> mEnds; // by kind; none for a kind without ends
};
