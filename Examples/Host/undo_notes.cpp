// Edits a note list in undoable steps and shows it after each: c e g, with the e a semitone lower, and as it was.

#include "MFnd/Ndo_Manager.h"
#include "Mdid/Mdid_NoteList.h"

#include <iostream>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;
using enum Time_EType;

constexpr std::int64_t kQuarter = 960'000; // ticks

Note MakeNote(int iQuarter, signed char iPitch)
{
    const Time_TypedLength duration(kQuarter, kTick);
    return Note(Time_Typed(iQuarter * kQuarter, kTick), Mdid_NoteWithDurationEvent(0, iPitch, duration, 80, 64), false);
}

void Show(const char* iWhat, const Mdid_NoteList& iNotes)
{
    std::cout << iWhat << ':';
    for (const Note& note : iNotes)
        std::cout << ' ' << int{note.GetPitch()} << " at " << note.GetTime().AsInt64() / kQuarter;
    std::cout << '\n';
}

} // namespace

int main()
{
    Mdid_NoteList notes(Ndo_Object::kUndoable, false);
    {
        Ndo_Step step("Add Arpeggio");
        notes.AddNote(MakeNote(0, 60));
        notes.AddNote(MakeNote(1, 64));
        notes.AddNote(MakeNote(2, 67));
        step.Commit();
    }
    {
        Ndo_Step step("Make Minor");
        Mdid_BorrowedElement third = notes.Borrow(notes[1]);
        third.mElement.GetNote().SetPitch(63);
        notes.Return(std::move(third));
        step.Commit();
    }
    Show("edited", notes);
    std::cout << "undo: " << Ndo_gManager.GetUndoName() << '\n';
    Ndo_gManager.Undo();
    Show("undone", notes);
    return notes[1].GetPitch() == 64 ? 0 : 1;
}
