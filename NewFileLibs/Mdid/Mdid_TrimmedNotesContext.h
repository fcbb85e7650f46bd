#pragma once

#include "CFnd/Sys_UUID.h"
#include "MFnd/Time_Typed.h"
#include "Mdid/Mdid_Export.h"

#include <boost/function.hpp>

#include <cstdint>

class Mdid_NoteWithDurationExtendedEvent;

// How much a clip's edges cut off a note, so that widening the clip gives it back. Owned by its note, copied with it.
struct Mdid_TrimmedNoteExtension
{
    // In the kind of the note's original duration.
    std::int64_t mLeftUntrimmedDelta = 0;  // 0 or negative: untrimmed start = start + delta
    std::int64_t mRightUntrimmedDelta = 0; // untrimmed end = end + delta
    Sys_UUID mClipUUID;                    // of the clip whose edge cut it

    bool Empty() const { return mLeftUntrimmedDelta == 0 && mRightUntrimmedDelta == 0; }
    bool operator==(const Mdid_TrimmedNoteExtension&) const = default;
};

// Who may see and change what was trimmed off a note: the clip that trimmed it.
class MDID_EXPORT Mdid_TrimmedNotesContext
{
public:
    // Of a note: its start or its end. The numbers are those that templates take as their side.
    enum Side : int
    {
        kHead = 0,
        kTail = 1,
        kBoth = 2
    };

    // Where the clip of this identity begins (kHead) or ends (kTail); it is not asked for kBoth.
    using ClipEdgeFunction = boost::function<Time_Typed(const Sys_UUID&, Side)>;

    virtual ~Mdid_TrimmedNotesContext();

    // A note without extension matches.
    virtual bool MatchesContext(const Mdid_NoteWithDurationExtendedEvent& iNote) const = 0;

    // What becomes of a note that enters the context's list.
    virtual void FilterNote(Mdid_NoteWithDurationExtendedEvent& ioNote) const = 0;

    virtual Sys_UUID GetUUID() const = 0;

    // Whether filtering leaves every note as it is.
    bool FilterNoteIsNoOp() const { return GetUUID().IsNull(); }

    // Stamps the note's extension, if it has one, with this context's identity, or with none.
    void AttachContextToNote(Mdid_NoteWithDurationExtendedEvent& ioNote) const;
    void DetachContextFromNote(Mdid_NoteWithDurationExtendedEvent& ioNote) const;

protected:
    Mdid_TrimmedNotesContext() = default;
    Mdid_TrimmedNotesContext(const Mdid_TrimmedNotesContext&) = default;
    Mdid_TrimmedNotesContext& operator=(const Mdid_TrimmedNotesContext&) = default;
};

// For notes outside of any list: it matches every note, filters nothing, and stamps with the null identity.
class MDID_EXPORT Mdid_TrimmedNotesNoContext : public Mdid_TrimmedNotesContext
{
public:
    bool MatchesContext(const Mdid_NoteWithDurationExtendedEvent& iNote) const override;
    void FilterNote(Mdid_NoteWithDurationExtendedEvent& ioNote) const override;
    Sys_UUID GetUUID() const override { return {}; }
};
