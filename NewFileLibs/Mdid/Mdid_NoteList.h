#pragma once

#include "CFnd/Cmn_RefCountObject.h"
#include "MFnd/Ndo_Object.h"
#include "MFnd/Ndo_Pointers.h"
#include "MFnd/Time_FixedKind.h"
#include "Mdid/Mdid_ExtendedEvent.h"
#include "Mdid/Mdid_TrimmedNotesContext.h"

#include <boost/function.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <utility>
#include <vector>

class Cmn_XMLNode;
class Mdid_ContinuousDataStream;
class Mdid_Chunk;
class Mdid_ContinuousDataStreamList;
class Mdid_NoteListTrimmedNotesContext;
class Mdie_SubStream;

// A note taken out of its list for editing, and where it belongs. Goes back through Return or a batch, within the step
// in which it was taken out.
struct Mdid_BorrowedElement
{
    static constexpr std::size_t kNoPosition = static_cast<std::size_t>(-1);

    Mdid_NoteWithDurationExtendedEvent mElement;
    std::size_t mPosition = kNoPosition;
};

// Many borrowed notes edited and returned with one sort at the end. Must not outlive its list.
//
//     auto batch = list.ModificationBatch();
//     for (...)
//     {
//         Mdid_BorrowedElement note = list.Borrow(list[i]);
//         note.mElement.SetIsMuted(true);
//         batch.Return(std::move(note));
//     }
//     batch.Complete();
template <class List>
class Mdid_BatchModifier
{
public:
    using ReturnFunction = boost::function<void(Mdid_BorrowedElement&)>;
    using CompleteFunction = boost::function<void()>;

    Mdid_BatchModifier(ReturnFunction iReturn, CompleteFunction iComplete)
        : mReturn(std::move(iReturn)),
          mComplete(std::move(iComplete))
    {
    }
    Mdid_BatchModifier(Mdid_BatchModifier&& ioOther) noexcept
    {
        mReturn.swap(ioOther.mReturn);
        mComplete.swap(ioOther.mComplete);
    }
    Mdid_BatchModifier& operator=(Mdid_BatchModifier&&) = delete;
    ~Mdid_BatchModifier()
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

    void Return(Mdid_BorrowedElement&& ioElement) { mReturn(ioElement); }

    // The list is in order again. The destructor calls it too, but cannot say that memory ran out.
    void Complete()
    {
        if (mComplete)
            mComplete();
    }

private:
    ReturnFunction mReturn;
    CompleteFunction mComplete;
};

// The notes of one chunk, sorted by NoteCompare; equal ones stay in the order in which they came.
//
// Optionally it keeps a second list of the long notes, so that a query need not look back further than the threshold,
// and a trimmed-notes context that filters every note that enters. Undo: a saved state holds flags, thresholds, all
// notes, and the ids of the other two, which are undoable on their own. Every edit saves undo state before its first
// change, and only if there is one (OffsetStarts, CopyTimeRange and ReplaceData do not look for the last note).
// Thresholds are no matter of undo: a state brings them back only with a list that was deleted. Ranges are half-open,
// and empty when they end before they start. Searches are binary. std::bad_alloc leaves the notes in order; when it
// comes while the long ones are collected, the next edit does that. Threads: one at a time; nothing is locked.
class MDID_EXPORT Mdid_NoteListBase : public Ndo_Object
{
public:
    using Note = Mdid_NoteWithDurationExtendedEvent;
    using const_iterator = std::vector<Note>::const_iterator;

    using ClipEdgeFunction = Mdid_TrimmedNotesContext::ClipEdgeFunction;

    // Mdid_NoteListIterators.h
    class NotesInRangeIter;
    class SustainingNoteIter;
    class SustainingNoteRange;
    class OverlappingNotesInRangeIter;
    class OverlappingNotesInRangeRange;
    class NotesExtendedEventInRangeIter;

    // iSnapToCoarseTicks: when tick times matter, OffsetStarts and returned notes go to the coarse tick grid.
    Mdid_NoteListBase(EUndoFlag iUndoFlag, bool iSnapToCoarseTicks);

    // A copy has a long-note list and a trimmed-notes context of its own, undoable like itself. A moved-from list is
    // empty and has neither. Without memory for parts of its own, a list moved from an undoable one (or to one) does
    // without them: slower, and what was trimmed off its notes is not saved. Assignment saves undo state only when the
    // list gains or loses such a part; the identity of a context that both have is not undone.
    Mdid_NoteListBase(const Mdid_NoteListBase& iOther);
    Mdid_NoteListBase(Mdid_NoteListBase&& ioOther) noexcept;
    Mdid_NoteListBase& operator=(const Mdid_NoteListBase& iOther);
    Mdid_NoteListBase& operator=(Mdid_NoteListBase&& ioOther) noexcept;
    ~Mdid_NoteListBase() override;

    std::size_t Size() const { return mNotes.size(); }
    bool empty() const { return mNotes.empty(); }
    const Note& operator[](std::size_t iIndex) const { return mNotes[iIndex]; }
    const Note& at(std::size_t iIndex) const { return mNotes.at(iIndex); } // throws std::out_of_range
    const Note& Last() const { return mNotes.back(); }
    const_iterator begin() const { return mNotes.begin(); }
    const_iterator end() const { return mNotes.end(); }

    // Only when not empty. The release times are those of the first and the last note, not the earliest and latest.
    Time_Typed AttackTimeOfFirstNote() const { return mNotes.front().GetTime(); }
    Time_Typed AttackTimeOfLastNote() const { return mNotes.back().GetTime(); }
    Time_Typed ReleaseTimeOfFirstNote() const { return mNotes.front().GetEndTime(); }
    Time_Typed ReleaseTimeOfLastNote() const { return mNotes.back().GetEndTime(); }

    // Lowers ioTime to the start of the first note, if that is earlier.
    void EarliestTime(Time_Typed& ioTime) const;

    // Whether a note-on of the same time, channel, pitch and on velocity is here. Type 3 only.
    bool IsNoteInList(const Mdie_TimedEvent& iEvent) const;

    // Sets ioInUse[c] for every controller c (1 to 119) of a per-note lane; ioInUse: 120 bools.
    void FindPerNoteControllersInUse(bool* ioInUse) const;

    // The earliest and the last end of a note strictly inside (iStart, iEnd), otherwise iEnd or iStart. Linear.
    Time_Typed GetEarliestReleaseTimeForNotesInRange(Time_Typed iStart, Time_Typed iEnd) const;
    Time_Typed GetLastReleaseTimeForNotesInRange(Time_Typed iStart, Time_Typed iEnd) const;

    // The latest end of the notes that start before iEnd, from as far back as the long-note threshold reaches, or
    // iStart. Kept: of the long notes, only those that start at or after iStart are asked.
    Time_Typed GetLatestReleaseTimeForNotesInRange(Time_Typed iStart, Time_Typed iEnd) const;

    // True once a note with per-note controllers came in. Not saved: reading such notes sets it again.
    bool IsMPE() const { return mIsMPE; }
    void SetIsMPE(bool iIsMPE);

    // On the coarse tick grid, when the list snaps and tick times matter.
    Time_Typed QuantizeTimeConditional(const Time_Typed& iTime) const;

    // The notes that sound in [iStart, iEnd): those that start before it and end behind iStart, and those that start in
    // it; and the notes that sound at a time: that start before it and end behind it. In list order.
    // Both find longer notes than the long-note threshold only through a long-note list, of which the first query after
    // an edit builds an index: O(n) once, and throws std::bad_alloc.
    OverlappingNotesInRangeRange GetOverlappingNotesInRange(Time_Typed iStart, Time_Typed iEnd) const;
    SustainingNoteRange GetSustainingNotes(Time_Typed iTime) const;

    // What clips trim off the notes. Null when there is none: a list gets one by SetClip, from a list that it is copied
    // from, or when it reads notes that are trimmed. Owned by the list.
    Mdid_NoteListTrimmedNotesContext* GetTrimmedNotesContext() { return mTrimmedNotesContextP.Get(); }
    const Mdid_NoteListTrimmedNotesContext* GetTrimmedNotesContext() const { return mTrimmedNotesContextP.Get(); }

    // The clip that the notes are in: makes the trimmed-notes context if there is none, undoably, and sets its identity
    // as SetClipUUID does, unless it is the same. The function, where it is given, says where the edges are, and must
    // not edit the list; an empty one makes filtering throw boost::bad_function_call. It is no matter of undo: the list
    // keeps it, also for contexts that undo or a stream makes.
    void SetClip(const Sys_UUID& iClipUUID);
    void SetClip(const Sys_UUID& iClipUUID, ClipEdgeFunction iClipEdgeFunction);

    // Null when there is none.
    const Mdid_NoteListBase* GetLongNoteList() const { return iLongNoteListP.Get(); }
    Time_TypedLength GetLongNoteDuration(Time_EType iKind) const;

    // Takes over the contents of the other list, undoably: notes, as they are, flags, and the identities of its
    // trimmed-notes context if it has one. The thresholds stay, and the long-note list is remade by them when there is
    // one. Null is no list.
    void ReplaceData(const Mdid_NoteListBase* iOther);

    // Behind the notes that compare equal. At the end costs constant time. Returns where it is. Strong guarantee.
    const_iterator AddNote(Note iNote);
    void Reserve(std::size_t iCount) { mNotes.reserve(iCount); }

    // Removes the first note-on of the same time, channel, pitch and on velocity; duration and off velocity may differ.
    // Only types 3 and 22.
    void EraseNote(const Mdie_TimedEvent& iEvent);
    void EraseTimeRange(Time_Typed iStart, Time_Typed iEnd);

    // Removes this very note, or what holds the place of one that is out. Returns where the next one is. A position
    // that is not of this list (or is its end) is reported, and the end returned.
    const_iterator Erase(const_iterator iNote);

    // Removes every note whose start and event equal those of a note of the other list, which may be this one. Two
    // pitch-to-MIDI notes of one time count as equal.
    void Erase(const Mdid_NoteListBase* iOther);

    // Adds copies of the other list's notes, behind equal ones that are here. The other may be this list. Linear.
    void Merge(const Mdid_NoteListBase* iOther);

    // Clears the destination, undoably, and copies the notes that start in the range into it; it may be this list.
    // Null is reported and thrown as Cmn_AssertException.
    void CopyTimeRange(Mdid_NoteListBase* oCopyDestP, Time_Typed iStart, Time_Typed iEnd) const;
    void Clear();

    // Shifts all starts, all starts with the ends kept, or all durations. What is in order stays so.
    void OffsetTimes(Time_TypedLength iDelta);
    // Snaps. Durations come to be in the kind of the time, and may be left at 0 or less.
    void OffsetStarts(Time_TypedLength iDelta);
    void OffsetDurations(Time_TypedLength iDelta);

    // Kept: moves every pitch by one step whatever the size of the delta: down when it is above 0, otherwise up; and
    // no pitch at all when one of them is at the end (0, 127) already.
    void OffsetPitches(Time_TypedLength iDelta);

    // The threshold for durations of this kind: a note of exactly this length is long.
    // Kept: does not sort out anew which notes are long.
    void SetLongNoteDuration(Time_TypedLength iLength);

    // Takes a note of this list out for editing, and saves undo state. Until it is returned, a null event without
    // extension holds its place and time. A note that is not of this list is reported, and cannot be returned.
    Mdid_BorrowedElement Borrow(const Note& iNote);
    Mdid_BorrowedElement Borrow(const_iterator iNote);

    // Puts it back, its start snapped, and restores the order. Linear. When its place has moved since, any other that
    // waits for a note will do; when none does (the list was cleared or restored), it is reported and dropped.
    void Return(Mdid_BorrowedElement&& ioElement);
    Mdid_BatchModifier<Mdid_NoteListBase> ModificationBatch();

    // The note that a saved per-note lane belongs to: one with the time, channel, pitch and on velocity of iNoteOn that
    // has no lane of this key yet; of several one whose time is of the same kind, and of these the last, because the
    // lanes of equal note-ons are saved in the reverse order of their notes. Null when there is none. Type 3 only.
    // Logarithmic inside of a ReadingScope, which is indexed at the first call; otherwise linear in the notes of one
    // time.
    const Note* FindNoteForLane(const Mdie_TimedEvent& iNoteOn, const Mdie_SubStream& iLane);

    // Notes that are out of time order are sorted at first. While it lives, returned notes stay where they are, so that
    // all lanes of a chunk that is being read find their notes by the times that they were saved with. At the end of
    // the outermost one, or before another edit, the notes are snapped and put in order by their times; those of one
    // time stay in the order of the stream. Returning takes no memory meanwhile.
    class ReadingScope
    {
    public:
        MDID_EXPORT explicit ReadingScope(Mdid_NoteListBase& ioList);
        MDID_EXPORT ~ReadingScope();

        // The end, at which the long notes take memory. The destructor calls it too, but cannot say that it ran out.
        MDID_EXPORT void Complete();

        ReadingScope(const ReadingScope&) = delete;
        ReadingScope& operator=(const ReadingScope&) = delete;

    private:
        Mdid_NoteListBase& mList;
        bool mIsOpen = true;
    };

    // Writes the notes. What comes back is not quite the same: pitch-to-MIDI notes (22) as type 3 without their
    // fractional pitch, durations below 1 as 1,000 ticks or 1 of another kind; source stamps, thresholds, and what was
    // trimmed off notes of a list without context do not come back. With "AllowMPE", adds a temporary lane for each
    // per-note lane to ioLanes (and an empty one for a note without it behind an equal note-on with it), made with undo
    // flag 0 and of stream type 4, to be written with the chunk's lanes and deleted by the caller (NdoDelete). When an
    // exception leaves, ioLanes is as it was. Afterwards posts Mdid_N10n_MIDISerializingTrimmedNotes, if there are any.
    void StreamOut(Sys_TypedOutStream& ioStream, Mdid_ContinuousDataStreamList& ioLanes) const;

    // Replaces the notes, in the order of the stream. Throws Sys_StreamException, std::runtime_error with message 100
    // for a negative count or a time of no known kind, and what a clip-edge function throws; the list then holds what
    // was read before.
    // Posts Mdid_N10n_MIDIZeroOnVelocitiesFound for every note with an on velocity of 0; it is kept.
    void StreamIn(Sys_TypedInStream& ioStream);

    Cmn_AliasedRefCountPtr<Cmn_XMLNode> GetAsXML() const;

    // To the trace, or to a stream; times in thousands of ticks.
    void PrintList() const;
    void PrintList(std::ostream& ioStream) const;

    std::unique_ptr<Ndo_State> NdoGetState() const override;
    void NdoRestoreState(Ndo_State* iStateP) override;

    // The order of the notes (by time and event: the rest is up to the stream that they came from, and so are the
    // events of a time in which it had durations below 1) and the contents of the long-note list, for tests and
    // debugging. Linear when all is well.
    bool CheckInvariants() const;

protected:
    friend class Mdid_Chunk; // attaches the list of long notes
    friend class Mdid_NoteListTrimmedNotesContext;

    // Takes ownership; the list must be undoable exactly when this one is, otherwise it is reported and thrown as
    // Cmn_AssertException, and nothing changes. Does not sort out the long notes.
    void SetLongNoteList(Ndo_AutoPtr<Mdid_NoteListBase> iLongNoteListP, Time_TickLength iTickLength,
                         Time_SampleLength iSampleLength);

    // Makes a trimmed-notes context of the null identity when the list has none, undoable like the list.
    void RecreateTrimmedNotesContext();

    // Makes a default list of this class with undo flag 0: saved states recreate deleted lists by it.
    using Maker = std::unique_ptr<Mdid_NoteListBase> (*)();
    virtual Maker GetMaker() const;

private:
    class NdoState;
    class LongNoteIndex;

    using Notes = std::vector<Note>;
    using Lanes = std::vector<Ndo_unique_ptr<Mdid_ContinuousDataStream>>;

    // NoteCompare, with the times first, where they decide without a call.
    struct NoteLess
    {
        bool operator()(const Note& iA, const Note& iB) const
        {
            return iA.GetTime() != iB.GetTime() ? iA.GetTime() < iB.GetTime() : Note::NoteCompare(iA, iB);
        }
    };

    // The order without what a stream does not know: the place of the per-note controllers and the muted flag.
    static bool PlaceLess(const Note& iA, const Note& iB);

    // By time alone.
    const_iterator LowerBound(Time_Typed iTime) const;
    std::pair<const_iterator, const_iterator> FindRange(Time_Typed iStart, Time_Typed iEnd) const;
    const_iterator FindNote(const Mdie_TimedEvent& iEvent) const;
    bool IsInList(const Note* iNoteP) const;
    bool IsLong(const Note& iNote) const;
    bool SnapsNow() const;
    bool IsFiltering() const;
    Notes FilteredCopy(const_iterator iFirst, const_iterator iLast) const;
    void EraseCopyOf(const Note& iNote);
    void MergeLongNotes(const Mdid_NoteListBase& iOther);

    EUndoFlag GetUndoFlag() const { return NdoIsUndoable() ? kUndoable : kNotUndoable; }

    // Before every change of the notes: saves undo state, and ends the validity of what was derived from them.
    void AboutToEdit()
    {
        NdoAboutToModify();
        ++mRevision;
    }

    // An edit that both lists undergo: when the second one fails, the long notes are collected anew later.
    template <class Edit>
    void EditLongNotes(Edit iEdit)
    {
        if (!iLongNoteListP)
            return;
        mAreLongNotesStale = true;
        iEdit(*iLongNoteListP);
        mAreLongNotesStale = false;
    }

    Notes CopyLongNotes() const;
    void RegenerateLongNoteList();
    Ndo_AutoPtr<Mdid_NoteListBase> MakeLongNoteList() const;
    Ndo_AutoPtr<Mdid_NoteListTrimmedNotesContext> MakeTrimmedNotesContext();
    void TakeParts(Mdid_NoteListBase& ioOther) noexcept;
    const LongNoteIndex& GetLongNoteIndex() const;

    std::size_t FindBorrowedPlace(std::size_t iPosition) const;
    friend class Mdid_ContinuousDataStream; // gives notes their lanes: ReturnToken, CompleteBatch
    void ReturnToken(Mdid_BorrowedElement& ioElement);
    void CompleteBatch();
    void CompleteReading();
    void DropStandIns(const std::vector<std::size_t>& iNoteOns);
    bool SnapReturned();
    void MarkDirty(std::size_t iPosition);
    void MergeDirtyRange();
    void ForgetPosition(std::size_t iPosition);
    void ReplaceNotes(std::vector<Mdid_BorrowedElement> iNotes);
    void AboutToTakeParts(const Mdid_NoteListBase& iOther);
    bool AreLongNotesBehind() const;
    void IndexNoteOns();
    const Note* FindIndexedNote(const Mdie_TimedEvent& iNoteOn, Time_EType iKind, const Mdie_SubStream& iLane) const;
    void CompleteReturns();
    void ForgetReturns();

    void RestoreParts(const NdoState& iState);

    Lanes MakeLanes() const;
    void StreamOutNotes(Sys_TypedOutStream& ioStream) const;
    void StreamOutLanes(Mdid_ContinuousDataStreamList& ioLanes) const;
    void StreamInSections(Sys_TypedInStream& ioStream);
    void StreamInNotes(Sys_TypedInStream& ioStream, bool iHasDeltas);
    bool StreamInOriginals(Sys_TypedInStream& ioStream);
    void StreamInFlags(Sys_TypedInStream& ioStream);
    void SetTrimmedOff(Note& ioNote, const Mdid_TrimmedNoteExtension& iExtension);

    // Undo state has been saved.
    void SetSnapToCoarseTicks(bool iSnap);

    bool mSnapToCoarseTicks;
    bool mIsMPE = false;
    Notes mNotes;
    Ndo_AutoPtr<Mdid_NoteListBase> iLongNoteListP;     // the names of these two are those that assertions report
    std::array<Time_TypedLength, 3> mLongNoteDuration; // by kind of time
    Ndo_AutoPtr<Mdid_NoteListTrimmedNotesContext> mTrimmedNotesContextP;
    std::shared_ptr<const ClipEdgeFunction> mClipEdgeFunctionP; // null: not set

    std::uint64_t mRevision = 0;                            // counts edits
    mutable std::unique_ptr<LongNoteIndex> mLongNoteIndexP; // of some revision

    // Returned notes that wait for their place: [mLowestDirty, mHighestDirty].
    // They were merged when others were still out, whose places are not in order.
    std::size_t mNumOut = 0;
    bool mIsOrderUncertain = false;
    bool mIsDirty = false;
    std::size_t mLowestDirty = 0;
    std::size_t mHighestDirty = 0;

    int mReadingScopes = 0;
    std::vector<std::size_t> mBorrowedWhileReading; // not snapped yet; with repetitions
    std::vector<std::size_t> mNoteOns;              // positions by note-on, in a reading scope; empty: not indexed

    bool mAreLongNotesStale = false; // memory ran out while they were collected
};

MDID_EXPORT bool operator==(const Mdid_NoteListBase& iA, const Mdid_NoteListBase& iB); // note by note

// The note list of a chunk.
class MDID_EXPORT Mdid_NoteList : public Mdid_NoteListBase
{
public:
    using Mdid_NoteListBase::Mdid_NoteListBase;

protected:
    Maker GetMaker() const override;
};
