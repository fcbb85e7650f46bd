// Reads a MIDI file, lets every track play again what it plays, an eighth later and softer, and writes the result:
//     echo in.mid out.mid

#include "CFnd/Sys_FileStream.h"
#include "MFnd/Ndo_Manager.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_Init.h"
#include "MdidHost/Export/MdidHost_Export.h"
#include "MdidHost/Import/MdidHost_Import.h"

#include <algorithm>
#include <iostream>

namespace
{

constexpr Time_TypedLength kEighth(480'000, Time_EType::kTick);

void Soften(Mdid_NoteListBase& ioNotes)
{
    auto batch = ioNotes.ModificationBatch();
    for (std::size_t i = 0; i < ioNotes.Size(); ++i)
    {
        Mdid_BorrowedElement note = ioNotes.Borrow(ioNotes[i]);
        const int velocity = std::max(note.mElement.GetNote().GetVelocity() / 2, 1);
        note.mElement.GetNote().SetVelocity(static_cast<signed char>(velocity));
        batch.Return(std::move(note));
    }
    batch.Complete();
}

void AddEcho(Mdid_Chunk& ioChunk)
{
    const auto echo = ioChunk.Clone();
    Soften(*echo->GetNoteList());
    constexpr auto tick = Time_EType::kTick;
    Mdie_Filter notesOnly;
    notesOnly.Set(Mdie_Filter::kNotes, true).Set(Mdie_Filter::kOnVelocities, true);
    ioChunk.AddEventsFromChunk(echo.get(), Time_Typed::MinTime(tick), Time_Typed::MaxTime(tick), kEighth, notesOnly);
}

int Run(const char* iIn, const char* iOut)
{
    MdidHost_ImportOptions options;
    options.mUndoFlag = Ndo_Object::kUndoable;
    MdidHost_ImportReport report;
    MdidHost_Session session = MdidHost_ImportMidiFile(std::make_unique<Sys_FileInStream>(iIn), options, report);
    for (const MdidHost_Finding& finding : report.mFindings)
        std::cerr << "byte " << finding.mOffset << ": " << finding.mText << '\n';

    const MdidHost_Session::Scope scope(session);
    Ndo_Step step("Add Echo");
    for (MdidHost_Track& track : session.mTracks)
        AddEcho(*track.mChunk);
    step.Commit();

    Sys_FileOutStream out(iOut);
    MdidHost_ExportMidiFile(session, {}, out);
    out.Commit();
    std::cout << Ndo_gManager.GetUndoName() << ": " << session.mTracks.size() << " tracks\n";
    return 0;
}

} // namespace

int main(int iArgc, char** iArgv)
{
    Mdid_Init::Init();
    int result = 1;
    try
    {
        if (iArgc == 3)
            result = Run(iArgv[1], iArgv[2]);
        else
            std::cerr << "usage: echo in.mid out.mid\n";
    }
    catch (const std::exception& exception)
    {
        std::cerr << exception.what() << '\n';
    }
    Mdid_Init::Free();
    return result;
}
