#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_NoteListIterators.h"

#include <algorithm>
#include <ranges>

static_assert(std::ranges::forward_range<Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewRange>);

namespace
{

using Note = Mdid_NoteListTrimmedNotesContext::Note;
using enum Mdid_TrimmedNotesContext::Side;

bool LiesAt(const Note& iNote, Mdid_TrimmedNotesContext::Side iSide, Time_Typed iEdge)
{
    if (iSide == kHead)
        return iNote.GetTime() == Time_Convert::ToType(iEdge, iNote.GetTime().GetType());
    const Time_EType kind = iNote.GetDuration().GetType();
    const Time_Typed start = Time_Convert::ToType(iNote.GetTime(), kind);
    return iNote.GetEndTime() == iEdge || start + iNote.GetDuration() == Time_Convert::ToType(iEdge, kind);
}

bool UntrimSide(Note& ioNote, Mdid_TrimmedNotesContext::Side iSide, const Mdid_TrimmedNotesContext& iContext)
{
    const bool hasChanged = iSide != kTail && ioNote.UntrimHead(&iContext);
    return (iSide != kHead && ioNote.UntrimTail(&iContext)) || hasChanged;
}

bool ResetSide(Note& ioNote, Mdid_TrimmedNotesContext::Side iSide, const Mdid_TrimmedNotesContext& iContext)
{
    const bool hasChanged = iSide != kTail && ioNote.ForgetHead(&iContext);
    return (iSide != kHead && ioNote.ForgetTail(&iContext)) || hasChanged;
}

} // namespace

Mdid_NoteListTrimmedNotesContext::Mdid_NoteListTrimmedNotesContext(Mdid_NoteListBase& ioList, EUndoFlag iUndoFlag)
    : Ndo_Object(iUndoFlag),
      mNoteList(&ioList),
      mNoteListRef(&ioList)
{
}

Mdid_NoteListTrimmedNotesContext::Mdid_NoteListTrimmedNotesContext(ReCreate) : Ndo_Object(kNotUndoable) {}

Mdid_NoteListTrimmedNotesContext::Mdid_NoteListTrimmedNotesContext(const Mdid_NoteListTrimmedNotesContext&) = default;

Mdid_NoteListTrimmedNotesContext::Mdid_NoteListTrimmedNotesContext(Mdid_NoteListTrimmedNotesContext&& ioOther) noexcept
    : Ndo_Object(kNotUndoable),
      mNoteList(ioOther.mNoteList),
      mNoteListRef(ioOther.mNoteListRef)
{
    *this = std::move(ioOther);
}

Mdid_NoteListTrimmedNotesContext&
Mdid_NoteListTrimmedNotesContext::operator=(const Mdid_NoteListTrimmedNotesContext& iOther)
{
    if (this == &iOther)
        return *this;
    Ndo_Object::operator=(iOther);
    mClipUUID = iOther.mClipUUID;
    mPreviousClipUUID = iOther.mPreviousClipUUID;
    return *this;
}

Mdid_NoteListTrimmedNotesContext&
Mdid_NoteListTrimmedNotesContext::operator=(Mdid_NoteListTrimmedNotesContext&& ioOther) noexcept
{
    if (this == &ioOther)
        return *this;
    NdoChangesWithoutState();
    ioOther.NdoChangesWithoutState();
    mClipUUID = std::exchange(ioOther.mClipUUID, {});
    mPreviousClipUUID = std::exchange(ioOther.mPreviousClipUUID, {});
    return *this;
}

Mdid_NoteListTrimmedNotesContext::~Mdid_NoteListTrimmedNotesContext() = default;

void Mdid_NoteListTrimmedNotesContext::ReplaceData(const Mdid_NoteListTrimmedNotesContext* iOther)
{
    if (!iOther || (mClipUUID == iOther->mClipUUID && mPreviousClipUUID == iOther->mPreviousClipUUID))
        return;
    NdoAboutToModify();
    mClipUUID = iOther->mClipUUID;
    mPreviousClipUUID = iOther->mPreviousClipUUID;
}

void Mdid_NoteListTrimmedNotesContext::SetClipUUID(const Sys_UUID& iClipUUID)
{
    if (!mNoteList)
        return;
    const Sys_UUID clipUUID = iClipUUID; // which may be our own
    const auto stamp = [&](Note& ioNote)
    {
        Mdid_TrimmedNoteExtension* const extensionP = ioNote.GetTrimExtension();
        if (extensionP == nullptr || !MatchesContext(ioNote) || extensionP->mClipUUID == clipUUID)
            return false;
        extensionP->mClipUUID = clipUUID;
        return true;
    };
    mNoteList->CompleteReturns();
    EditedNotes edited = EditCopies(*mNoteList, stamp);
    NdoAboutToModify();
    if (!edited.empty())
        mNoteList->AboutToEdit(); // nothing that is left to do fails before the notes are stamped
    mPreviousClipUUID = std::exchange(mClipUUID, clipUUID);
    mNoteList->ReplaceNotes(std::move(edited));
}

void Mdid_NoteListTrimmedNotesContext::SetClipEdgeFunction(std::optional<ClipEdgeFunction> iClipEdgeFunction)
{
    if (!mNoteList)
        return;
    mNoteList->mClipEdgeFunctionP =
        iClipEdgeFunction ? std::make_shared<const ClipEdgeFunction>(std::move(*iClipEdgeFunction)) : nullptr;
}

bool Mdid_NoteListTrimmedNotesContext::MatchesContext(const Note& iNote) const
{
    const Mdid_TrimmedNoteExtension* const extensionP = iNote.GetTrimExtension();
    return extensionP == nullptr || extensionP->mClipUUID == mClipUUID || extensionP->mClipUUID == mPreviousClipUUID;
}

void Mdid_NoteListTrimmedNotesContext::FilterNote(Note& ioNote) const
{
    if (FilterNoteIsNoOp() || !ioNote.HasTrimExtension())
        return;
    if (!MatchesContext(ioNote))
    {
        ioNote.ForgetHead(nullptr);
        return ioNote.ClearTrimExtension();
    }
    // It stays while it runs, should it set another one.
    const auto functionP = mNoteList ? mNoteList->mClipEdgeFunctionP : nullptr;
    if (!functionP)
        return;
    const bool isLeftDropped =
        ioNote.GetTrimExtension()->mLeftUntrimmedDelta != 0 && !IsAtEdge(ioNote, kHead, *functionP);
    const bool isRightDropped =
        ioNote.GetTrimExtension()->mRightUntrimmedDelta != 0 && !IsAtEdge(ioNote, kTail, *functionP);
    if (isLeftDropped)
        ioNote.ForgetHead(nullptr);
    if (isRightDropped)
        ioNote.ForgetTail(nullptr);
}

// Trimming snaps the time that it is given.
bool Mdid_NoteListTrimmedNotesContext::IsAtEdge(const Note& iNote, Side iSide, const ClipEdgeFunction& iFunction) const
{
    const Time_Typed edge = iFunction(mClipUUID, iSide);
    return LiesAt(iNote, iSide, edge) || LiesAt(iNote, iSide, mNoteList->QuantizeTimeConditional(edge));
}

Note Mdid_NoteListTrimmedNotesContext::FilterNote(const Note& iNote) const
{
    Note note(iNote);
    FilterNote(note);
    return note;
}

bool Mdid_NoteListTrimmedNotesContext::ListHasTrimmedNotes() const
{
    return mNoteList && std::ranges::any_of(*mNoteList, [](const Note& iNote)
                                            { return iNote.HasTrimExtension() && !iNote.GetTrimExtension()->Empty(); });
}

void Mdid_NoteListTrimmedNotesContext::ResetAllUntrimmedDeltas()
{
    if (!mNoteList)
        return;
    mNoteList->CompleteReturns();
    mNoteList->ReplaceNotes(EditCopies(*mNoteList, [this](Note& ioNote) { return ResetSide(ioNote, kBoth, *this); }));
}

Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewRange Mdid_NoteListTrimmedNotesContext::TrimmedNotesView() const
{
    return TrimmedNotesViewRange(*this);
}

void Mdid_NoteListTrimmedNotesContext::Trim(Side iSide, Time_Typed iTime)
{
    const TimeRange range = UnitAt(iTime);
    const auto cut = [&](Note& ioNote)
    {
        const bool isCut =
            iSide == kHead ? ioNote.TrimHead(range.first, nullptr) : ioNote.TrimTail(range.first, nullptr);
        if (isCut)
            AttachContextToNote(ioNote);
        return isCut;
    };
    EditNotesInRange(range, cut);
}

void Mdid_NoteListTrimmedNotesContext::Untrim(Side iSide, TimeRange iRange)
{
    EditNotesInRange(iRange, [&](Note& ioNote) { return UntrimSide(ioNote, iSide, *this); });
}

void Mdid_NoteListTrimmedNotesContext::Reset(Side iSide, TimeRange iRange)
{
    EditNotesInRange(iRange, [&](Note& ioNote) { return ResetSide(ioNote, iSide, *this); });
}

Mdid_NoteListTrimmedNotesContext::TimeRange Mdid_NoteListTrimmedNotesContext::UnitAt(Time_Typed iTime) const
{
    const Time_Typed start = mNoteList ? mNoteList->QuantizeTimeConditional(iTime) : iTime;
    return {start, start + Time_TypedLength(1, start.GetType())};
}

template <class Notes, class Edit>
Mdid_NoteListTrimmedNotesContext::EditedNotes Mdid_NoteListTrimmedNotesContext::EditCopies(const Notes& iNotes,
                                                                                           Edit iEdit) const
{
    EditedNotes edited;
    for (const Note& note : iNotes)
    {
        Note copy(note);
        if (iEdit(copy))
            edited.push_back({std::move(copy), static_cast<std::size_t>(&note - &(*mNoteList)[0])});
    }
    return edited;
}

template <class Edit>
void Mdid_NoteListTrimmedNotesContext::EditNotesInRange(TimeRange iRange, Edit iEdit)
{
    if (!mNoteList || mNoteList->empty())
        return;
    mNoteList->CompleteReturns();
    mNoteList->ReplaceNotes(EditCopies(mNoteList->GetOverlappingNotesInRange(iRange.first, iRange.second), iEdit));
}

class Mdid_NoteListTrimmedNotesContext::NdoState : public Ndo_State
{
public:
    explicit NdoState(const Mdid_NoteListTrimmedNotesContext& iContext)
        : mNoteList(iContext.mNoteListRef),
          mClipUUID(iContext.mClipUUID),
          mPreviousClipUUID(iContext.mPreviousClipUUID)
    {
    }

    std::unique_ptr<Ndo_Object> NdoRecreate() const override
    {
        return std::unique_ptr<Ndo_Object>(new Mdid_NoteListTrimmedNotesContext(ReCreate()));
    }

    std::size_t NdoGetSize() const override { return sizeof *this; }

    const Ndo_StateRef<Mdid_NoteListBase> mNoteList;
    const Sys_UUID mClipUUID;
    const Sys_UUID mPreviousClipUUID;
};

std::unique_ptr<Ndo_State> Mdid_NoteListTrimmedNotesContext::NdoGetState() const
{
    return std::make_unique<NdoState>(*this);
}

void Mdid_NoteListTrimmedNotesContext::NdoRestoreState(Ndo_State* iStateP)
{
    const auto* const state = dynamic_cast<const NdoState*>(iStateP);
    if (!CMN_VERIFY(state && state->mNoteList.Get() != nullptr))
        return;
    UpdateList(*state->mNoteList.Get());
    mClipUUID = state->mClipUUID;
    mPreviousClipUUID = state->mPreviousClipUUID;
}

Note Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewIter::operator*() const
{
    Note note(*mNote);
    UntrimSide(note, kBoth, *mContextP);
    note.ClearTrimExtension();
    return note;
}

Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewIter
Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewRange::begin() const
{
    return mContextP->mNoteList ? TrimmedNotesViewIter(*mContextP, mContextP->mNoteList->begin())
                                : TrimmedNotesViewIter();
}

Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewIter
Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewRange::end() const
{
    return mContextP->mNoteList ? TrimmedNotesViewIter(*mContextP, mContextP->mNoteList->end())
                                : TrimmedNotesViewIter();
}
