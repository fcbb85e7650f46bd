#pragma once

#include "Mdid/Mdid_ExtendedEventIterator.h"
#include "Mdid/Mdid_NoteList.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

// Walks over a note list, in its order. Any change of the list ends their validity; the list must outlive them.
// All are forward iterators with sentinels: for range-based loops, and for the algorithms of std::ranges. Like an
// iterator at its end, one without elements may only be compared, copied, aimed anew, and asked whether there is more.

// The notes that start in [start, end). None when start is later than end. Found by binary search.
class MDID_EXPORT Mdid_NoteListBase::NotesInRangeIter
{
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::forward_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = Note;
    using pointer = const Note*;
    using reference = const Note&;

    struct EndSentinel
    {
    };
    using Range = Mdid_IteratorRange<NotesInRangeIter>;

    NotesInRangeIter() = default; // of no list: no more elements
    NotesInRangeIter(const Mdid_NoteListBase& iList, Time_Typed iStart, Time_Typed iEnd);

    // Aims it anew at the same list.
    void SetRange(Time_Typed iStart, Time_Typed iEnd);

    bool IsMore() const { return mCurrent != mLast; }

    // These only while IsMore().
    NotesInRangeIter& operator++()
    {
        ++mCurrent;
        return *this;
    }
    NotesInRangeIter operator++(int)
    {
        NotesInRangeIter before = *this;
        ++*this;
        return before;
    }
    const Note& operator*() const { return *mCurrent; }
    const Note* operator->() const { return &*mCurrent; }

    const_iterator GetUnderlyingIter() const { return mCurrent; }
    operator const_iterator() const { return mCurrent; }

    bool operator==(const NotesInRangeIter& iOther) const { return mCurrent == iOther.mCurrent; } // of one range
    bool operator==(EndSentinel) const { return !IsMore(); }

private:
    friend class Mdid_NoteListBase::NotesExtendedEventInRangeIter; // walks over all notes, too

    const Mdid_NoteListBase* mListP = nullptr;
    const_iterator mCurrent{};
    const_iterator mLast{};
};

// The notes that sound at a time: that start before it, and end behind it. First those that start before the look-back
// time, which are in the long-note list, then the others. Logarithmic for each long note that sounds, and linear in the
// notes that start between the look-back time and the time, and in the long notes whose durations are of other kinds
// than their starts.
//
// The look-back time is the earliest that a note which is not long can have started: the time less the long-note
// threshold of its kind (of every kind, where several are in use), plus two units. With a long-note list and several
// kinds in the list it is a little earlier, so that no rounding hides a note.
class MDID_EXPORT Mdid_NoteListBase::SustainingNoteIter
{
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::forward_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = Note;
    using pointer = const Note*;
    using reference = const Note&;

    struct EndSentinel
    {
    };
    using Range = SustainingNoteRange;

    SustainingNoteIter() = default; // of no list: no more elements
    SustainingNoteIter(const Mdid_NoteListBase& iList, Time_Typed iTime);

    bool IsMore() const { return mIsMore; }

    // These only while IsMore().
    SustainingNoteIter& operator++();
    SustainingNoteIter operator++(int)
    {
        SustainingNoteIter before = *this;
        ++*this;
        return before;
    }
    const Note& operator*() const { return *mCurrent; }
    const Note* operator->() const { return &*mCurrent; }

    // At the end, where the first note is that does not start before the time.
    const_iterator GetUnderlyingIter() const { return mCurrent; }
    operator const_iterator() const { return mCurrent; }

    bool operator==(const SustainingNoteIter& iOther) const { return mCurrent == iOther.mCurrent; } // of one range
    bool operator==(EndSentinel) const { return !IsMore(); }

private:
    void FindLongNote();
    void FindNote();

    const Mdid_NoteListBase* mListP = nullptr;
    Time_Typed mTime;
    const_iterator mCurrent{};
    const_iterator mFirstOfMainPhase{};
    bool mIsMore = false;

    // While the notes before the main phase are visited: the one that comes next, and what it must end behind, by kind.
    const LongNoteIndex* mLongNotesP = nullptr;
    std::size_t mNextLongNote = 0;
    std::array<std::int64_t, 3> mThresholds{};
};

class MDID_EXPORT Mdid_NoteListBase::SustainingNoteRange
{
public:
    SustainingNoteRange(const Mdid_NoteListBase& iList, Time_Typed iTime) : mListP(&iList), mTime(iTime) {}

    SustainingNoteIter begin() const { return SustainingNoteIter(*mListP, mTime); }
    SustainingNoteIter::EndSentinel end() const { return {}; }
    bool empty() const { return !begin().IsMore(); }
    Time_Typed GetTime() const { return mTime; }

private:
    const Mdid_NoteListBase* mListP;
    Time_Typed mTime;
};

// The notes that sound anywhere in [start, end): first those that sound at start, then those that start in the range.
// None when start is later than end; when both are one time, those that sound there.
class MDID_EXPORT Mdid_NoteListBase::OverlappingNotesInRangeIter
{
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::forward_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = Note;
    using pointer = const Note*;
    using reference = const Note&;

    struct EndSentinel
    {
    };
    using Range = OverlappingNotesInRangeRange;

    OverlappingNotesInRangeIter() = default; // of no list: no more elements
    OverlappingNotesInRangeIter(const Mdid_NoteListBase& iList, Time_Typed iStart, Time_Typed iEnd);

    // Aims it anew at the same list.
    void SetRange(Time_Typed iStart, Time_Typed iEnd);

    bool IsMore() const;

    // These only while IsMore().
    OverlappingNotesInRangeIter& operator++();
    OverlappingNotesInRangeIter operator++(int)
    {
        OverlappingNotesInRangeIter before = *this;
        ++*this;
        return before;
    }
    const Note& operator*() const { return *mCurrent; }
    const Note* operator->() const { return &*mCurrent; }

    const_iterator GetUnderlyingIter() const { return mCurrent; }
    operator const_iterator() const { return mCurrent; }

    // Of one range.
    bool operator==(const OverlappingNotesInRangeIter& iOther) const { return mCurrent == iOther.mCurrent; }
    bool operator==(EndSentinel) const { return !IsMore(); }

private:
    void GoOnFromSustaining();

    const Mdid_NoteListBase* mListP = nullptr;
    Time_Typed mEnd;
    const_iterator mCurrent{};
    std::optional<SustainingNoteIter> mSustaining; // while it has more
};

class MDID_EXPORT Mdid_NoteListBase::OverlappingNotesInRangeRange
{
public:
    OverlappingNotesInRangeRange(const Mdid_NoteListBase& iList, Time_Typed iStart, Time_Typed iEnd)
        : mListP(&iList),
          mStart(iStart),
          mEnd(iEnd)
    {
    }

    OverlappingNotesInRangeIter begin() const { return {*mListP, mStart, mEnd}; }
    OverlappingNotesInRangeIter::EndSentinel end() const { return {}; }
    bool empty() const { return !begin().IsMore(); }
    std::pair<Time_Typed, Time_Typed> GetRange() const { return {mStart, mEnd}; }

private:
    const Mdid_NoteListBase* mListP;
    Time_Typed mStart;
    Time_Typed mEnd;
};

// Notes as extended events, for the merged walk over a chunk. The window is [iStart, iEnd), in the list's own times;
// when tick times do not matter, and iStart is neither in samples nor the minimum time, the ends less iOffset are first
// turned into samples (upward when iRoundUp), and the offset added back. Found by binary search.
class MDID_EXPORT Mdid_NoteListBase::NotesExtendedEventInRangeIter
{
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::forward_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = Mdid_ExtendedEvent;
    using pointer = const Mdid_ExtendedEvent*;
    using reference = const Mdid_ExtendedEvent&;

    struct EndSentinel
    {
    };

    NotesExtendedEventInRangeIter() = default; // no more elements
    NotesExtendedEventInRangeIter(const Mdid_NoteListBase& iList, Time_TypedLength iOffset, Time_Typed iStart,
                                  Time_Typed iEnd, bool iRoundUp);

    bool IsMore() const { return mNotes.IsMore(); }
    NotesExtendedEventInRangeIter& operator++()
    {
        ++mNotes;
        return *this;
    }
    NotesExtendedEventInRangeIter operator++(int)
    {
        NotesExtendedEventInRangeIter before = *this;
        ++*this;
        return before;
    }
    const Mdid_ExtendedEvent& operator*() const { return *mNotes; }
    const Mdid_ExtendedEvent* operator->() const { return mNotes.operator->(); }
    const_iterator GetUnderlyingIter() const { return mNotes.GetUnderlyingIter(); }
    operator const_iterator() const { return mNotes.GetUnderlyingIter(); }
    bool operator==(const NotesExtendedEventInRangeIter& iOther) const { return mNotes == iOther.mNotes; }
    bool operator==(EndSentinel) const { return !IsMore(); }

    using Range = Mdid_IteratorRange<NotesExtendedEventInRangeIter>;

    // All notes of the list.
    static Range MakeRange(const Mdid_NoteListBase& iList);

private:
    NotesInRangeIter mNotes;
};

extern template class MDID_EXPORT Mdid_ExtendedEventIteratorInterface<Mdid_NoteListBase::NotesExtendedEventInRangeIter>;
