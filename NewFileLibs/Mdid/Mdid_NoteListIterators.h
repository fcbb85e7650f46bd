#pragma once

#include "Mdid/Mdid_ExtendedEventIterator.h"
#include "Mdid/Mdid_NoteList.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

// Walks over a note list, in its order. Any change of the list ends their validity, also one that fails; the list must
// outlive them.
// All are forward iterators with sentinels: for range-based loops, and for the algorithms of std::ranges. Like an
// iterator at its end, one without elements may only be compared, copied, aimed anew, and asked whether there is more.

// What these walks have in common. A walk has IsMore, ++ and GetUnderlyingIter, which is where the list has the note:
// for Erase and Borrow.
template <class Iterator, class Element>
class Mdid_NoteListWalk
{
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::forward_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = Element;
    using pointer = const Element*;
    using reference = const Element&;

    struct EndSentinel
    {
    };

    // These only while IsMore().
    const Element& operator*() const { return *GetWalk().GetUnderlyingIter(); }
    const Element* operator->() const { return &**this; }
    Iterator operator++(int)
    {
        Iterator before = GetWalk();
        ++static_cast<Iterator&>(*this);
        return before;
    }

    operator Mdid_NoteListBase::const_iterator() const { return GetWalk().GetUnderlyingIter(); }

    // Walks over one range.
    friend bool operator==(const Iterator& iA, const Iterator& iB)
    {
        return iA.GetUnderlyingIter() == iB.GetUnderlyingIter();
    }
    friend bool operator==(const Iterator& iWalk, EndSentinel) { return !iWalk.IsMore(); }

private:
    const Iterator& GetWalk() const { return static_cast<const Iterator&>(*this); }
};

// The notes that start in [start, end). None when start is later than end. Found by binary search.
class MDID_EXPORT Mdid_NoteListBase::NotesInRangeIter
    : public Mdid_NoteListWalk<Mdid_NoteListBase::NotesInRangeIter, Mdid_NoteListBase::Note>
{
public:
    using Mdid_NoteListWalk::operator++;
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

    const_iterator GetUnderlyingIter() const { return mCurrent; }

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
    : public Mdid_NoteListWalk<Mdid_NoteListBase::SustainingNoteIter, Mdid_NoteListBase::Note>
{
public:
    using Mdid_NoteListWalk::operator++;
    using Range = SustainingNoteRange;

    SustainingNoteIter() = default; // of no list: no more elements
    SustainingNoteIter(const Mdid_NoteListBase& iList, Time_Typed iTime);

    bool IsMore() const { return mIsMore; }

    // These only while IsMore().
    SustainingNoteIter& operator++();

    // At the end, where the first note is that does not start before the time.
    const_iterator GetUnderlyingIter() const { return mCurrent; }

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
    : public Mdid_NoteListWalk<Mdid_NoteListBase::OverlappingNotesInRangeIter, Mdid_NoteListBase::Note>
{
public:
    using Mdid_NoteListWalk::operator++;
    using Range = OverlappingNotesInRangeRange;

    OverlappingNotesInRangeIter() = default; // of no list: no more elements
    OverlappingNotesInRangeIter(const Mdid_NoteListBase& iList, Time_Typed iStart, Time_Typed iEnd);

    // Aims it anew at the same list.
    void SetRange(Time_Typed iStart, Time_Typed iEnd);

    bool IsMore() const;

    // These only while IsMore().
    OverlappingNotesInRangeIter& operator++();

    const_iterator GetUnderlyingIter() const { return mCurrent; }

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
    : public Mdid_NoteListWalk<Mdid_NoteListBase::NotesExtendedEventInRangeIter, Mdid_ExtendedEvent>
{
public:
    using Mdid_NoteListWalk::operator++;
    using Range = Mdid_IteratorRange<NotesExtendedEventInRangeIter>;

    NotesExtendedEventInRangeIter() = default; // no more elements
    NotesExtendedEventInRangeIter(const Mdid_NoteListBase& iList, Time_TypedLength iOffset, Time_Typed iStart,
                                  Time_Typed iEnd, bool iRoundUp);

    bool IsMore() const { return mNotes.IsMore(); }
    NotesExtendedEventInRangeIter& operator++()
    {
        ++mNotes;
        return *this;
    }
    const_iterator GetUnderlyingIter() const { return mNotes.GetUnderlyingIter(); }

    // All notes of the list.
    static Range MakeRange(const Mdid_NoteListBase& iList);

private:
    NotesInRangeIter mNotes;
};

extern template class MDID_EXPORT Mdid_ExtendedEventIteratorInterface<Mdid_NoteListBase::NotesExtendedEventInRangeIter>;
