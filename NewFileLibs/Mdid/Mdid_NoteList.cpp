#include "Mdid/Mdid_NoteList.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SortIfNeeded_Private.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace
{

using Note = Mdid_NoteListBase::Note;

bool HavePerNoteControllers(const std::vector<Note>& iNotes)
{
    return std::ranges::any_of(iNotes, &Note::HasPerNoteControllers);
}

} // namespace

void Mdid_NoteListBase::EarliestTime(Time_Typed& ioTime) const
{
    if (!empty())
        ioTime = std::min(ioTime, AttackTimeOfFirstNote());
}

bool Mdid_NoteListBase::IsNoteInList(const Mdie_TimedEvent& iEvent) const
{
    return iEvent.GetEvent().GetType() == Mdid_Event::kNoteWithDuration && FindNote(iEvent) != end();
}

void Mdid_NoteListBase::FindPerNoteControllersInUse(bool* ioInUse) const
{
    for (const Note& note : mNotes)
    {
        if (!note.HasPerNoteControllers())
            continue;
        for (const Mdid_PerNoteDataStream& lane : *note.GetPerNoteControllers())
            if (const int index = lane.GetSubStream().GetDataTypeIndex();
                index >= Mdi_Controller::kFirstLane && index <= Mdi_Controller::kLastLane)
                ioInUse[index] = true;
    }
}

Time_Typed Mdid_NoteListBase::GetEarliestReleaseTimeForNotesInRange(Time_Typed iStart, Time_Typed iEnd) const
{
    Time_Typed earliest = iEnd;
    for (auto note = begin(); note != end() && note->GetTime() < iEnd; ++note)
        if (const Time_Typed release = note->GetEndTime(); release > iStart && release < earliest)
            earliest = release;
    return earliest;
}

Time_Typed Mdid_NoteListBase::GetLastReleaseTimeForNotesInRange(Time_Typed iStart, Time_Typed iEnd) const
{
    Time_Typed last = iStart;
    for (auto note = begin(); note != end() && note->GetTime() < iEnd; ++note)
        if (const Time_Typed release = note->GetEndTime(); release > last && release < iEnd)
            last = release;
    return last;
}

Time_Typed Mdid_NoteListBase::GetLatestReleaseTimeForNotesInRange(Time_Typed iStart, Time_Typed iEnd) const
{
    Time_Typed latest = iStart;
    // What starts earlier and still sounds is long.
    const Time_Typed from = iLongNoteListP ? iStart - GetLongNoteDuration(iStart.GetType()) : iStart;
    for (auto note = LowerBound(from); note != end() && note->GetTime() < iEnd; ++note)
        latest = std::max(latest, note->GetEndTime());
    // Kept: the long-note list has none of its own, so that it is asked from iStart on.
    if (!iLongNoteListP || AreLongNotesBehind())
        return latest;
    return std::max(latest, iLongNoteListP->GetLatestReleaseTimeForNotesInRange(iStart, iEnd));
}

void Mdid_NoteListBase::SetIsMPE(bool iIsMPE)
{
    if (mIsMPE == iIsMPE)
        return;
    AboutToEdit();
    mIsMPE = iIsMPE;
}

bool Mdid_NoteListBase::SnapsNow() const
{
    // Kept: the kind of the times takes no part.
    return mSnapToCoarseTicks && TickTimesMatter::Active();
}

Time_Typed Mdid_NoteListBase::QuantizeTimeConditional(const Time_Typed& iTime) const
{
    return SnapsNow() ? Time_Convert::SnapToCoarseInternalTick(iTime) : iTime;
}

Time_TypedLength Mdid_NoteListBase::GetLongNoteDuration(Time_EType iKind) const
{
    return mLongNoteDuration[static_cast<std::size_t>(iKind)];
}

Mdid_NoteListBase::const_iterator Mdid_NoteListBase::LowerBound(Time_Typed iTime) const
{
    return std::ranges::lower_bound(mNotes, iTime, {}, &Note::GetTime);
}

std::pair<Mdid_NoteListBase::const_iterator, Mdid_NoteListBase::const_iterator>
Mdid_NoteListBase::FindRange(Time_Typed iStart, Time_Typed iEnd) const
{
    const auto first = LowerBound(iStart);
    return {first, std::max(first, LowerBound(iEnd))};
}

Mdid_NoteListBase::const_iterator Mdid_NoteListBase::FindNote(const Mdie_TimedEvent& iEvent) const
{
    const Time_Typed time = iEvent.GetTime();
    const auto& event = iEvent.GetEvent().As<Mdid_NoteWithDurationBase>();
    for (auto note = LowerBound(time); note != end() && note->GetTime() == time; ++note)
        if (note->IsNoteWithDurationExtendedEvent() && note->GetNote().IsSameNoteOn(event)) // not one that is out
            return note;
    return end();
}

bool Mdid_NoteListBase::PlaceLess(const Note& iA, const Note& iB)
{
    if (iA.GetTime() != iB.GetTime())
        return iA.GetTime() < iB.GetTime();
    const auto typeA = iA.GetEvent().GetType();
    const auto typeB = iB.GetEvent().GetType();
    if (typeA != typeB)
        return typeA < typeB;
    return typeA == Mdid_Event::kNoteWithDuration && iA.GetEvent() < iB.GetEvent();
}

bool Mdid_NoteListBase::IsLong(const Note& iNote) const
{
    const Time_TypedLength duration = iNote.GetDuration();
    return duration >= GetLongNoteDuration(duration.GetType());
}

bool Mdid_NoteListBase::IsFiltering() const
{
    return mTrimmedNotesContextP && !mTrimmedNotesContextP->FilterNoteIsNoOp();
}

Mdid_NoteListBase::Notes Mdid_NoteListBase::FilteredCopy(const_iterator iFirst, const_iterator iLast) const
{
    Notes notes(iFirst, iLast);
    if (IsFiltering())
        for (Note& note : notes)
            mTrimmedNotesContextP->FilterNote(note);
    return notes;
}

void Mdid_NoteListBase::SetSnapToCoarseTicks(bool iSnap)
{
    mSnapToCoarseTicks = iSnap;
    if (iLongNoteListP)
        iLongNoteListP->mSnapToCoarseTicks = iSnap;
}

void Mdid_NoteListBase::ReplaceData(const Mdid_NoteListBase* iOther)
{
    if (!iOther || iOther == this)
        return;
    Notes notes = iOther->mNotes;
    AboutToEdit();
    if (iOther->mTrimmedNotesContextP)
    {
        RecreateTrimmedNotesContext();
        mTrimmedNotesContextP->ReplaceData(iOther->mTrimmedNotesContextP.Get());
    }
    ForgetReturns();
    mSnapToCoarseTicks = iOther->mSnapToCoarseTicks;
    mIsMPE = iOther->mIsMPE;
    mNotes = std::move(notes);
    Mdid_SortIfNeeded(mNotes, PlaceLess);
    RegenerateLongNoteList();
}

Mdid_NoteListBase::const_iterator Mdid_NoteListBase::AddNote(Note iNote)
{
    CompleteReturns();
    if (mTrimmedNotesContextP)
        mTrimmedNotesContextP->FilterNote(iNote);
    AboutToEdit();
    mIsOrderUncertain = mIsOrderUncertain || mNumOut > 0;
    const bool hasPerNoteControllers = iNote.HasPerNoteControllers();

    const bool isLast = mNotes.empty() || !NoteLess()(iNote, mNotes.back());
    const auto place = isLast ? mNotes.end() : std::ranges::upper_bound(mNotes, iNote, NoteLess());
    const auto added = mNotes.insert(place, std::move(iNote));
    if (iLongNoteListP && IsLong(*added))
    {
        try
        {
            iLongNoteListP->AddNote(*added);
        }
        catch (...)
        {
            mNotes.erase(added);
            throw;
        }
    }
    mIsMPE = mIsMPE || hasPerNoteControllers;
    return added;
}

void Mdid_NoteListBase::EraseNote(const Mdie_TimedEvent& iEvent)
{
    if (!iEvent.IsNoteWithDurationEvent())
        return;
    // It may be one of these notes, which are about to move.
    const Mdie_TimedEvent event(iEvent.GetTime(), iEvent.GetEvent());
    CompleteReturns();
    const auto note = FindNote(event);
    if (note != end())
        Erase(note);
}

// Of several equal note-ons the very one.
void Mdid_NoteListBase::EraseCopyOf(const Note& iNote)
{
    for (auto note = LowerBound(iNote.GetTime()); note != end() && note->GetTime() == iNote.GetTime(); ++note)
        if (note->IsIdenticalTo(iNote))
        {
            AboutToEdit();
            mNotes.erase(note);
            return;
        }
}

bool Mdid_NoteListBase::IsInList(const Note* iNoteP) const
{
    const std::less<const Note*> isBefore;
    return !isBefore(iNoteP, mNotes.data()) && isBefore(iNoteP, mNotes.data() + mNotes.size());
}

Mdid_NoteListBase::const_iterator Mdid_NoteListBase::Erase(const_iterator iNote)
{
    if (!CMN_VERIFY(IsInList(std::to_address(iNote))))
        return end();
    AboutToEdit();
    // The copy of a note that is out, or has been, is not known.
    mAreLongNotesStale = mAreLongNotesStale || AreLongNotesBehind() || !iNote->IsNoteWithDurationExtendedEvent();
    if (iLongNoteListP && IsLong(*iNote))
        iLongNoteListP->EraseCopyOf(*iNote);
    mNumOut -= mNumOut > 0 && !iNote->IsNoteWithDurationExtendedEvent();
    ForgetPosition(static_cast<std::size_t>(iNote - begin()));
    const auto next = mNotes.erase(iNote);
    if (mNumOut == 0 && mIsOrderUncertain && !mNotes.empty())
    {
        // The next one is to stay where it is now; the next edit restores the order.
        MarkDirty(0);
        MarkDirty(mNotes.size() - 1);
    }
    else if (mAreLongNotesStale && !mIsDirty && mBorrowedWhileReading.empty())
        RegenerateLongNoteList();
    return next;
}

void Mdid_NoteListBase::EraseTimeRange(Time_Typed iStart, Time_Typed iEnd)
{
    CompleteReturns();
    const auto [first, last] = FindRange(iStart, iEnd);
    if (first == last)
        return;
    AboutToEdit();
    if (iLongNoteListP)
        iLongNoteListP->EraseTimeRange(iStart, iEnd);
    mNotes.erase(first, last);
}

void Mdid_NoteListBase::Erase(const Mdid_NoteListBase* iOther)
{
    if (!iOther)
        return;
    CompleteReturns();
    // The other one may come from a stream, or wait for notes.
    Notes sorted;
    if (iOther != this && !std::ranges::is_sorted(iOther->mNotes, PlaceLess))
    {
        sorted = iOther->mNotes;
        std::ranges::stable_sort(sorted, PlaceLess);
    }
    const Notes& others = sorted.empty() ? iOther->mNotes : sorted;
    const auto isInOther = [&](const Note& iNote)
    { return iOther == this || std::ranges::binary_search(others, iNote, PlaceLess); };
    const auto first = std::ranges::find_if(mNotes, isInOther);
    if (first == mNotes.end())
        return;
    AboutToEdit();
    mNotes.erase(std::remove_if(first, mNotes.end(), isInOther), mNotes.end());
    RegenerateLongNoteList();
}

void Mdid_NoteListBase::Merge(const Mdid_NoteListBase* iOther)
{
    if (!iOther || iOther->empty())
        return;
    CompleteReturns();
    Notes incoming = FilteredCopy(iOther->begin(), iOther->end());
    Mdid_SortIfNeeded(incoming, NoteLess());
    AboutToEdit();
    mIsOrderUncertain = mIsOrderUncertain || mNumOut > 0;
    const bool isMPE = mIsMPE || HavePerNoteControllers(incoming);
    const auto firstAffected =
        std::distance(mNotes.begin(), std::ranges::lower_bound(mNotes, incoming.front(), NoteLess()));
    const auto firstMerged =
        mNotes.insert(mNotes.end(), std::make_move_iterator(incoming.begin()), std::make_move_iterator(incoming.end()));
    std::inplace_merge(mNotes.begin() + firstAffected, firstMerged, mNotes.end(), NoteLess());
    mIsMPE = isMPE;
    MergeLongNotes(*iOther);
}

void Mdid_NoteListBase::MergeLongNotes(const Mdid_NoteListBase& iOther)
{
    const bool areAlikeLong = iLongNoteListP && iOther.iLongNoteListP && mLongNoteDuration == iOther.mLongNoteDuration;
    const bool isOthersListRight =
        !iOther.mIsDirty && iOther.mBorrowedWhileReading.empty() && !iOther.mAreLongNotesStale;
    if (areAlikeLong && isOthersListRight && !IsFiltering())
        EditLongNotes([&](Mdid_NoteListBase& ioLongNotes) { ioLongNotes.Merge(iOther.iLongNoteListP.Get()); });
    else
        RegenerateLongNoteList();
}

void Mdid_NoteListBase::CopyTimeRange(Mdid_NoteListBase* oCopyDestP, Time_Typed iStart, Time_Typed iEnd) const
{
    if (!CMN_VERIFY(oCopyDestP != nullptr))
        throw Cmn_AssertException("oCopyDestP != nullptr");
    if (oCopyDestP == this)
        oCopyDestP->CompleteReturns();
    const auto [first, last] = FindRange(iStart, iEnd);
    Notes notes = oCopyDestP->FilteredCopy(first, last);
    if (mIsDirty)
        Mdid_SortIfNeeded(notes, NoteLess());
    if (notes.empty() && oCopyDestP->empty() && !oCopyDestP->mIsMPE)
        return;
    oCopyDestP->AboutToEdit();
    oCopyDestP->ForgetReturns();
    oCopyDestP->mIsMPE = HavePerNoteControllers(notes);
    oCopyDestP->mNotes = std::move(notes);
    oCopyDestP->RegenerateLongNoteList();
}

void Mdid_NoteListBase::Clear()
{
    if (!empty() || mIsMPE)
        AboutToEdit();
    ForgetReturns();
    mNotes.clear();
    mIsMPE = false;
    EditLongNotes([](Mdid_NoteListBase& ioLongNotes) { ioLongNotes.Clear(); });
}

void Mdid_NoteListBase::OffsetTimes(Time_TypedLength iDelta)
{
    CompleteReturns();
    if (empty() || iDelta.AsInt64() == 0)
        return;
    AboutToEdit();
    for (Note& note : mNotes)
        note.SetTime(note.GetTime() + iDelta);
    Mdid_SortIfNeeded(mNotes, NoteLess());
    EditLongNotes([&](Mdid_NoteListBase& ioLongNotes) { ioLongNotes.OffsetTimes(iDelta); });
}

void Mdid_NoteListBase::OffsetStarts(Time_TypedLength iDelta)
{
    CompleteReturns();
    if (empty() || (iDelta.AsInt64() == 0 && !SnapsNow()))
        return;
    AboutToEdit();
    for (Note& note : mNotes)
    {
        const Time_Typed end = note.GetEndTime();
        note.SetTime(QuantizeTimeConditional(note.GetTime() + iDelta));
        note.GetNote().SetDuration(end - note.GetTime());
    }
    Mdid_SortIfNeeded(mNotes, NoteLess());
    RegenerateLongNoteList();
}

void Mdid_NoteListBase::OffsetDurations(Time_TypedLength iDelta)
{
    CompleteReturns();
    if (empty() || iDelta.AsInt64() == 0)
        return;
    AboutToEdit();
    for (Note& note : mNotes)
        note.GetNote().SetDuration(note.GetNote().GetDuration() + iDelta);
    Mdid_SortIfNeeded(mNotes, NoteLess());
    RegenerateLongNoteList();
}

void Mdid_NoteListBase::OffsetPitches(Time_TypedLength iDelta)
{
    CompleteReturns();
    // Kept: the sense is inverted and the size does not count.
    const bool isDown = iDelta.AsInt64() > 0;
    const auto isAtEnd = [isDown](const Note& iNote)
    { return isDown ? iNote.GetPitch() <= 0 : iNote.GetPitch() == 127; };
    if (empty() || std::ranges::any_of(mNotes, isAtEnd))
        return;
    AboutToEdit();
    for (Note& note : mNotes)
        note.GetNote().SetPitch(static_cast<signed char>(note.GetPitch() + (isDown ? -1 : 1)));
    EditLongNotes([&](Mdid_NoteListBase& ioLongNotes) { ioLongNotes.OffsetPitches(iDelta); });
}

bool operator==(const Mdid_NoteListBase& iA, const Mdid_NoteListBase& iB)
{
    return std::equal(iA.begin(), iA.end(), iB.begin(), iB.end());
}
