// Undo, and what leaves a note list for a while and comes back.

#include "Mdid/Mdid_NoteList.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Ndo_SavedVector.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"
#include "Mdid/Mdid_NoteOnKey_Private.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SortIfNeeded_Private.h"

#include <algorithm>
#include <bitset>
#include <functional>
#include <iterator>
#include <numeric>
#include <utility>

namespace
{

using Note = Mdid_NoteListBase::Note;

bool IsBorrowed(const Note& iNote)
{
    return iNote.GetEvent().GetType() == Mdid_Event::kNullEvent && !iNote.IsNoteWithDurationExtendedEvent();
}

// Beyond the note itself.
std::size_t SizeOfParts(const Note& iNote)
{
    std::size_t size = iNote.HasTrimExtension() ? sizeof(Mdid_TrimmedNoteExtension) : 0;
    if (!iNote.HasPerNoteControllers())
        return size;
    // Other notes may share it, so that this is an upper bound.
    size += sizeof(Mdid_PerNoteControllerList);
    for (const Mdid_PerNoteDataStream& lane : *iNote.GetPerNoteControllers())
        size += sizeof lane + lane.GetSegments().size() * sizeof(Mdid_ContinuousDataStreamCore::Segment);
    return size;
}

using LaneIndices = std::bitset<Mdie_SubStream::GetNumIndices()>;

std::size_t IndexOf(const Mdid_PerNoteDataStream& iLane)
{
    return static_cast<std::size_t>(iLane.GetSubStream().GetDataTypeIndex());
}

// Those whose index is among the seen ones; the others are seen then.
void DropEmptyLanes(Note& ioNote, LaneIndices& ioSeen)
{
    const auto isStandIn = [&](const Mdid_PerNoteDataStream& iLane)
    { return iLane.IsEmpty() && ioSeen[IndexOf(iLane)]; };
    if (std::ranges::any_of(*ioNote.GetPerNoteControllers(), isStandIn))
    {
        Mdid_PerNoteControllerList* const lanesP = ioNote.WritePerNoteControllers();
        if (lanesP == nullptr)
            return;
        for (auto lane = lanesP->begin(); lane != lanesP->end();)
            lane = isStandIn(*lane) ? lanesP->EraseStream(lane) : std::next(lane);
        if (lanesP->empty())
            return ioNote.ClearPerNoteControllers();
    }
    for (const Mdid_PerNoteDataStream& lane : *ioNote.GetPerNoteControllers())
        ioSeen.set(IndexOf(lane));
}

} // namespace

// Flags, notes, and the ids of the long-note list and the context, which have states of their own. The thresholds and
// the clip-edge function are for a list that was deleted.
class Mdid_NoteListBase::NdoState : public Ndo_State
{
public:
    explicit NdoState(const Mdid_NoteListBase& iList)
        : mMaker(iList.GetMaker()),
          mSnapToCoarseTicks(iList.mSnapToCoarseTicks),
          mIsMPE(iList.mIsMPE),
          mNotes(iList.mNotes),
          mLongNoteList(iList.iLongNoteListP.Get()),
          mAreLongNotesStale(iList.mAreLongNotesStale),
          mTrimmedNotesContext(iList.mTrimmedNotesContextP.Get()),
          mLongNoteDuration(iList.mLongNoteDuration),
          mClipEdgeFunctionP(iList.mClipEdgeFunctionP)
    {
    }

    std::unique_ptr<Ndo_Object> NdoRecreate() const override { return mMaker(); }

    std::size_t NdoGetSize() const override
    {
        std::size_t size = sizeof *this;
        for (const Note& note : mNotes.GetElements())
            size += sizeof note + SizeOfParts(note);
        return size;
    }

    void NdoShrink(const Ndo_Object& iObject) override
    {
        if (const auto* const listP = dynamic_cast<const Mdid_NoteListBase*>(&iObject))
            mNotes.Shrink(listP->mNotes, [](const Note& iA, const Note& iB) { return iA.IsIdenticalTo(iB); });
    }

    const Maker mMaker;
    const bool mSnapToCoarseTicks;
    const bool mIsMPE;
    Ndo_SavedVector<Note> mNotes;
    const Ndo_StateRef<Mdid_NoteListBase> mLongNoteList;
    const bool mAreLongNotesStale;
    const Ndo_StateRef<Mdid_NoteListTrimmedNotesContext> mTrimmedNotesContext;
    const std::array<Time_TypedLength, 3> mLongNoteDuration;
    const std::shared_ptr<const ClipEdgeFunction> mClipEdgeFunctionP;
};

std::unique_ptr<Ndo_State> Mdid_NoteListBase::NdoGetState() const
{
    return std::make_unique<NdoState>(*this);
}

void Mdid_NoteListBase::NdoRestoreState(Ndo_State* iStateP)
{
    const auto* const state = dynamic_cast<const NdoState*>(iStateP);
    if (!CMN_VERIFY(state != nullptr))
        return;
    ++mRevision;
    state->mNotes.RestoreInto(mNotes);
    ForgetReturns();
    // An assignment in between has brought other thresholds.
    mAreLongNotesStale = state->mAreLongNotesStale || mLongNoteDuration != state->mLongNoteDuration;
    mSnapToCoarseTicks = state->mSnapToCoarseTicks;
    mIsMPE = state->mIsMPE;
    if (NdoIsBeingRecreated())
    {
        mLongNoteDuration = state->mLongNoteDuration;
        mClipEdgeFunctionP = state->mClipEdgeFunctionP;
    }
    if (NdoIsUndoable())
        RestoreParts(*state);
    else
        RegenerateLongNoteList(); // its parts have no ids either, and stay
}

void Mdid_NoteListBase::RestoreParts(const NdoState& iState)
{
    iLongNoteListP.Restore(iState.mLongNoteList);
    mTrimmedNotesContextP.Restore(iState.mTrimmedNotesContext);
    if (mTrimmedNotesContextP)
        mTrimmedNotesContextP->UpdateList(*this);
}

Mdid_NoteListBase::Maker Mdid_NoteListBase::GetMaker() const
{
    return
        []() -> std::unique_ptr<Mdid_NoteListBase> { return std::make_unique<Mdid_NoteListBase>(kNotUndoable, false); };
}

Mdid_NoteListBase::Maker Mdid_NoteList::GetMaker() const
{
    return []() -> std::unique_ptr<Mdid_NoteListBase> { return std::make_unique<Mdid_NoteList>(kNotUndoable, false); };
}

Mdid_BorrowedElement Mdid_NoteListBase::Borrow(const Note& iNote)
{
    if (!CMN_VERIFY(IsInList(&iNote)))
        return {};
    AboutToEdit();
    const auto position = static_cast<std::size_t>(&iNote - mNotes.data());
    if (mReadingScopes > 0)
        mBorrowedWhileReading.push_back(position);
    ++mNumOut;
    return {std::move(mNotes[position]), position};
}

void Mdid_NoteListBase::Return(Mdid_BorrowedElement&& ioElement)
{
    mNoteOns.clear(); // this one may have become another
    ReturnToken(ioElement);
    CompleteBatch();
}

Mdid_BorrowedElement Mdid_NoteListBase::Borrow(const_iterator iNote)
{
    return CMN_VERIFY(IsInList(std::to_address(iNote))) ? Borrow(*iNote) : Mdid_BorrowedElement();
}

Mdid_BatchModifier<Mdid_NoteListBase> Mdid_NoteListBase::ModificationBatch()
{
    const auto returnElement = [this](Mdid_BorrowedElement& ioElement)
    {
        mNoteOns.clear();
        ReturnToken(ioElement);
    };
    return {returnElement, [this] { CompleteBatch(); }};
}

std::size_t Mdid_NoteListBase::FindBorrowedPlace(std::size_t iPosition) const
{
    if (iPosition < mNotes.size() && IsBorrowed(mNotes[iPosition]))
        return iPosition;
    if (iPosition == Mdid_BorrowedElement::kNoPosition)
        return iPosition;
    // An edit moves the places of all notes that are out by a little.
    const auto near = mNotes.begin() + static_cast<std::ptrdiff_t>(std::min(iPosition, mNotes.size()));
    auto place = std::find_if(near, mNotes.end(), IsBorrowed);
    if (place == mNotes.end())
        place = std::find_if(mNotes.begin(), near, IsBorrowed);
    const bool isThere = place != mNotes.end() && IsBorrowed(*place);
    return isThere ? static_cast<std::size_t>(place - mNotes.begin()) : Mdid_BorrowedElement::kNoPosition;
}

void Mdid_NoteListBase::ReturnToken(Mdid_BorrowedElement& ioElement)
{
    const std::size_t position = FindBorrowedPlace(ioElement.mPosition);
    if (!CMN_VERIFY(position != Mdid_BorrowedElement::kNoPosition))
        return;
    AboutToEdit();
    mIsMPE = mIsMPE || ioElement.mElement.HasPerNoteControllers();
    Note& note = mNotes[position];
    note = std::move(ioElement.mElement);
    ioElement.mPosition = Mdid_BorrowedElement::kNoPosition;
    mNumOut -= mNumOut > 0;
    // Mostly the one that was borrowed last.
    if (std::find(mBorrowedWhileReading.rbegin(), mBorrowedWhileReading.rend(), position) !=
        mBorrowedWhileReading.rend())
        return;

    note.SetTime(QuantizeTimeConditional(note.GetTime()));
    MarkDirty(position);
}

void Mdid_NoteListBase::MarkDirty(std::size_t iPosition)
{
    mLowestDirty = mIsDirty ? std::min(mLowestDirty, iPosition) : iPosition;
    mHighestDirty = mIsDirty ? std::max(mHighestDirty, iPosition) : iPosition;
    mIsDirty = true;
}

// By their positions, which are those of notes here; nothing is snapped, and nothing is out.
void Mdid_NoteListBase::ReplaceNotes(std::vector<Mdid_BorrowedElement> iNotes)
{
    if (iNotes.empty())
        return;
    AboutToEdit();
    for (Mdid_BorrowedElement& note : iNotes)
    {
        mNotes[note.mPosition] = std::move(note.mElement);
        MarkDirty(note.mPosition);
    }
    CompleteBatch();
}

void Mdid_NoteListBase::CompleteBatch()
{
    if (!mIsDirty)
        return;
    AboutToEdit();
    if (!mBorrowedWhileReading.empty())
    {
        SnapReturned();
        mLowestDirty = 0;
        mHighestDirty = mNotes.size() - 1;
    }
    mNoteOns.clear();
    MergeDirtyRange();
    mIsDirty = false;
    RegenerateLongNoteList();
}

void Mdid_NoteListBase::MergeDirtyRange()
{
    // The place of a note that is out is in order by its time alone.
    const bool isRestInOrder = mNumOut == 0 && !mIsOrderUncertain;
    mIsOrderUncertain = mNumOut > 0;
    if (!isRestInOrder)
        return Mdid_SortIfNeeded(mNotes, NoteLess());
    const auto first = mNotes.begin() + static_cast<std::ptrdiff_t>(mLowestDirty);
    const auto last = mNotes.begin() + static_cast<std::ptrdiff_t>(mHighestDirty) + 1;
    std::stable_sort(first, last, NoteLess());
    // What need not move costs a search.
    const auto firstMoved = std::upper_bound(mNotes.begin(), first, *first, NoteLess());
    std::inplace_merge(firstMoved, first, last, NoteLess());
    const auto lastMoved = std::lower_bound(last, mNotes.end(), *std::prev(last), NoteLess());
    std::inplace_merge(firstMoved, last, lastMoved, NoteLess());
}

// Whether that changed anything.
bool Mdid_NoteListBase::SnapReturned()
{
    bool hasMoved = false;
    for (const std::size_t position : mBorrowedWhileReading)
    {
        Note& note = mNotes[position];
        const Time_Typed time = QuantizeTimeConditional(note.GetTime());
        hasMoved = hasMoved || time != note.GetTime();
        note.SetTime(time);
    }
    mBorrowedWhileReading.clear();
    return hasMoved;
}

void Mdid_NoteListBase::CompleteReading()
{
    const std::vector<std::size_t> noteOns = std::exchange(mNoteOns, {});
    if (mBorrowedWhileReading.empty())
        return;
    AboutToEdit();
    DropStandIns(noteOns);
    if (SnapReturned() || !std::ranges::is_sorted(mNotes, {}, &Note::GetTime))
        std::ranges::stable_sort(mNotes, PlaceLess);
    RegenerateLongNoteList();
}

// Empty lanes stand for none where a note of the same note-on before them has one.
void Mdid_NoteListBase::DropStandIns(const std::vector<std::size_t>& iNoteOns)
{
    LaneIndices seen;
    for (std::size_t i = 0; i < iNoteOns.size(); ++i)
    {
        Note& note = mNotes[iNoteOns[i]];
        if (i > 0 && Mdid_NoteOnKey(mNotes[iNoteOns[i - 1]]) < Mdid_NoteOnKey(note))
            seen.reset();
        if (note.HasPerNoteControllers())
            DropEmptyLanes(note, seen);
    }
}

// Before every edit that moves notes: returned ones are known by their positions.
void Mdid_NoteListBase::CompleteReturns()
{
    CompleteBatch();
    CompleteReading();
    if (mAreLongNotesStale)
        RegenerateLongNoteList();
}

// The note there goes, and those behind it move up.
void Mdid_NoteListBase::ForgetPosition(std::size_t iPosition)
{
    mNoteOns.clear();
    std::erase(mBorrowedWhileReading, iPosition);
    for (std::size_t& position : mBorrowedWhileReading)
        position -= position > iPosition;
    if (!mIsDirty || iPosition > mHighestDirty)
        return;
    mIsDirty = mLowestDirty != mHighestDirty || iPosition != mLowestDirty;
    mLowestDirty -= iPosition < mLowestDirty;
    mHighestDirty -= mIsDirty;
}

// All notes have been replaced.
void Mdid_NoteListBase::ForgetReturns()
{
    mNumOut = 0;
    mIsOrderUncertain = false;
    mIsDirty = false;
    mBorrowedWhileReading.clear();
    mNoteOns.clear();
    mAreLongNotesStale = false;
}

void Mdid_NoteListBase::IndexNoteOns()
{
    mNoteOns.resize(mNotes.size());
    std::iota(mNoteOns.begin(), mNoteOns.end(), std::size_t{0});
    std::ranges::stable_sort(mNoteOns, std::less<Mdid_NoteOnKey>(),
                             [this](std::size_t i) { return Mdid_NoteOnKey(mNotes[i]); });
}

// The notes of one key that have the lane already are the last ones, each of which was found before.
const Mdid_NoteListBase::Note* Mdid_NoteListBase::FindIndexedNote(const Mdie_TimedEvent& iNoteOn, Time_EType iKind,
                                                                  const Mdie_SubStream& iLane) const
{
    Mdid_NoteOnKey key(iNoteOn);
    key.mKind = iKind;
    const auto keyOf = [this](std::size_t i) { return Mdid_NoteOnKey(mNotes[i]); };
    const auto first = std::ranges::lower_bound(mNoteOns, key, std::less<Mdid_NoteOnKey>(), keyOf);
    const auto last = std::ranges::upper_bound(first, mNoteOns.end(), key, std::less<Mdid_NoteOnKey>(), keyOf);
    const auto end = std::partition_point(first, last, [&](std::size_t i) { return !Mdid_HasLane(mNotes[i], iLane); });
    return end == first ? nullptr : &mNotes[*std::prev(end)];
}

const Mdid_NoteListBase::Note* Mdid_NoteListBase::FindNoteForLane(const Mdie_TimedEvent& iNoteOn,
                                                                  const Mdie_SubStream& iLane)
{
    if (mReadingScopes > 0)
    {
        if (mNoteOns.empty())
            IndexNoteOns();
        const Time_EType ownKind = iNoteOn.GetTime().GetType();
        const Note* noteP = FindIndexedNote(iNoteOn, ownKind, iLane);
        for (const Time_EType kind : kTime_AllKinds)
            noteP = noteP || kind == ownKind ? noteP : FindIndexedNote(iNoteOn, kind, iLane);
        return noteP;
    }
    const Mdid_NoteOnKey key(iNoteOn);
    const auto firstOfTime = LowerBound(iNoteOn.GetTime());
    const auto lastOfTime = std::ranges::upper_bound(firstOfTime, end(), iNoteOn.GetTime(), {}, &Note::GetTime);
    const auto first = std::make_reverse_iterator(lastOfTime);
    const auto last = std::make_reverse_iterator(firstOfTime);
    const auto isFree = [&](const Note& iNote) { return key.IsOf(iNote) && !Mdid_HasLane(iNote, iLane); };
    auto found = std::find_if(first, last,
                              [&](const Note& iNote)
                              { return isFree(iNote) && iNote.GetTime().GetType() == iNoteOn.GetTime().GetType(); });
    if (found == last)
        found = std::find_if(first, last, isFree);
    return found == last ? nullptr : &*found;
}

Mdid_NoteListBase::ReadingScope::ReadingScope(Mdid_NoteListBase& ioList) : mList(ioList)
{
    if (!std::ranges::is_sorted(mList.mNotes, {}, &Note::GetTime))
    {
        // A damaged stream gives such a list. Lanes would miss their notes in it.
        mList.AboutToEdit();
        std::ranges::stable_sort(mList.mNotes, {}, &Note::GetTime);
        mList.RegenerateLongNoteList();
    }
    ++mList.mReadingScopes;
}

void Mdid_NoteListBase::ReadingScope::Complete()
{
    if (std::exchange(mIsOpen, false) && --mList.mReadingScopes == 0)
        mList.CompleteReading();
}

Mdid_NoteListBase::ReadingScope::~ReadingScope()
{
    try
    {
        Complete();
    }
    catch (...)
    {
        // Without memory for the long notes the next edit of the list completes what is missing.
        return;
    }
}
