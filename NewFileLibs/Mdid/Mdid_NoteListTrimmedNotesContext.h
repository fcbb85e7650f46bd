#pragma once

#include "MFnd/Ndo_Object.h"
#include "MFnd/Ndo_Pointers.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdid_TrimmedNotesContext.h"

#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

// What a clip trims off the notes of a list: a note that sounds across an edge of the clip is cut there and remembers
// how much (Mdid_TrimmedNoteExtension), stamped with the clip's identity, so that widening the clip gives it back.
//
// Owned by its list, which filters every note that enters through it; undoable like the list. A saved state holds the
// two identities and the id of the list. What a note remembers is the list's matter, and saved with it.
// The clip's notes are those stamped with its identity, or with the one that it had before; others are foreign, and
// are left as they are until they enter a list again. Notes without extension are everyone's.
//
// Edits save undo state before their first change, and only if there is one, unless they say otherwise; they leave the
// notes in order, and are linear when they change any. Times of any kind: a note is cut in its own kinds, to the
// nearest unit, and not at all where nothing of it would remain. std::bad_alloc leaves every note as it was; when it
// comes while the list collects the long notes, all are changed, and the list's next edit collects them.
// Threads: one at a time; nothing is locked.
class MDID_EXPORT Mdid_NoteListTrimmedNotesContext : public Ndo_Object, public Mdid_TrimmedNotesContext
{
public:
    using Note = Mdid_NoteWithDurationExtendedEvent;
    class TrimmedNotesViewIter;
    class TrimmedNotesViewRange;

    // What the templates take: one side, or both.
    template <int kSide>
    static constexpr bool kIsOneSide = kSide == kHead || kSide == kTail;
    template <int kSide>
    static constexpr bool kIsSide = kIsOneSide<kSide> || kSide == kBoth;

    // Of the null identity, which filters nothing, and without clip-edge function. The list must outlive it.
    Mdid_NoteListTrimmedNotesContext(Mdid_NoteListBase& ioList, EUndoFlag iUndoFlag);

    // A copy serves the same list until UpdateList, and is not undoable. Assignment keeps the target's list. A
    // moved-from context is of the null identity, without clip-edge function.
    Mdid_NoteListTrimmedNotesContext(const Mdid_NoteListTrimmedNotesContext& iOther);
    Mdid_NoteListTrimmedNotesContext(Mdid_NoteListTrimmedNotesContext&& ioOther) noexcept;
    Mdid_NoteListTrimmedNotesContext& operator=(const Mdid_NoteListTrimmedNotesContext& iOther);
    Mdid_NoteListTrimmedNotesContext& operator=(Mdid_NoteListTrimmedNotesContext&& ioOther) noexcept;
    ~Mdid_NoteListTrimmedNotesContext() override;

    // The list has moved, or been made again.
    void UpdateList(Mdid_NoteListBase& ioList)
    {
        mNoteList = &ioList;
        mNoteListRef = Ndo_StateRef<Mdid_NoteListBase>(&ioList);
    }

    // Takes over the identities of the other context, undoably; stamps no notes. Null is no context.
    void ReplaceData(const Mdid_NoteListTrimmedNotesContext* iOther);

    const Sys_UUID& GetClipUUID() const { return mClipUUID; }

    // The present identity becomes the previous one; notes that were the clip's are stamped anew. Always saves undo
    // state of the context, and of the list when there is a note to stamp.
    void SetClipUUID(const Sys_UUID& iClipUUID);

    // Where the clip's edges are, for filtering; kept by the list. None: filtering asks for no edges. An empty function
    // makes it throw boost::bad_function_call. Not undoable. It must not edit the list.
    void SetClipEdgeFunction(std::optional<ClipEdgeFunction> iClipEdgeFunction);

    Sys_UUID GetUUID() const override { return mClipUUID; }
    bool MatchesContext(const Note& iNote) const override;

    // With the null identity nothing. Otherwise what a foreign clip trimmed off is forgotten, and, where the edges are
    // known, what was trimmed off at a side that does not lie at the clip's edge (in the note's own kind of time, or
    // where the list snaps the edge to). What the clip-edge function throws passes through; the note is then as it was.
    void FilterNote(Note& ioNote) const override;
    [[nodiscard]] Note FilterNote(const Note& iNote) const; // a filtered copy

    // Whether something is trimmed off some note, by whatever clip. Linear.
    bool ListHasTrimmedNotes() const;

    // Forgets all that this clip trimmed off; the notes stay as they are.
    void ResetAllUntrimmedDeltas();

    // The list's notes as they would be if this clip had trimmed nothing off them, without extensions, in list order;
    // copies, made one by one. Valid until the list changes.
    TrimmedNotesViewRange TrimmedNotesView() const;

    // Cuts the notes that sound across a time (snapped like the list's times): kHead takes away what is before it, and
    // kTail what is behind it. A time at the start or the end of a note leaves it as it is. What another clip cut off
    // a note becomes this one's.
    template <int kSide>
    void TrimOverlappingNotes(Time_Typed iTime) requires kIsOneSide<kSide>
    {
        Trim(Side(kSide), iTime);
    }

    // Gives back what this clip cut off, at one side or at both, of the notes that sound at the time (snapped, and one
    // unit long), or in [iStart, iEnd).
    // Kept: after kTail has been cut at a time, the note does not sound there; one unit before it does.
    template <int kSide>
    void UntrimOverlappingNotes(Time_Typed iTime) requires kIsSide<kSide>
    {
        Untrim(Side(kSide), UnitAt(iTime));
    }
    template <int kSide>
    void UntrimOverlappingNotesInRange(Time_Typed iStart, Time_Typed iEnd) requires kIsSide<kSide>
    {
        Untrim(Side(kSide), {iStart, iEnd});
    }

    // Forgets what this clip cut off of these notes, which stay as they are.
    template <int kSide>
    void ResetUntrimmedDeltasOnOverlappingNotes(Time_Typed iTime) requires kIsSide<kSide>
    {
        Reset(Side(kSide), UnitAt(iTime));
    }
    template <int kSide>
    void ResetUntrimmedDeltasOnOverlappingNotesInRange(Time_Typed iStart, Time_Typed iEnd) requires kIsSide<kSide>
    {
        Reset(Side(kSide), {iStart, iEnd});
    }

    std::unique_ptr<Ndo_State> NdoGetState() const override;
    void NdoRestoreState(Ndo_State* iStateP) override;

private:
    friend class Mdid_NoteListBase;
    class NdoState;

    struct ReCreate
    {
    };
    explicit Mdid_NoteListTrimmedNotesContext(ReCreate);

    using TimeRange = std::pair<Time_Typed, Time_Typed>;
    using EditedNotes = std::vector<Mdid_BorrowedElement>; // copies, and where their notes stand

    void Trim(Side iSide, Time_Typed iTime);
    void Untrim(Side iSide, TimeRange iRange);
    void Reset(Side iSide, TimeRange iRange);
    TimeRange UnitAt(Time_Typed iTime) const;
    bool IsAtEdge(const Note& iNote, Side iSide, const ClipEdgeFunction& iFunction) const;

    // Those of the notes for which the edit returns that it has changed them.
    template <class Notes, class Edit>
    EditedNotes EditCopies(const Notes& iNotes, Edit iEdit) const;
    template <class Edit>
    void EditNotesInRange(TimeRange iRange, Edit iEdit);

    Mdid_NoteListBase* mNoteList = nullptr;       // null only while undo makes the context again
    Ndo_StateRef<Mdid_NoteListBase> mNoteListRef; // a list that is deleted with its context has lost its id by then
    Sys_UUID mClipUUID;
    Sys_UUID mPreviousClipUUID;
};

class MDID_EXPORT Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewIter
{
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag; // its elements are made on the way
    using difference_type = std::ptrdiff_t;
    using value_type = Note;
    using pointer = void;
    using reference = Note;

    TrimmedNotesViewIter() = default;
    TrimmedNotesViewIter(const Mdid_NoteListTrimmedNotesContext& iContext, Mdid_NoteListBase::const_iterator iNote)
        : mContextP(&iContext),
          mNote(iNote)
    {
    }

    Note operator*() const; // throws std::bad_alloc
    TrimmedNotesViewIter& operator++()
    {
        ++mNote;
        return *this;
    }
    TrimmedNotesViewIter operator++(int) { return {*mContextP, mNote++}; }

    // The note itself.
    Mdid_NoteListBase::const_iterator GetUnderlyingIter() const { return mNote; }

    bool operator==(const TrimmedNotesViewIter& iOther) const { return mNote == iOther.mNote; }

private:
    const Mdid_NoteListTrimmedNotesContext* mContextP = nullptr;
    Mdid_NoteListBase::const_iterator mNote{};
};

class MDID_EXPORT Mdid_NoteListTrimmedNotesContext::TrimmedNotesViewRange
{
public:
    explicit TrimmedNotesViewRange(const Mdid_NoteListTrimmedNotesContext& iContext) : mContextP(&iContext) {}

    TrimmedNotesViewIter begin() const;
    TrimmedNotesViewIter end() const;
    bool empty() const { return begin() == end(); }

private:
    const Mdid_NoteListTrimmedNotesContext* mContextP;
};
