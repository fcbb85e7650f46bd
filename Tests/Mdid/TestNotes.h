#pragma once

#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"
#include "Mdid/Mdid_PerNoteControllerList.h"

#include <algorithm>
#include <string>

using Note = Mdid_NoteWithDurationExtendedEvent;

inline constexpr auto Ticks = [](std::int64_t i) { return Time_Typed(i, Time_EType::kTick); };
inline constexpr auto TickLength = [](std::int64_t i) { return Time_TypedLength(i, Time_EType::kTick); };

// In ticks, with the velocities 9 and 64.
inline Note MakeNote(std::int64_t iStart, int iPitch, std::int64_t iDuration, signed char iChannel = 0)
{
    const auto pitch = static_cast<signed char>(iPitch);
    return {Ticks(iStart), Mdid_NoteWithDurationEvent(iChannel, pitch, TickLength(iDuration), 9, 64), false};
}

// Gives the note one more lane; only with "AllowMPE".
inline void AddLane(Mdid_NoteListBase& ioNotes, int iIndex, const Mdie_SubStream& iKey)
{
    Mdid_BorrowedElement element = ioNotes.Borrow(ioNotes[static_cast<std::size_t>(iIndex)]);
    element.mElement.SetPerNoteControllers();
    element.mElement.WritePerNoteControllers()->InsertStream(iKey, true)->AddBreakpoint(Ticks(1), iIndex);
    ioNotes.Return(std::move(element));
}

// As a chunk has it: notes of 1000 ticks are long, and there is a clip.
struct ChunkNotes : Mdid_NoteList
{
    explicit ChunkNotes(EUndoFlag iUndoFlag = kNotUndoable, bool iSnap = false) : Mdid_NoteList(iUndoFlag, iSnap)
    {
        Ndo_AutoPtr<Mdid_NoteListBase> list(new Mdid_NoteList(iUndoFlag, iSnap));
        SetLongNoteList(std::move(list), Time_TickLength(1000), Time_SampleLength(25));
        SetClip(Sys_UUID(7, 7));
    }
    ChunkNotes(std::initializer_list<Note> iNotes, bool iSnap = false) : ChunkNotes(kNotUndoable, iSnap)
    {
        std::ranges::for_each(iNotes, [this](const Note& i) { AddNote(i); });
    }
    using Mdid_NoteListBase::SetLongNoteList;
};

// "0:60x500 10:64x2000 | 10:64x2000 ": start, pitch and duration; behind the bar the long notes.
inline std::string Describe(const Mdid_NoteListBase& iNotes)
{
    std::string text;
    for (const Note& note : iNotes)
        text += std::to_string(note.GetTime().AsInt64()) + ":" + std::to_string(note.GetPitch()) + "x" +
                std::to_string(note.GetDuration().AsInt64()) + " ";
    return iNotes.GetLongNoteList() ? text + "| " + Describe(*iNotes.GetLongNoteList()) : text;
}
