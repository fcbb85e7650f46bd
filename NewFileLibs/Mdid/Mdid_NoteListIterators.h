#pragma once

#include "Mdid/Mdid_ExtendedEventIterator.h"
#include "Mdid/Mdid_NoteList.h"

// Walks over a note list, in its order. Any change of the list ends their validity; the list must outlive them.

// The notes that start in [start, end). None when start is later than end. Found by binary search.
class MDID_EXPORT Mdid_NoteListBase::NotesInRangeIter
{
public:
    struct EndSentinel
    {
    };

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
    const Note& operator*() const { return *mCurrent; }
    const Note* operator->() const { return &*mCurrent; }

    const_iterator GetUnderlyingIter() const { return mCurrent; }
    operator const_iterator() const { return mCurrent; }

    bool operator==(EndSentinel) const { return !IsMore(); }

    using Range = Mdid_IteratorRange<NotesInRangeIter>;

private:
    friend class Mdid_NoteListBase::NotesExtendedEventInRangeIter; // walks over all notes, too

    const Mdid_NoteListBase* mListP = nullptr;
    const_iterator mCurrent{};
    const_iterator mLast{};
};

// Notes as extended events, for the merged walk over a chunk. The window is [iStart, iEnd), in the list's own times;
// when tick times do not matter, and iStart is neither in samples nor the minimum time, the ends less iOffset are first
// turned into samples (upward when iRoundUp), and the offset added back. Found by binary search.
class MDID_EXPORT Mdid_NoteListBase::NotesExtendedEventInRangeIter
{
public:
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
    const Mdid_ExtendedEvent& operator*() const { return *mNotes; }
    const Mdid_ExtendedEvent* operator->() const { return mNotes.operator->(); }
    const_iterator GetUnderlyingIter() const { return mNotes.GetUnderlyingIter(); }
    operator const_iterator() const { return mNotes.GetUnderlyingIter(); }
    bool operator==(EndSentinel) const { return !IsMore(); }

    using Range = Mdid_IteratorRange<NotesExtendedEventInRangeIter>;

    // All notes of the list.
    static Range MakeRange(const Mdid_NoteListBase& iList);

private:
    NotesInRangeIter mNotes;
};

extern template class MDID_EXPORT Mdid_ExtendedEventIteratorInterface<Mdid_NoteListBase::NotesExtendedEventInRangeIter>;
