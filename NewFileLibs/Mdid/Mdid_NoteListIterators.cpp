#include "Mdid/Mdid_NoteListIterators.h"

#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"

#include <tuple>

Mdid_NoteListBase::NotesInRangeIter::NotesInRangeIter(const Mdid_NoteListBase& iList, Time_Typed iStart,
                                                      Time_Typed iEnd)
    : mListP(&iList)
{
    SetRange(iStart, iEnd);
}

void Mdid_NoteListBase::NotesInRangeIter::SetRange(Time_Typed iStart, Time_Typed iEnd)
{
    if (mListP == nullptr)
        return;
    if (iStart > iEnd)
        mCurrent = mLast = mListP->end();
    else
        std::tie(mCurrent, mLast) = mListP->FindRange(iStart, iEnd);
}

Mdid_NoteListBase::NotesExtendedEventInRangeIter::NotesExtendedEventInRangeIter(const Mdid_NoteListBase& iList,
                                                                                Time_TypedLength iOffset,
                                                                                Time_Typed iStart, Time_Typed iEnd,
                                                                                bool iRoundUp)
{
    const bool isBounded = iStart.GetType() != Time_EType::kSample && iStart != Time_Typed::MinTime(iStart.GetType());
    if (isBounded && !TickTimesMatter::Active())
    {
        iStart -= iOffset;
        iEnd -= iOffset;
        Time_Convert::MakeTickRangeSampleBased(iStart, iEnd, iRoundUp);
        iStart += iOffset;
        iEnd += iOffset;
    }
    mNotes = NotesInRangeIter(iList, iStart, iEnd);
}

Mdid_NoteListBase::NotesExtendedEventInRangeIter::Range
Mdid_NoteListBase::NotesExtendedEventInRangeIter::MakeRange(const Mdid_NoteListBase& iList)
{
    NotesExtendedEventInRangeIter all;
    all.mNotes.mListP = &iList;
    all.mNotes.mCurrent = iList.begin(); // a note at the end of its kind's range is in no range of times
    all.mNotes.mLast = iList.end();
    return Range(all);
}

template class Mdid_ExtendedEventIteratorInterface<Mdid_NoteListBase::NotesExtendedEventInRangeIter>;
