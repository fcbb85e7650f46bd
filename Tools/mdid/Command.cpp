#include "Command.h"

#include "CFnd/I18N_Utils.h"
#include "Mdid/Mdid_Options.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "Progress.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <iostream>

void Complain(const std::string& iFile, const Failure& iFailure)
{
    const std::string& file = iFailure.mFile.empty() ? iFile : iFailure.mFile;
    std::string text = iFailure.mText;
    const std::string name = " '" + file + '\'';
    if (const std::size_t found = text.find(name); found != std::string::npos)
        text.erase(found, name.size());
    std::cout.flush(); // what came before it stands before it
    std::cerr << "mdid: " << MdidHost_Printable(file) << ": ";
    if (iFailure.mPosition != Sys_StreamException::kNoPosition)
        std::cerr << "byte " << iFailure.mPosition << ": ";
    std::cerr << MdidHost_Printable(text) << '\n';
}

Command::Command(CLI::App& ioProgram, const char* iName, const char* iDescription, const std::string& iExample)
    : mApp(*ioProgram.add_subcommand(iName, iDescription))
{
    mApp.footer("Example: mdid " + iExample);
}

Command::~Command() = default;

// Before the first message is loaded, and before the first parser is made.
void Command::ApplyOptions() const
{
    if (mAllowMPE)
        Mdid_AllowMPE().Set(true);
    if (!mLanguage.empty())
        I18N_Utils::SetCurrentLanguage(mLanguage);
    if (!mEncoding.empty())
        I18N_Utils::SetNativeTextEncoding(mEncoding);
}

void Command::AddAllowMPE()
{
    mApp.add_flag("--allow-mpe", mAllowMPE, "Keep the channels of events (else all go to channel 1)");
}

void Command::AddTextOptions()
{
    const auto checkLanguage = [](const std::string& language)
    {
        const std::string before = I18N_Utils::GetCurrentLanguage();
        const bool isKnown = I18N_Utils::SetCurrentLanguage(language);
        I18N_Utils::SetCurrentLanguage(before);
        return isKnown ? std::string() : "not a language: " + language;
    };
    const auto checkEncoding = [](const std::string& encoding)
    { return I18N_Utils::IsKnownEncoding(encoding) ? std::string() : "unknown encoding: " + encoding; };
    mApp.add_option("--language", mLanguage, "Language of error messages, for example de")->check(checkLanguage);
    mApp.add_option("--encoding", mEncoding,
                    "Encoding of texts in the file (default: UTF-8 where they are valid, else Windows-1252)")
        ->check(checkEncoding);
}

void Command::AddJson(bool& ioJson, const char* iDescription)
{
    mApp.add_flag("--json", ioJson, iDescription);
}

// The parser takes an empty text for none where a type may hold none.
CLI::Option& Command::AddText(CLI::App& ioApp, const char* iName, std::optional<std::string>& ioText,
                              const char* iDescription)
{
    const auto set = [&ioText](const std::string& iText) { ioText = iText; };
    return *ioApp.add_option_function<std::string>(iName, set, iDescription);
}

SessionCommand::SessionCommand(CLI::App& ioProgram, const char* iName, const char* iDescription,
                               const std::string& iExample)
    : Command(ioProgram, iName, iDescription, iExample)
{
    mApp.add_flag("--mpe", mIsMPE, "Import a MIDI file as MPE: channel 1 is the master of all others");
    AddTextOptions();
}

void SessionCommand::AddSession(std::string& ioPath, const char* iName)
{
    mApp.add_option(iName, ioPath, "A session folder, a chunk file or a Standard MIDI File; - is standard input")
        ->required();
}

void SessionCommand::AddTrack(std::optional<int>& ioTrack)
{
    mApp.add_option("--track", ioTrack, "Only this track of the session, from 1 as mdid show counts them")
        ->check(kFromOne);
}

void SessionCommand::AddFormat(MdidHost_EventListing::Format& ioFormat)
{
    using Format = MdidHost_EventListing::Format;
    const auto set = [&ioFormat](const std::string& iText) {
        ioFormat = iText == "json" ? Format::kJson : iText == "csv" ? Format::kCsv : Format::kText;
    };
    mApp.add_option_function<std::string>("--format", set, "text, json (one object a line) or csv")
        ->check(CLI::IsMember({"text", "json", "csv"}))
        ->default_str("text");
}

MdidHost_Session SessionCommand::Load(const std::string& iPath, Ndo_Object::EUndoFlag iUndoFlag,
                                      MdidHost_ImportReport& oReport) const
{
    return MdidHost_OpenSession(iPath, {.mIsStrict = mIsStrict, .mIsMPE = mIsMPE, .mUndoFlag = iUndoFlag}, oReport);
}

MdidHost_Session SessionCommand::Open(const std::string& iPath, Ndo_Object::EUndoFlag iUndoFlag) const
{
    MdidHost_ImportReport report;
    std::optional<Progress> progress("reading " + iPath);
    MdidHost_Session session = Load(iPath, iUndoFlag, report);
    progress.reset();
    std::string remark = report.mGrade == MdidHost_Grade::kComplete ? "" : MdidHost_NameOf(report.mGrade);
    if (!report.mLosses.empty())
        remark += remark.empty() ? "some data is not kept as it is" : ", some data is not kept as it is";
    if (!remark.empty())
        Complain(iPath, {remark + ": mdid check tells more"});
    return session;
}

void SessionCommand::VerifyTrack(const MdidHost_Session& iSession, std::optional<int> iTrack)
{
    if (iTrack && (*iTrack < 1 || *iTrack > std::ssize(iSession.mTracks)))
        throw WrongUsage("--track: there is no track " + std::to_string(*iTrack) + " among " +
                         std::to_string(iSession.mTracks.size()));
}

Time_Typed SessionCommand::ParseTime(const MdidHost_MusicalTime& iTimes, const std::string& iOption,
                                     const std::string& iText)
{
    const auto time = iTimes.Parse(iText);
    if (!time)
        throw WrongUsage(iOption + ": not a time: " + iText);
    return *time;
}

Time_Typed SessionCommand::ParseEnd(const MdidHost_MusicalTime& iTimes, const std::string& iOption,
                                    const std::string& iText)
{
    ParseTime(iTimes, iOption, iText);
    return *iTimes.ParseEnd(iText);
}

MdidHost_MusicalTime::Range SessionCommand::ParseRange(const MdidHost_MusicalTime& iTimes, const std::string& iOption,
                                                       const std::string& iText)
{
    const auto range = iTimes.ParseRange(iText);
    if (!range)
        throw WrongUsage(iOption + ": not a range: " + iText);
    return *range;
}

std::string SessionCommand::FolderToSaveIn(const std::string& iSession, const std::optional<std::string>& iOutput) const
{
    if (iOutput && (iOutput->empty() || *iOutput == "-"))
        throw WrongUsage(mApp.get_name() + ": a session is saved to a folder");
    if (!iOutput && MdidHost_KindOf(iSession) != MdidHost_InputKind::kSessionFolder)
        throw WrongUsage(mApp.get_name() + ": " + iSession + " is no session folder: -o names one to save to");
    return iOutput.value_or(iSession);
}

void WriteLosses(std::ostream& ioStream, const std::string& iFile, const std::vector<MdidHost_Loss>& iLosses)
{
    for (const MdidHost_Loss& loss : iLosses)
        ioStream << MdidHost_Printable(iFile) << ": not kept as it is: " << loss.mWhat << " (" << loss.mCount << ")\n";
}

void WriteReport(std::ostream& ioStream, const std::string& iFile, const MdidHost_ImportReport& iReport)
{
    const std::string file = MdidHost_Printable(iFile);
    for (const MdidHost_Finding& finding : iReport.mFindings)
        ioStream << file << ": 0x" << std::hex << finding.mOffset << std::dec << ": "
                 << MdidHost_NameOf(finding.mSeverity) << ": " << MdidHost_Printable(finding.mText) << '\n';
    WriteLosses(ioStream, iFile, iReport.mLosses);
    ioStream << file << ": " << MdidHost_NameOf(iReport.mGrade) << '\n';
}
