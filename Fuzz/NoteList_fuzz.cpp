// A saved note list: whatever the bytes, reading ends; what could be read is written and read back the same, and can be
// edited, sorted or not.

#include "FuzzSupport.h"

#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_NoteList.h"

namespace
{

// With a list of long notes, as in a chunk.
class Notes : public Mdid_NoteList
{
public:
    Notes() : Mdid_NoteList(kNotUndoable, false)
    {
        SetLongNoteList(Ndo_AutoPtr<Mdid_NoteListBase>(new Mdid_NoteList(kNotUndoable, false)),
                        Time_TickLength(3'840'000), Time_SampleLength(96'000));
    }
};

bool Read(Cmn_InStream& ioStream, Mdid_NoteListBase& oNotes)
{
    Sys_TypedInStream typed(ioStream);
    return ReadsWell([&] { oNotes.StreamIn(typed); });
}

std::vector<unsigned char> Write(const Mdid_NoteListBase& iNotes)
{
    Mdid_ContinuousDataStreamList lanes;
    return BytesOf([&](Sys_TypedOutStream& ioTyped) { iNotes.StreamOut(ioTyped, lanes); });
}

void Edit(Mdid_NoteListBase& ioNotes)
{
    if (ioNotes.empty())
        return;
    const Time_Typed middle = ioNotes[ioNotes.Size() / 2].GetTime();
    const Time_TypedLength length(1000, Time_EType::kTick);
    ioNotes.EraseNote(ioNotes[ioNotes.Size() / 2]);
    ioNotes.EraseTimeRange(middle, middle + length);
    ioNotes.OffsetStarts(length);
    ioNotes.OffsetDurations(length);
    ioNotes.Merge(&ioNotes);
    if (!ioNotes.empty())
        ioNotes.Return(ioNotes.Borrow(ioNotes[0]));
    ioNotes.GetLatestReleaseTimeForNotesInRange(middle, middle + length);
    ioNotes.CopyTimeRange(&ioNotes, middle, middle + length);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const SilentAssertHandler silence;
    Sys_MemoryInStream whole({iData, iSize});
    TinyWindowInStream tiny({iData, iSize});
    Notes notes;
    Notes fromTiny;
    const bool isRead = Read(whole, notes);
    Require(Read(tiny, fromTiny) == isRead && fromTiny.Size() == notes.Size(), "the notes depend on the windows");
    if (isRead)
    {
        const std::vector<unsigned char> bytes = Write(notes);
        Sys_MemoryInStream stream(bytes);
        Notes again;
        Require(Read(stream, again) && Write(again) == bytes, "what is written is not read back");
    }
    Edit(notes);
    return 0;
}
