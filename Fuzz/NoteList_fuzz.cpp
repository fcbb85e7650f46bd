// A saved note list: whatever the bytes, reading ends; what could be read is written and read back the same, and can be
// edited, sorted or not. Queries find what a scan finds, and what clips trim off comes back. The last bytes choose the
// times.

#include "FuzzSupport.h"

#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"

#include <span>
#include <tuple>

namespace
{

using Context = Mdid_NoteListTrimmedNotesContext;
using Note = Mdid_NoteWithDurationExtendedEvent;

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

// Starts and ends of notes, or one unit beside them: a time for each byte.
std::vector<Time_Typed> ChooseTimes(const Mdid_NoteListBase& iNotes, std::span<const std::uint8_t> iBytes)
{
    std::vector<Time_Typed> times;
    for (const std::uint8_t byte : iBytes)
    {
        const Note& note = iNotes[byte / 8u % iNotes.Size()];
        const Time_Typed edge = (byte & 1) != 0 ? note.GetTime() : note.GetEndTime();
        times.push_back(edge + Time_TypedLength((byte & 6) / 2 - 1, edge.GetType()));
    }
    return times;
}

template <class Range, class Predicate>
void RequireSame(const Range& iFound, const Mdid_NoteListBase& iNotes, Predicate iPredicate)
{
    auto found = iFound.begin();
    for (const Note& note : iNotes)
    {
        if (!iPredicate(note))
            continue;
        Require(found.IsMore() && &*found == &note, "a query does not find what a scan finds");
        ++found;
    }
    Require(!found.IsMore(), "a query finds more than a scan");
}

void Query(const Mdid_NoteListBase& iNotes, const std::vector<Time_Typed>& iTimes)
{
    for (std::size_t i = 0; i < iTimes.size(); ++i)
    {
        const Time_Typed start = iTimes[i];
        const Time_Typed end = iTimes[(i + 1) % iTimes.size()];
        const auto sounds = [&](const Note& note) { return note.GetTime() < start && note.GetEndTime() > start; };
        const auto starts = [&](const Note& note) { return note.GetTime() >= start && note.GetTime() < end; };
        RequireSame(iNotes.GetSustainingNotes(start), iNotes, sounds);
        RequireSame(Mdid_NoteListBase::NotesInRangeIter::Range(Mdid_NoteListBase::NotesInRangeIter(iNotes, start, end)),
                    iNotes, starts);
        RequireSame(iNotes.GetOverlappingNotesInRange(start, end), iNotes,
                    [&](const Note& note) { return start <= end && (sounds(note) || starts(note)); });
    }
}

// Those come back to the last unit, when they end before the counts do.
bool IsInOneKindOfTime(const Note& iNote)
{
    const Time_EType kind = iNote.GetTime().GetType();
    return iNote.GetDuration().GetType() == kind && iNote.GetOriginalDuration().GetType() == kind &&
           iNote.GetEndTime() < Time_Typed::MaxTime(kind);
}

auto Contents(const Mdid_NoteListBase& iNotes)
{
    std::vector<std::tuple<Time_Typed, signed char, Time_TypedLength>> contents;
    for (const Note& note : iNotes)
        if (IsInOneKindOfTime(note))
            contents.emplace_back(note.GetTime(), note.GetPitch(), note.GetDuration());
    std::ranges::sort(contents);
    return contents;
}

void RequireThatItComesBack(const Mdid_NoteListBase& iNotes)
{
    const std::vector<unsigned char> bytes = Write(iNotes);
    Sys_MemoryInStream stream(bytes);
    Notes again;
    Require(Read(stream, again) && Write(again) == bytes, "what is written is not read back");
}

void Trim(Mdid_NoteListBase& ioNotes, const std::vector<Time_Typed>& iTimes)
{
    ioNotes.SetClip(Sys_UUID(1, 2));
    Context& context = *ioNotes.GetTrimmedNotesContext();
    context.ResetAllUntrimmedDeltas();
    const bool wereInOrder = ioNotes.CheckInvariants(); // within a time the order is the stream's
    const auto before = Contents(ioNotes);
    for (std::size_t i = 0; i < iTimes.size(); ++i)
        switch (i % 3)
        {
        case 0:
            context.TrimOverlappingNotes<Context::kHead>(iTimes[i]);
            break;
        case 1:
            context.TrimOverlappingNotes<Context::kTail>(iTimes[i]);
            break;
        default:
            context.UntrimOverlappingNotes<Context::kBoth>(iTimes[i]);
        }
    Require(ioNotes.CheckInvariants() || !wereInOrder, "trimming leaves notes out of order");
    RequireThatItComesBack(ioNotes);

    Notes filtered;
    filtered.SetClip(Sys_UUID(1, 2),
                     [&](const Sys_UUID&, Context::Side side) { return iTimes[side == Context::kHead ? 0 : 1]; });
    filtered.Merge(&ioNotes);
    RequireThatItComesBack(filtered);

    context.UntrimOverlappingNotesInRange<Context::kBoth>(Time_Typed::MinTime(Time_EType::kSample),
                                                          Time_Typed::MaxTime(Time_EType::kSample));
    Require(!context.ListHasTrimmedNotes(), "something stays trimmed off");
    Require(Contents(ioNotes) == before, "what was trimmed off does not come back");
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
        RequireThatItComesBack(notes);
        Mdid_NoteListBase::ReadingScope(fromTiny).Complete(); // sorts
        if (!fromTiny.empty())
        {
            const std::vector<Time_Typed> times = ChooseTimes(fromTiny, {iData + iSize - 8, 8});
            Query(fromTiny, times);
            Trim(fromTiny, times);
            Query(fromTiny, times);
        }
    }
    Edit(notes);
    return 0;
}
