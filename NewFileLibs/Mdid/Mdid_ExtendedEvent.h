#pragma once

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_TrimmedNotesContext.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <memory>
#include <utility>

class Mdid_NoteWithDurationExtendedEvent;
class Mdid_PerNoteControllerList;

// A timed event that may carry an extension. The one kind of extension makes it a note with its editing history
// (Mdid_NoteWithDurationExtendedEvent), which adds accessors, never data: both are stored side by side.
//
// 88 bytes. A copy shares the long sysex block and the per-note controllers of the original, and has a trim extension
// of its own: the only case in which a copy takes memory. A move never does; it leaves a null event without extension.
class MDID_EXPORT Mdid_ExtendedEvent : public Mdie_TimedEvent
{
public:
    enum EExtensionType : unsigned char
    {
        kNoExtension = 0,
        kNoteWithDurationExtEvent = 1
    };

    // Time zero, null event, no extension.
    Mdid_ExtendedEvent() = default;
    Mdid_ExtendedEvent(Time_Typed iTime, Mdid_Event iEvent) : Mdie_TimedEvent(iTime, std::move(iEvent)) {}
    explicit Mdid_ExtendedEvent(const Mdie_TimedEvent& iTimedEvent) : Mdie_TimedEvent(iTimedEvent) {}

    Mdid_ExtendedEvent(const Mdid_ExtendedEvent&) = default;
    Mdid_ExtendedEvent(Mdid_ExtendedEvent&&) noexcept = default;
    Mdid_ExtendedEvent& operator=(const Mdid_ExtendedEvent& iOther)
    {
        Extension extension(iOther.mU); // the one thing that may fail
        Mdie_TimedEvent::operator=(iOther);
        mU = std::move(extension);
        return *this;
    }
    Mdid_ExtendedEvent& operator=(Mdid_ExtendedEvent&&) noexcept = default;
    ~Mdid_ExtendedEvent() = default;

    EExtensionType GetExtensionType() const { return mU.mBase.mType; }
    bool IsNoteWithDurationExtendedEvent() const { return mU.mBase.mType == kNoteWithDurationExtEvent; }

    // The event seen as a note; only when IsNoteWithDurationExtendedEvent().
    const Mdid_NoteWithDurationExtendedEvent& AsNote() const;
    Mdid_NoteWithDurationExtendedEvent& AsNote();

    // Null when there are none.
    bool HasPerNoteControllers() const { return mU.mPerNoteControllersP != nullptr; }
    const Mdid_PerNoteControllerList* GetPerNoteControllers() const { return mU.mPerNoteControllersP; }

    // The list for writing: a copy of its own when others share it, so that theirs stay as they are. Null, reported,
    // without "AllowMPE", without note extension or without a list. Throws std::bad_alloc.
    Mdid_PerNoteControllerList* WritePerNoteControllers();

    // Makes an empty list, when "AllowMPE" is on, the event is a note and there is none yet. Throws std::bad_alloc.
    void SetPerNoteControllers();
    void ClearPerNoteControllers();

    // Null when there is none; the event owns it.
    bool HasTrimExtension() const { return mU.mTrimExtensionP != nullptr; }
    const Mdid_TrimmedNoteExtension* GetTrimExtension() const { return mU.mTrimExtensionP.get(); }
    Mdid_TrimmedNoteExtension* GetTrimExtension() { return mU.mTrimExtensionP.get(); }
    // Only notes take one. Throws std::bad_alloc.
    void SetTrimExtension(const Mdid_TrimmedNoteExtension& iExtension);
    void ClearTrimExtension() { mU.mTrimExtensionP.reset(); }
    void ClearTrimExtensionIfEmpty();

    // Nothing at all tells the two apart, but that they may have equal trim extensions at two places. Stricter than ==.
    bool IsIdenticalTo(const Mdid_ExtendedEvent& iOther) const
    {
        return Mdie_TimedEvent::IsIdenticalTo(iOther) && mU.IsIdenticalTo(iOther.mU);
    }

protected:
    struct Base
    {
        EExtensionType mType = kNoExtension;
        bool mMuted = false;
        signed char mOriginalPitch = 0;
        signed char mOriginalOnVelocity = 0;
        signed char mOriginalOffVelocity = 0;

        bool operator==(const Base&) const = default;
    };

    // All zero without extension.
    struct MDID_EXPORT Extension
    {
        Base mBase;
        Time_TypedLength mQuantizeTimeDelta;
        Time_TypedLength mOriginalDuration;
        Mdid_PerNoteControllerList* mPerNoteControllersP = nullptr; // one reference is ours
        std::unique_ptr<Mdid_TrimmedNoteExtension> mTrimExtensionP;

        Extension() = default;
        Extension(const Extension& iOther)
            : mBase(iOther.mBase),
              mQuantizeTimeDelta(iOther.mQuantizeTimeDelta),
              mOriginalDuration(iOther.mOriginalDuration)
        {
            if (iOther.mTrimExtensionP) [[unlikely]]
                TrimmedNoteExtensionConstruct(iOther);
            if (iOther.mPerNoteControllersP) [[unlikely]]
                PerNoteControllersCopyConstruct(iOther);
        }
        Extension(Extension&& ioOther) noexcept
            : mBase(std::exchange(ioOther.mBase, {})),
              mQuantizeTimeDelta(std::exchange(ioOther.mQuantizeTimeDelta, {})),
              mOriginalDuration(std::exchange(ioOther.mOriginalDuration, {})),
              mPerNoteControllersP(std::exchange(ioOther.mPerNoteControllersP, nullptr)),
              mTrimExtensionP(std::move(ioOther.mTrimExtensionP))
        {
        }
        Extension& operator=(const Extension&) = delete;
        Extension& operator=(Extension&& ioOther) noexcept
        {
            if (this == &ioOther)
                return *this;
            if (mPerNoteControllersP) [[unlikely]]
                PerNoteControllersDestruct();
            mBase = std::exchange(ioOther.mBase, {});
            mQuantizeTimeDelta = std::exchange(ioOther.mQuantizeTimeDelta, {});
            mOriginalDuration = std::exchange(ioOther.mOriginalDuration, {});
            mPerNoteControllersP = std::exchange(ioOther.mPerNoteControllersP, nullptr);
            mTrimExtensionP = std::move(ioOther.mTrimExtensionP);
            return *this;
        }
        ~Extension()
        {
            if (mPerNoteControllersP) [[unlikely]]
                PerNoteControllersDestruct();
        }

        bool IsIdenticalTo(const Extension& iOther) const
        {
            return mBase == iOther.mBase &&
                   mQuantizeTimeDelta.GetPacked().GetRaw() == iOther.mQuantizeTimeDelta.GetPacked().GetRaw() &&
                   mOriginalDuration.GetPacked().GetRaw() == iOther.mOriginalDuration.GetPacked().GetRaw() &&
                   mPerNoteControllersP == iOther.mPerNoteControllersP &&
                   (mTrimExtensionP == iOther.mTrimExtensionP ||
                    (mTrimExtensionP && iOther.mTrimExtensionP && *mTrimExtensionP == *iOther.mTrimExtensionP));
        }

        void TrimmedNoteExtensionConstruct(const Extension& iOther);
        void PerNoteControllersCopyConstruct(const Extension& iOther);
        void PerNoteControllersDestruct();
    } mU;
};

static_assert(sizeof(Mdid_ExtendedEvent) == 88);

// A note: start, pitch, velocities and duration as they are now, what they were when it was performed, whether it is
// muted, how far quantizing moved it, its expression, and what a clip's edge cut off.
class MDID_EXPORT Mdid_NoteWithDurationExtendedEvent : public Mdid_ExtendedEvent
{
public:
    // A note at time zero with every number 0, which only assignment makes useful.
    Mdid_NoteWithDurationExtendedEvent();

    // The originals are those of iEvent; quantize delta 0 in the kind of the time.
    Mdid_NoteWithDurationExtendedEvent(Time_Typed iStart, const Mdid_NoteWithDurationBase& iEvent, bool iMuted);

    // The originals are those of iOriginal.
    Mdid_NoteWithDurationExtendedEvent(Time_Typed iStart, const Mdid_NoteWithDurationBase& iEvent, bool iMuted,
                                       Time_TypedLength iQuantizeTimeDelta, const Mdid_NoteWithDurationBase& iOriginal);

    // Time, event and source stamp from a timed note; the originals are the event's, or 0 when it is no note (types 3
    // and 22); unmuted, quantize delta 0 in the kind of the time.
    explicit Mdid_NoteWithDurationExtendedEvent(const Mdie_TimedEvent& iNote);

    const Mdid_NoteWithDurationBase& GetNote() const { return GetEvent().As<Mdid_NoteWithDurationBase>(); }
    Mdid_NoteWithDurationBase& GetNote() { return GetEvent().As<Mdid_NoteWithDurationBase>(); }
    signed char GetPitch() const { return GetNote().GetPitch(); }

    signed char GetOriginalPitch() const { return mU.mBase.mOriginalPitch; }
    signed char GetOriginalOnVelocity() const { return mU.mBase.mOriginalOnVelocity; }
    signed char GetOriginalOffVelocity() const { return mU.mBase.mOriginalOffVelocity; }
    Time_TypedLength GetOriginalDuration() const { return mU.mOriginalDuration; }

    // The four originals as one event, on the note's channel. Set takes all but the channel.
    Mdid_NoteWithDurationEvent GetAsPerformedEvent() const;
    void SetAsPerformedEvent(const Mdid_NoteWithDurationBase& iEvent);

    bool IsMuted() const { return mU.mBase.mMuted; }
    void SetIsMuted(bool iMuted) { mU.mBase.mMuted = iMuted; }

    Time_TypedLength GetQuantizeTimeDelta() const { return mU.mQuantizeTimeDelta; }
    void SetQuantizeTimeDelta(Time_TypedLength iDelta) { mU.mQuantizeTimeDelta = iDelta; }
    void ResetQuantizeTimeDelta(Time_EType iKind) { mU.mQuantizeTimeDelta = Time_TypedLength(0, iKind); }
    // A delta of another kind is reported and changes nothing.
    void AdjustQuantizeTimeDelta(Time_TypedLength iDelta);

    // What a clip's edge cut off, in the kind of the original duration: 0 without extension, or when a context is
    // given that does not match the note.
    Time_TypedLength GetUntrimmedLeftDelta(const Mdid_TrimmedNotesContext* iContextP) const;
    Time_TypedLength GetUntrimmedRightDelta(const Mdid_TrimmedNotesContext* iContextP) const;

    // By the same rule, but a note without extension takes any: one is made on demand, stamped by the context, and goes
    // when it becomes empty. Throws std::bad_alloc.
    void SetUntrimmedLeftDelta(std::int64_t iDelta, const Mdid_TrimmedNotesContext* iContextP);
    void SetUntrimmedRightDelta(std::int64_t iDelta, const Mdid_TrimmedNotesContext* iContextP);
    void ResetUntrimmedDeltas(const Mdid_TrimmedNotesContext* iContextP);

    // Whether it starts before the time and ends behind it.
    bool SoundsAcross(Time_Typed iTime) const;

    // Takes away what sounds before iStart, and what sounds from iEnd on, and remembers it: each when the time lies
    // strictly inside the note (for the second: as the first left it), and the context, if there is one, matches.
    // Cuts are to the nearest unit of the note's own kinds; where nothing would be left, there is none. A note without
    // extension gets one, stamped by the context. Throws std::bad_alloc, and is then as it was.
    void TrimNote(Time_Typed iStart, Time_Typed iEnd, const Mdid_TrimmedNotesContext* iContextP);

    // One side of it. Returns whether it cut.
    bool TrimHead(Time_Typed iStart, const Mdid_TrimmedNotesContext* iContextP);
    bool TrimTail(Time_Typed iEnd, const Mdid_TrimmedNotesContext* iContextP);

    // Gives back what was cut off one side, if the context, when there is one, matches. Exact where start, duration and
    // original duration are of one kind; otherwise within one unit of the coarser, however often it was trimmed.
    // Returns whether there was anything. What no cut leaves behind (a delta of the wrong sign, or one that leads out
    // of the range of times) is forgotten, and the note stays.
    bool UntrimHead(const Mdid_TrimmedNotesContext* iContextP);
    bool UntrimTail(const Mdid_TrimmedNotesContext* iContextP);

    // Forgets what was cut off one side, by the same rule. The note stays as it is, and so does its expression:
    // per-note lanes count from its start then. Returns whether there was anything. Throws std::bad_alloc, and is then
    // as it was.
    bool ForgetHead(const Mdid_TrimmedNotesContext* iContextP);
    bool ForgetTail(const Mdid_TrimmedNotesContext* iContextP);

    // Where the note would start if nothing had been trimmed off it, by whatever clip: per-note lanes count from there.
    Time_Typed GetUntrimmedStart() const;

    // The order of note lists: by time; then types 3 and 22 by their tags; then notes by Mdid_Event::operator< and two
    // pitch-to-MIDI notes as equals; then by the address of the per-note controllers; then unmuted before muted.
    static bool NoteCompare(const Mdid_NoteWithDurationExtendedEvent& iA, const Mdid_NoteWithDurationExtendedEvent& iB);

    // Whether both are the same note-on: time, channel, pitch and on velocity. Nothing else takes part.
    static bool EquivalentNoteOnCompare(const Mdid_NoteWithDurationExtendedEvent& iA,
                                        const Mdid_NoteWithDurationExtendedEvent& iB);

    bool operator<(const Mdid_NoteWithDurationExtendedEvent& iOther) const { return NoteCompare(*this, iOther); }

    // Time, event (two pitch-to-MIDI events count as equal), the very same per-note controllers, muted flag. Originals
    // and deltas take no part.
    bool operator==(const Mdid_NoteWithDurationExtendedEvent& iOther) const;

private:
    using UntrimmedDelta = std::int64_t Mdid_TrimmedNoteExtension::*;
    Time_TypedLength GetUntrimmedDelta(UntrimmedDelta iSide, const Mdid_TrimmedNotesContext* iContextP) const;
    void SetUntrimmedDelta(UntrimmedDelta iSide, std::int64_t iDelta, const Mdid_TrimmedNotesContext* iContextP);
    bool MatchesContext(const Mdid_TrimmedNotesContext* iContextP) const;
};

static_assert(sizeof(Mdid_NoteWithDurationExtendedEvent) == sizeof(Mdid_ExtendedEvent));

inline const Mdid_NoteWithDurationExtendedEvent& Mdid_ExtendedEvent::AsNote() const
{
    return static_cast<const Mdid_NoteWithDurationExtendedEvent&>(*this);
}

inline Mdid_NoteWithDurationExtendedEvent& Mdid_ExtendedEvent::AsNote()
{
    return static_cast<Mdid_NoteWithDurationExtendedEvent&>(*this);
}
