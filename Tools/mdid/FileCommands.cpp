// The commands that show files as they are: info, dump, parse, csv.

#include "Command.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "MdidHost/File/MdidHost_FileDump.h"
#include "MdidHost/File/MdidHost_FileSummary.h"
#include "MdidHost/File/MdidHost_MidiCsv.h"
#include "MdidHost/File/MdidHost_ParseLog.h"
#include "MdidHost/Import/MdidHost_Input.h"
#include "MdidHost/Session/MdidHost_RecordDump.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"
#include "MdidHost/Text/MdidHost_Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <sstream>
#include <system_error>
#include <unistd.h>

namespace
{

constexpr int kMaxBlock = 32767; // what the parser takes in one call

// Runs the reader over a file. What stopped it, if anything did.
std::optional<Failure> ReadMidiFile(Cmn_InStream& ioStream, Mdi_MidiFileParserClient& ioClient, bool iMarkers)
{
    auto failure = FailureOf(
        [&]
        {
            Mdi_MidiFileParser parser(ioStream, ioClient);
            parser.SetCanImportMarkers(iMarkers);
            parser.Parse();
        });
    if (failure && failure->mPosition == Sys_StreamException::kNoPosition)
        failure->mPosition = ioStream.GetPosition();
    return failure;
}

std::optional<Failure> ReadMidiFile(const std::string& iFile, Mdi_MidiFileParserClient& ioClient, bool iMarkers)
{
    std::unique_ptr<Cmn_InStream> streamP;
    if (auto failure = FailureOf([&] { streamP = MdidHost_OpenInput(iFile); }))
        return failure;
    return ReadMidiFile(*streamP, ioClient, iMarkers);
}

class ReaderCommand : public Command
{
protected:
    ReaderCommand(CLI::App& ioProgram, const char* iName, const char* iDescription, const std::string& iExample)
        : Command(ioProgram, iName, iDescription, iExample)
    {
        AddAllowMPE();
        mApp.add_flag("--markers", mMarkers, "Read markers too");
        AddTextOptions();
    }

    bool mMarkers = false;
};

class InfoCommand : public ReaderCommand
{
public:
    explicit InfoCommand(CLI::App& ioProgram)
        : ReaderCommand(ioProgram, "info", "Show what Standard MIDI Files are about", "info --json ~/Songs '*.mid'")
    {
        mApp.add_option("FILE", mFiles, "Files, folders (all MIDI files below them), patterns; - is standard input")
            ->required();
        AddJson(mJson, "One JSON object a file");
    }

    int Run() override
    {
        int result = kDone;
        for (const std::string& file : MdidHost_ExpandInputs(mFiles))
        {
            result = std::max(result, Show(file));
            if (!std::cout.flush()) // and errno still says why
                break;
        }
        return result;
    }

private:
    int Show(const std::string& iFile) const
    {
        MdidHost_FileSummary summary;
        if (const auto failure = ReadMidiFile(iFile, summary, mMarkers))
        {
            Complain(iFile, *failure);
            if (mJson)
            {
                MdidHost_JsonLine line;
                line.Add("file", iFile);
                line.Add("error", failure->mText);
                std::cout << line.GetText() << '\n';
            }
            return kBadInput;
        }
        if (mJson)
            MdidHost_WriteSummaryAsJson(std::cout, iFile, summary);
        else
            MdidHost_WriteSummaryAsText(std::cout, iFile, summary);
        return kDone;
    }

    std::vector<std::string> mFiles;
    bool mJson = false;
};

class DumpCommand : public ReaderCommand
{
public:
    explicit DumpCommand(CLI::App& ioProgram)
        : ReaderCommand(ioProgram, "dump",
                        "Show everything in a Standard MIDI File, in the order of reading, or the records of a session",
                        "dump --format json --allow-mpe song.mid")
    {
        mApp.add_option("FILE", mFile, "A Standard MIDI File, a session folder or a chunk file; - is standard input")
            ->required();
        mApp.add_option("--format", mFormat, "text or json (of MIDI files)")
            ->check(CLI::IsMember({"text", "json"}))
            ->capture_default_str();
    }

    int Run() override
    {
        if (MdidHost_KindOf(mFile) == MdidHost_InputKind::kSessionFolder)
            return DumpSession();
        std::unique_ptr<Cmn_InStream> streamP;
        bool isChunk = false;
        const auto failure = FailureOf(
            [&]
            {
                streamP = MdidHost_OpenInput(mFile);
                isChunk = MdidHost_BeginsLikeChunk(*streamP);
            });
        if (failure || !isChunk)
            return DumpMidiFile(streamP.get(), failure);
        VerifyIsText();
        std::cout << MdidHost_Printable(mFile) << '\n';
        MdidHost_WriteRecords(std::cout, *streamP, mFile);
        return kDone;
    }

private:
    void VerifyIsText() const
    {
        if (mFormat == "json")
            throw WrongUsage("dump: records are shown as text only");
    }

    // While a save runs, its files come and go: what is shown is of one save.
    int DumpSession() const
    {
        VerifyIsText();
        std::ostringstream text;
        const auto write = [&](const std::vector<std::string>& iFiles)
        {
            text.str("");
            for (const std::string& file : iFiles)
            {
                text << MdidHost_Printable(file) << '\n';
                MdidHost_WriteRecords(text, file);
            }
        };
        const auto failure = FailureOf([&] { MdidHost_ReadChunkFiles(mFile, write); });
        std::cout << text.str();
        if (failure)
            Complain(mFile, *failure);
        return failure ? kBadInput : kDone;
    }

    // iStreamP: none when iFailure tells why.
    int DumpMidiFile(Cmn_InStream* iStreamP, std::optional<Failure> iFailure) const
    {
        using Format = MdidHost_FileDump::Format;
        MdidHost_FileDump dump(std::cout, mFormat == "json" ? Format::kJson : Format::kText);
        if (!iFailure)
            iFailure = ReadMidiFile(*iStreamP, dump, mMarkers);
        if (!iFailure)
            return kDone;
        dump.WriteError(iFailure->mText);
        Complain(mFile, *iFailure);
        return kBadInput;
    }

    std::string mFile;
    std::string mFormat = "text";
};

class ParseCommand : public Command
{
public:
    explicit ParseCommand(CLI::App& ioProgram)
        : Command(ioProgram, "parse", "Show the messages in a raw MIDI byte stream, as JSON", "amidi")
    {
        mApp.footer("Example: amidi -d -p hw:1 | xxd -r -p | mdid parse");
        mApp.add_option("FILE", mFile, "Raw MIDI bytes; - is standard input")->capture_default_str();
        mApp.add_option("--block", mBlock, "Feed at most so many bytes a call")
            ->check(CLI::Range(1, kMaxBlock))
            ->capture_default_str();
        AddAllowMPE();
    }

    // What is there is parsed and put out before more is waited for.
    int Run() override
    {
        const bool isStandardInput = mFile == "-";
        const int descriptor = isStandardInput ? STDIN_FILENO : ::open(mFile.c_str(), O_RDONLY | O_CLOEXEC);
        MdidHost_ParseLog parser(std::cout);
        std::array<unsigned char, kMaxBlock> buffer;
        ssize_t count = -1;
        while (descriptor >= 0 && std::cout.good())
        {
            count = ::read(descriptor, buffer.data(), buffer.size());
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                break;
            Feed(parser, {buffer.data(), static_cast<std::size_t>(count)});
            std::cout.flush();
        }
        if (count < 0)
        {
            Complain(mFile, {std::generic_category().message(errno)});
            return kBadInput;
        }
        return kDone;
    }

private:
    void Feed(Mdi_Parse& ioParser, std::span<const unsigned char> iBytes) const
    {
        while (!iBytes.empty())
        {
            const std::size_t count = std::min(iBytes.size(), static_cast<std::size_t>(mBlock));
            ioParser.MidiStream(iBytes.data(), static_cast<short>(count));
            iBytes = iBytes.subspan(count);
        }
    }

    std::string mFile = "-";
    int mBlock = kMaxBlock;
};

class CsvCommand : public Command
{
public:
    explicit CsvCommand(CLI::App& ioProgram)
        : Command(ioProgram, "csv", "Show the events of a Standard MIDI File as comma-separated values",
                  "csv song.mid | grep Note_on_c")
    {
        mApp.add_option("FILE", mFile, "A Standard MIDI File; - is standard input")->required();
    }

    int Run() override
    {
        const auto failure = FailureOf([&] { MdidHost_WriteMidiCsv(std::cout, *MdidHost_OpenInput(mFile)); });
        if (!failure)
            return kDone;
        Complain(mFile, *failure);
        return kBadInput;
    }

private:
    std::string mFile;
};

} // namespace

void AddFileCommands(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<InfoCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<DumpCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<ParseCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<CsvCommand>(ioProgram));
}
