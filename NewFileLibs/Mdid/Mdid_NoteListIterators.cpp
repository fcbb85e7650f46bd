#include "Mdid/Mdid_NoteListIterators.h"

#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/Mdid_LongNoteIndex_Private.h"

#include <algorithm>
#include <tuple>

namespace
{

// How far back a search without a long-note list goes.
Time_Typed GetLookBackTime(const Mdid_NoteListBase& iList, Time_Typed iTime)
{
    const Time_EType ownKind = iTime.GetType();
    const auto threshold = [&](Time_EType iKind) { return iList.GetLongNoteDuration(iKind); };
    Time_Typed earliest = iTime - threshold(ownKind);
    for (const Time_EType kind : kTime_AllKinds)
        if (kind != ownKind && threshold(kind).AsInt64() > 0)
            earliest = std::min(earliest, iTime - threshold(kind));
    // A note of the threshold less one that ends one behind the time starts two later than this.
    return earliest == Time_Typed::MinTime(ownKind) ? earliest : earliest + Time_TypedLength(2, ownKind);
}

// The same with a long-note list, in which a note that is not long and sounds may not start earlier. Only the kinds
// that the list has count. Where these are several, a note's end is rounded to the kind of its start, which may make
// it sound half a unit longer than its duration, and this time is rounded at every step.
template <class HasKind>
Time_Typed GetSafeLookBackTime(const Mdid_NoteListBase& iList, Time_Typed iTime, HasKind iHasKind)
{
    const Time_EType ownKind = iTime.GetType();
    const auto isOther = [&](Time_EType iKind) { return iKind != ownKind && iHasKind(iKind); };
    if (std::ranges::none_of(kTime_AllKinds, isOther))
        return iTime - (iList.GetLongNoteDuration(ownKind) - Time_TypedLength(2, ownKind));

    Time_Typed from = iTime - Time_TypedLength(2, ownKind);
    for (const Time_EType kind : kTime_AllKinds)
        if (isOther(kind))
            from -= Time_TypedLength(1, kind);
    Time_Typed earliest = from;
    for (const Time_EType kind : kTime_AllKinds)
        if (iHasKind(kind))
            earliest = std::min(earliest, from - iList.GetLongNoteDuration(kind));
    return earliest - Time_TypedLength(1, ownKind);
}

} // namespace

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

Mdid_NoteListBase::SustainingNoteIter::SustainingNoteIter(const Mdid_NoteListBase& iList, Time_Typed iTime)
    : mListP(&iList),
      mTime(iTime)
{
    Time_Typed lookBack = Time_Typed::MinTime(iTime.GetType()); // when all notes have to be asked
    if (iList.iLongNoteListP && !iList.AreLongNotesBehind())
    {
        mLongNotesP = &iList.GetLongNoteIndex();
        mThresholds = mLongNotesP->GetThresholds(iTime);
        lookBack = GetSafeLookBackTime(iList, iTime, [this](Time_EType iKind) { return mLongNotesP->HasKind(iKind); });
    }
    else if (!iList.iLongNoteListP)
        lookBack = GetLookBackTime(iList, iTime);

    // What would be earlier than the earliest time of its kind may be in another kind.
    const bool isBounded = lookBack != Time_Typed::MinTime(iTime.GetType());
    mFirstOfMainPhase = isBounded ? iList.LowerBound(std::min(lookBack, iTime)) : iList.begin();
    if (mLongNotesP != nullptr)
        FindLongNote();
    else
    {
        mCurrent = mFirstOfMainPhase;
        FindNote();
    }
}

Mdid_NoteListBase::SustainingNoteIter& Mdid_NoteListBase::SustainingNoteIter::operator++()
{
    if (mLongNotesP != nullptr)
        FindLongNote();
    else
    {
        ++mCurrent;
        FindNote();
    }
    return *this;
}

// The main phase comes upon the long notes behind the look-back time by itself.
void Mdid_NoteListBase::SustainingNoteIter::FindLongNote()
{
    const auto numBefore = static_cast<std::size_t>(mFirstOfMainPhase - mListP->begin());
    for (;;)
    {
        const std::size_t longNote = mLongNotesP->FindNext(mNextLongNote, mThresholds);
        if (longNote == mLongNotesP->Size() || mLongNotesP->GetPosition(longNote) >= numBefore)
            break;
        mNextLongNote = longNote + 1;
        mCurrent = mListP->begin() + static_cast<std::ptrdiff_t>(mLongNotesP->GetPosition(longNote));
        mIsMore = mCurrent->GetEndTime() > mTime;
        if (mIsMore)
            return;
    }
    mLongNotesP = nullptr;
    mCurrent = mFirstOfMainPhase;
    FindNote();
}

void Mdid_NoteListBase::SustainingNoteIter::FindNote()
{
    const auto isFoundOrBehind = [this](const Note& iNote)
    { return iNote.GetTime() >= mTime || iNote.GetEndTime() > mTime; };
    mCurrent = std::find_if(mCurrent, mListP->end(), isFoundOrBehind);
    mIsMore = mCurrent != mListP->end() && mCurrent->GetTime() < mTime;
}

Mdid_NoteListBase::SustainingNoteRange Mdid_NoteListBase::GetSustainingNotes(Time_Typed iTime) const
{
    return {*this, iTime};
}

Mdid_NoteListBase::OverlappingNotesInRangeIter::OverlappingNotesInRangeIter(const Mdid_NoteListBase& iList,
                                                                            Time_Typed iStart, Time_Typed iEnd)
    : mListP(&iList)
{
    SetRange(iStart, iEnd);
}

void Mdid_NoteListBase::OverlappingNotesInRangeIter::SetRange(Time_Typed iStart, Time_Typed iEnd)
{
    if (mListP == nullptr)
        return;
    mEnd = iEnd;
    mSustaining.reset();
    mCurrent = mListP->end(); // also when memory runs out
    if (iStart > iEnd)
        return;
    const bool isAnyBefore = !mListP->empty() && mListP->AttackTimeOfFirstNote() < iStart;
    if (isAnyBefore)
    {
        mSustaining.emplace(*mListP, iStart);
        GoOnFromSustaining();
    }
    else
        mCurrent = mListP->begin();
}

bool Mdid_NoteListBase::OverlappingNotesInRangeIter::IsMore() const
{
    return mSustaining || (mListP != nullptr && mCurrent != mListP->end() && mCurrent->GetTime() < mEnd);
}

Mdid_NoteListBase::OverlappingNotesInRangeIter& Mdid_NoteListBase::OverlappingNotesInRangeIter::operator++()
{
    if (mSustaining)
    {
        ++*mSustaining;
        GoOnFromSustaining();
    }
    else
        ++mCurrent;
    return *this;
}

// Where the sustaining notes end, those that start in the range begin.
void Mdid_NoteListBase::OverlappingNotesInRangeIter::GoOnFromSustaining()
{
    mCurrent = mSustaining->GetUnderlyingIter();
    if (!mSustaining->IsMore())
        mSustaining.reset();
}

Mdid_NoteListBase::OverlappingNotesInRangeRange Mdid_NoteListBase::GetOverlappingNotesInRange(Time_Typed iStart,
                                                                                              Time_Typed iEnd) const
{
    return {*this, iStart, iEnd};
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
