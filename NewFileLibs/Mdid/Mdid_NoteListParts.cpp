// Copies and moves of note lists, and the parts that a list owns: the list of its long notes, and the trimmed-notes
// context.

#include "Mdid/Mdid_NoteList.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdid_LongNoteIndex_Private.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"
#include "Mdid/Mdid_SortIfNeeded_Private.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace
{

using Note = Mdid_NoteListBase::Note;

bool AreIdentical(const Note& iA, const Note& iB)
{
    return iA.IsIdenticalTo(iB);
}

// A part that is registered stays where it is: its contents move. Without memory there is none.
template <class Part, class Make>
void TakePart(Ndo_AutoPtr<Part>& ioOwn, Ndo_AutoPtr<Part>& ioOthers, bool iIsAnyUndoable, Make iMake) noexcept
{
    if (!ioOthers || !iIsAnyUndoable)
    {
        ioOwn.Reset(ioOthers.Release());
        return;
    }
    try
    {
        if (!ioOwn)
            ioOwn = iMake();
        *ioOwn = std::move(*ioOthers);
    }
    catch (...)
    {
        ioOwn.Reset();
    }
    ioOthers.Reset();
}

} // namespace

Mdid_NoteListBase::Mdid_NoteListBase(EUndoFlag iUndoFlag, bool iSnapToCoarseTicks)
    : Ndo_Object(iUndoFlag),
      mSnapToCoarseTicks(iSnapToCoarseTicks)
{
}

Mdid_NoteListBase::Mdid_NoteListBase(const Mdid_NoteListBase& iOther)
    : Ndo_Object(iOther),
      mSnapToCoarseTicks(iOther.mSnapToCoarseTicks),
      mIsMPE(iOther.mIsMPE),
      mNotes(iOther.mNotes),
      mLongNoteDuration(iOther.mLongNoteDuration),
      mClipEdgeFunctionP(iOther.mClipEdgeFunctionP),
      mNumOut(iOther.mNumOut),
      mIsOrderUncertain(iOther.mIsOrderUncertain),
      mIsDirty(iOther.mIsDirty),
      mLowestDirty(iOther.mLowestDirty),
      mHighestDirty(iOther.mHighestDirty),
      mBorrowedWhileReading(iOther.mBorrowedWhileReading),
      mAreLongNotesStale(iOther.mAreLongNotesStale)
{
    if (iOther.iLongNoteListP)
        iLongNoteListP.Reset(new Mdid_NoteListBase(*iOther.iLongNoteListP));
    if (iOther.mTrimmedNotesContextP)
    {
        mTrimmedNotesContextP.Reset(new Mdid_NoteListTrimmedNotesContext(*iOther.mTrimmedNotesContextP));
        mTrimmedNotesContextP->UpdateList(*this);
    }
    CompleteReturns();
}

Mdid_NoteListBase::Mdid_NoteListBase(Mdid_NoteListBase&& ioOther) noexcept
    : Ndo_Object(kNotUndoable),
      mSnapToCoarseTicks(ioOther.mSnapToCoarseTicks)
{
    *this = std::move(ioOther);
}

Mdid_NoteListBase& Mdid_NoteListBase::operator=(const Mdid_NoteListBase& iOther)
{
    if (this == &iOther)
        return *this;
    Mdid_NoteListBase copy(iOther);
    AboutToTakeParts(copy);
    Ndo_AutoPtr<Mdid_NoteListBase> longNoteListP;
    if (copy.iLongNoteListP && !iLongNoteListP)
        longNoteListP = MakeLongNoteList();
    if (copy.mTrimmedNotesContextP && !mTrimmedNotesContextP)
        mTrimmedNotesContextP = MakeTrimmedNotesContext();
    if (longNoteListP)
        iLongNoteListP = std::move(longNoteListP);
    return *this = std::move(copy);
}

Mdid_NoteListBase& Mdid_NoteListBase::operator=(Mdid_NoteListBase&& ioOther) noexcept
{
    if (this == &ioOther)
        return *this;
    bool hasSavedState = true;
    try
    {
        AboutToTakeParts(ioOther);
        ioOther.AboutToTakeParts(Mdid_NoteListBase(kNotUndoable, false));
    }
    catch (...)
    {
        hasSavedState = false;
    }
    CMN_VERIFY(hasSavedState); // parts that come or go could not be undone
    NdoChangesWithoutState();
    ioOther.NdoChangesWithoutState();
    ++mRevision;
    ++ioOther.mRevision;
    mSnapToCoarseTicks = ioOther.mSnapToCoarseTicks;
    mIsMPE = std::exchange(ioOther.mIsMPE, false);
    mNotes = std::exchange(ioOther.mNotes, {});
    mLongNoteDuration = ioOther.mLongNoteDuration;
    mNumOut = ioOther.mNumOut;
    mIsOrderUncertain = ioOther.mIsOrderUncertain;
    mIsDirty = ioOther.mIsDirty;
    mLowestDirty = ioOther.mLowestDirty;
    mHighestDirty = ioOther.mHighestDirty;
    mBorrowedWhileReading = std::exchange(ioOther.mBorrowedWhileReading, {});
    mNoteOns.clear();
    mAreLongNotesStale = ioOther.mAreLongNotesStale;
    ioOther.ForgetReturns();
    TakeParts(ioOther);
    return *this;
}

void Mdid_NoteListBase::TakeParts(Mdid_NoteListBase& ioOther) noexcept
{
    const bool isAnyUndoable = NdoIsUndoable() || ioOther.NdoIsUndoable();
    TakePart(iLongNoteListP, ioOther.iLongNoteListP, isAnyUndoable, [this] { return MakeLongNoteList(); });
    TakePart(mTrimmedNotesContextP, ioOther.mTrimmedNotesContextP, isAnyUndoable,
             [this] { return MakeTrimmedNotesContext(); });
    if (mTrimmedNotesContextP)
        mTrimmedNotesContextP->UpdateList(*this);
    mClipEdgeFunctionP = std::exchange(ioOther.mClipEdgeFunctionP, nullptr);
}

// Parts that are made or deleted in a step are the history's: it has to know that they were attached, and what they
// held.
void Mdid_NoteListBase::AboutToTakeParts(const Mdid_NoteListBase& iOther)
{
    if (!iLongNoteListP != !iOther.iLongNoteListP || !mTrimmedNotesContextP != !iOther.mTrimmedNotesContextP)
    {
        NdoAboutToModify();
        if (iLongNoteListP)
            iLongNoteListP->NdoAboutToModify();
        if (mTrimmedNotesContextP)
            mTrimmedNotesContextP->NdoAboutToModify();
    }
}

Ndo_AutoPtr<Mdid_NoteListBase> Mdid_NoteListBase::MakeLongNoteList() const
{
    return Ndo_AutoPtr<Mdid_NoteListBase>(new Mdid_NoteListBase(GetUndoFlag(), mSnapToCoarseTicks));
}

Ndo_AutoPtr<Mdid_NoteListTrimmedNotesContext> Mdid_NoteListBase::MakeTrimmedNotesContext()
{
    return Ndo_AutoPtr<Mdid_NoteListTrimmedNotesContext>(new Mdid_NoteListTrimmedNotesContext(*this, GetUndoFlag()));
}

Mdid_NoteListBase::~Mdid_NoteListBase() = default;

void Mdid_NoteListBase::RecreateTrimmedNotesContext()
{
    if (mTrimmedNotesContextP)
        return;
    auto contextP = MakeTrimmedNotesContext();
    NdoAboutToModify();
    mTrimmedNotesContextP = std::move(contextP);
}

void Mdid_NoteListBase::SetClip(const Sys_UUID& iClipUUID)
{
    RecreateTrimmedNotesContext();
    if (mTrimmedNotesContextP->GetClipUUID() != iClipUUID)
        mTrimmedNotesContextP->SetClipUUID(iClipUUID);
}

void Mdid_NoteListBase::SetClip(const Sys_UUID& iClipUUID, ClipEdgeFunction iClipEdgeFunction)
{
    auto functionP = std::make_shared<const ClipEdgeFunction>(std::move(iClipEdgeFunction));
    SetClip(iClipUUID);
    mClipEdgeFunctionP = std::move(functionP);
}

void Mdid_NoteListBase::SetLongNoteDuration(Time_TypedLength iLength)
{
    mLongNoteDuration[static_cast<std::size_t>(iLength.GetType())] = iLength;
}

void Mdid_NoteListBase::SetLongNoteList(Ndo_AutoPtr<Mdid_NoteListBase> iLongNoteListP, Time_TickLength iTickLength,
                                        Time_SampleLength iSampleLength)
{
    if (!CMN_VERIFY(iLongNoteListP.Get() == nullptr || this->NdoIsUndoable() == iLongNoteListP->NdoIsUndoable()))
        throw Cmn_AssertException("a long-note list that is not undoable like its owner");
    if (iLongNoteListP.Get() != this->iLongNoteListP.Get())
        AboutToEdit();
    this->iLongNoteListP.Reset(iLongNoteListP.Release());
    SetLongNoteDuration(iTickLength);
    SetLongNoteDuration(iSampleLength);
}

Mdid_NoteListBase::Notes Mdid_NoteListBase::CopyLongNotes() const
{
    Notes notes;
    std::ranges::copy_if(mNotes, std::back_inserter(notes), [this](const Note& iNote) { return IsLong(iNote); });
    return notes;
}

void Mdid_NoteListBase::RegenerateLongNoteList()
{
    ++mRevision; // listeners may have asked for notes in between
    if (!iLongNoteListP)
        return;
    mAreLongNotesStale = true;
    Mdid_NoteListBase& list = *iLongNoteListP;
    Notes notes = CopyLongNotes();
    Mdid_SortIfNeeded(notes, PlaceLess);
    const bool isMPE = std::ranges::any_of(notes, &Note::HasPerNoteControllers);
    if (list.mIsMPE != isMPE || !std::ranges::equal(list.mNotes, notes, AreIdentical))
    {
        list.AboutToEdit();
        list.mIsMPE = isMPE;
        list.mNotes = std::move(notes);
        list.RegenerateLongNoteList();
    }
    mAreLongNotesStale = false;
}

// Whether they may miss what has come back, or lag behind an edit that ran out of memory.
bool Mdid_NoteListBase::AreLongNotesBehind() const
{
    return iLongNoteListP && (mIsDirty || !mBorrowedWhileReading.empty() || mAreLongNotesStale);
}

bool Mdid_NoteListBase::CheckInvariants() const
{
    if (!std::ranges::is_sorted(mNotes, PlaceLess))
        return false;
    if (!iLongNoteListP)
        return true;
    return iLongNoteListP->CheckInvariants() &&
           std::ranges::is_permutation(CopyLongNotes(), iLongNoteListP->mNotes, AreIdentical);
}
