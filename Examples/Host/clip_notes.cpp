// A clip plays the second and the third quarter of a chunk: what sounds across its edges is cut, and comes back when
// the clip is widened.

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"

#include <iostream>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;
using Context = Mdid_NoteListTrimmedNotesContext;

constexpr std::int64_t kQuarter = 960'000; // ticks

Time_Typed AtQuarter(std::int64_t iQuarter)
{
    return Time_Typed(iQuarter * kQuarter, Time_EType::kTick);
}

Note MakeNote(std::int64_t iQuarter, signed char iPitch, std::int64_t iQuarters)
{
    const Time_TypedLength duration(iQuarters * kQuarter, Time_EType::kTick);
    return Note(AtQuarter(iQuarter), Mdid_NoteWithDurationEvent(0, iPitch, duration, 80, 64), false);
}

void Show(const char* iWhat, const Mdid_NoteListBase& iNotes)
{
    std::cout << iWhat << ':';
    for (const Note& note : iNotes.GetOverlappingNotesInRange(AtQuarter(1), AtQuarter(3)))
        std::cout << "  " << int{note.GetPitch()} << " from " << note.GetTime().AsInt64() / kQuarter << " to "
                  << note.GetEndTime().AsInt64() / kQuarter;
    std::cout << '\n';
}

} // namespace

int main()
{
    const auto chunk = Mdid_Chunk::MakeUnique(Ndo_Object::kUndoable, false);
    for (const Note& note : {MakeNote(0, 48, 8), MakeNote(0, 60, 2), MakeNote(1, 64, 1), MakeNote(2, 67, 2)})
        chunk->AddEvent(note, Mdie_SubStream::kOrdinary);

    const auto edges = [](const Sys_UUID&, Context::Side iSide) { return AtQuarter(iSide == Context::kHead ? 1 : 3); };
    chunk->SetClip(Sys_UUID::Create(), edges);
    Mdid_NoteListBase& notes = *chunk->GetNoteList();
    Context& clip = *notes.GetTrimmedNotesContext();

    clip.TrimOverlappingNotes<Context::kHead>(AtQuarter(1));
    clip.TrimOverlappingNotes<Context::kTail>(AtQuarter(3));
    Show("clip", notes);

    clip.UntrimOverlappingNotesInRange<Context::kBoth>(AtQuarter(1), AtQuarter(3));
    Show("widened", notes);
    return clip.ListHasTrimmedNotes() ? 1 : 0;
}
