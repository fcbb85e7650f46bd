// The commands between files and sessions: import, export.

#include "CFnd/Sys_FileStream.h"
#include "Command.h"
#include "Mdid/Mdid_Chunk.h"
#include "MdidHost/Export/MdidHost_Export.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "Progress.h"

#include <iostream>

namespace
{

// Of a session that was made: how much is in it.
void WriteTotals(const std::string& iName, const MdidHost_Session& iSession)
{
    std::int64_t notes = 0;
    std::int64_t breakpoints = 0;
    std::int64_t sysex = 0;
    for (const MdidHost_Track& track : iSession.mTracks)
    {
        notes += static_cast<std::int64_t>(track.mChunk->GetNoteList()->Size());
        sysex += std::ssize(*track.mChunk->GetEventStream());
        for (const auto& lane : *track.mChunk->GetContinuousList())
            breakpoints += lane ? lane->NumSegments() : 0;
    }
    std::cout << MdidHost_Printable(iName) << ": " << MdidHost_Counted(std::ssize(iSession.mTracks), "track") << ", "
              << MdidHost_Counted(notes, "note") << ", " << MdidHost_Counted(breakpoints, "breakpoint") << ", "
              << MdidHost_Counted(sysex, "system-exclusive message") << '\n';
}

class ImportCommand : public SessionCommand
{
public:
    explicit ImportCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "import", "Make a session of a Standard MIDI File", "import song.mid -o song.mdid")
    {
        AddSession(mFile, "FILE");
        mApp.add_option("-o,--output", mOutput, "The session folder; one that is there is replaced as a whole")
            ->required();
        mApp.add_flag("--strict", mIsStrict, "Refuse a damaged file instead of repairing it");
    }

    int Run() override
    {
        if (mOutput == "-")
            throw WrongUsage("import: a session is a folder, and does not go to standard output");
        MdidHost_ImportReport report;
        std::optional<Progress> progress("importing " + mFile);
        const MdidHost_Session session = Load(mFile, Ndo_Object::kNotUndoable, report);
        progress.reset();
        WriteReport(std::cerr, mFile, report);
        const MdidHost_Session::Scope scope(session);
        MdidHost_SaveSession(session, mOutput);
        WriteTotals(mOutput, session);
        return kDone;
    }

private:
    std::string mFile;
    std::string mOutput;
};

class ExportCommand : public SessionCommand
{
public:
    explicit ExportCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "export", "Write a session as a Standard MIDI File",
                         "export song.mdid -o song.mid --division 960")
    {
        AddSession(mSession);
        mApp.add_option("-o,--output", mOutput, "The Standard MIDI File; - is standard output")->required();
        mApp.add_option("--format", mOptions.mFormat, "1: a track for each track; 0: all in one")
            ->check(CLI::IsMember({0, 1}))
            ->capture_default_str();
        mApp.add_option("--division", mDivision, "Ticks a quarter note (default: those of the session)")
            ->check(CLI::Range(1, 32767));
    }

    int Run() override
    {
        if (mDivision)
            mOptions.mDivision = MdidHost_Division::TicksPerQuarter(*mDivision);
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        const MdidHost_ExportReport report = mOutput == "-" ? WriteToStandardOutput(session) : WriteFile(session);
        WriteLosses(std::cerr, mOutput, report.mLosses);
        return kDone;
    }

private:
    MdidHost_ExportReport WriteToStandardOutput(const MdidHost_Session& iSession) const
    {
        Sys_MemoryOutStream stream;
        MdidHost_ExportReport report = MdidHost_ExportMidiFile(iSession, mOptions, stream);
        const auto bytes = stream.GetBytes();
        std::cout.write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        return report;
    }

    MdidHost_ExportReport WriteFile(const MdidHost_Session& iSession) const
    {
        Sys_FileOutStream stream(mOutput);
        MdidHost_ExportReport report = MdidHost_ExportMidiFile(iSession, mOptions, stream);
        stream.Commit();
        return report;
    }

    std::string mSession;
    std::string mOutput;
    std::optional<int> mDivision;
    MdidHost_ExportOptions mOptions;
};

} // namespace

void AddTransferCommands(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<ImportCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<ExportCommand>(ioProgram));
}
