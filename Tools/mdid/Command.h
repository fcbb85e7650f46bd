#pragma once

// What the commands of this program share. Each file of commands has one function that adds them.

#include "CFnd/Sys_StreamException.h"
#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/Listing/MdidHost_EventListing.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

constexpr int kDone = 0;
constexpr int kBadInput = 1; // of diff: the two differ
constexpr int kWrongUsage = 2;

const CLI::Range kFromOne(1, std::numeric_limits<int>::max());

// What the parser of the command line cannot see, such as a time that is none.
struct WrongUsage : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// What is wrong with an input, and where.
struct Failure
{
    std::string mText;
    std::int64_t mPosition = Sys_StreamException::kNoPosition;
    std::string mFile = {}; // within a session; empty: the input itself
};

// One line on standard error: the file, the position, what is wrong. Texts that name the file themselves lose it. iFile
// counts when the failure names none.
void Complain(const std::string& iFile, const Failure& iFailure);

// What an operation on a file fails with, if it does.
template <class Operation>
std::optional<Failure> FailureOf(Operation iOperation)
{
    try
    {
        iOperation();
        return {};
    }
    catch (const Sys_StreamException& exception)
    {
        return Failure{exception.GetReason(), exception.GetPosition()};
    }
    catch (const MdidHost_FileError& error)
    {
        return Failure{error.what(), error.GetPosition(), error.GetFile()};
    }
    catch (const std::exception& exception)
    {
        return Failure{exception.what()};
    }
    catch (const std::string& text) // a bad SMPTE offset
    {
        return Failure{text};
    }
}

// One command, with its options. They take effect before Run, when it is the one that was asked for.
class Command
{
public:
    virtual ~Command();
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // The exit code. Throws WrongUsage, MdidHost_FileError, Sys_StreamException.
    virtual int Run() = 0;

    bool IsChosen() const { return mApp.parsed(); }
    void ApplyOptions() const;

protected:
    // iExample: behind "Example: mdid ".
    Command(CLI::App& ioProgram, const char* iName, const char* iDescription, const std::string& iExample);

    void AddAllowMPE();
    void AddTextOptions(); // --language, --encoding
    void AddJson(bool& ioJson, const char* iDescription = "One JSON object");

    // An option with a text, which may be empty: that is not the same as no option.
    static CLI::Option& AddText(CLI::App& ioApp, const char* iName, std::optional<std::string>& ioText,
                                const char* iDescription);

    CLI::App& mApp;

private:
    bool mAllowMPE = false;
    std::string mLanguage;
    std::string mEncoding;
};
using Commands = std::vector<std::unique_ptr<Command>>;

// A command that takes sessions: a session folder, a chunk file, or a MIDI file, which is imported.
class SessionCommand : public Command
{
protected:
    SessionCommand(CLI::App& ioProgram, const char* iName, const char* iDescription, const std::string& iExample);

    void AddSession(std::string& ioPath, const char* iName = "SESSION");
    void AddTrack(std::optional<int>& ioTrack);
    void AddFormat(MdidHost_EventListing::Format& ioFormat);

    MdidHost_Session Load(const std::string& iPath, Ndo_Object::EUndoFlag iUndoFlag,
                          MdidHost_ImportReport& oReport) const;

    // With progress. What an import found or could not keep is told in one line on standard error.
    MdidHost_Session Open(const std::string& iPath, Ndo_Object::EUndoFlag iUndoFlag = Ndo_Object::kNotUndoable) const;

    // These throw WrongUsage.
    static void VerifyTrack(const MdidHost_Session& iSession, std::optional<int> iTrack);
    static Time_Typed ParseTime(const MdidHost_MusicalTime& iTimes, const std::string& iOption,
                                const std::string& iText);
    static Time_Typed ParseEnd(const MdidHost_MusicalTime& iTimes, const std::string& iOption,
                               const std::string& iText);
    static MdidHost_MusicalTime::Range ParseRange(const MdidHost_MusicalTime& iTimes, const std::string& iOption,
                                                  const std::string& iText);

    // Where a command saves that changes a session: to the output, or else to the session, which is a folder then.
    std::string FolderToSaveIn(const std::string& iSession, const std::optional<std::string>& iOutput) const;

    bool mIsStrict = false;

private:
    bool mIsMPE = false;
};

// Findings, losses and the grade of a file, a line each.
void WriteReport(std::ostream& ioStream, const std::string& iFile, const MdidHost_ImportReport& iReport);
void WriteLosses(std::ostream& ioStream, const std::string& iFile, const std::vector<MdidHost_Loss>& iLosses);

void AddFileCommands(CLI::App& ioProgram, Commands& ioCommands);     // info, dump, parse, csv
void AddCheckCommand(CLI::App& ioProgram, Commands& ioCommands);     // check
void AddTransferCommands(CLI::App& ioProgram, Commands& ioCommands); // import, export
void AddSessionCommands(CLI::App& ioProgram, Commands& ioCommands);  // show, events, xml, diff
void AddEditCommand(CLI::App& ioProgram, Commands& ioCommands);      // edit
void AddNoteCommands(CLI::App& ioProgram, Commands& ioCommands);     // notes, clip
void AddRollCommand(CLI::App& ioProgram, Commands& ioCommands);      // roll
void AddPlayCommands(CLI::App& ioProgram, Commands& ioCommands);     // chase, play, scrub
