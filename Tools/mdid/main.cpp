// The command-line host: parses arguments, calls the libraries, prints.

#include "CFnd/I18N_Utils.h"
#include "CFnd/Sys_StreamException.h"
#include "Mdid/Mdid_Init.h"
#include "Mdid/Mdid_Options.h"
#include "MdidHost/MdidHost_FileDump.h"
#include "MdidHost/MdidHost_FileSummary.h"
#include "MdidHost/MdidHost_Input.h"
#include "MdidHost/MdidHost_ParseLog.h"
#include "MdidHost/MdidHost_Text.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <system_error>
#include <unistd.h>

namespace
{

constexpr int kDone = 0;
constexpr int kBadInput = 1;
constexpr int kWrongUsage = 2;

constexpr int kMaxBlock = 32767; // what the parser takes in one call

// What is wrong with an input, and where.
struct Failure
{
    std::string mText;
    std::int64_t mPosition;
};

// One line on standard error: the file, the position, what is wrong. Texts that name the file themselves lose it.
void Complain(const std::string& iFile, const Failure& iFailure)
{
    std::string text = iFailure.mText;
    const std::string name = " '" + iFile + '\'';
    if (const std::size_t found = text.find(name); found != std::string::npos)
        text.erase(found, name.size());
    std::cerr << "mdid: " << MdidHost_Printable(iFile) << ": ";
    if (iFailure.mPosition != Sys_StreamException::kNoPosition)
        std::cerr << "byte " << iFailure.mPosition << ": ";
    std::cerr << MdidHost_Printable(text) << '\n';
}

// Runs the reader over a file. What stopped it, if anything did.
std::optional<Failure> ReadMidiFile(const std::string& iFile, Mdi_MidiFileParserClient& ioClient, bool iMarkers)
{
    std::unique_ptr<Cmn_InStream> stream;
    const auto failure = [&](const std::string& text) {
        return Failure{text, stream ? stream->GetPosition() : Sys_StreamException::kNoPosition};
    };
    try
    {
        stream = MdidHost_OpenInput(iFile);
        Mdi_MidiFileParser parser(*stream, ioClient);
        parser.SetCanImportMarkers(iMarkers);
        parser.Parse();
        return {};
    }
    catch (const Sys_StreamException& exception)
    {
        return Failure{exception.GetReason(), exception.GetPosition()};
    }
    catch (const std::exception& exception)
    {
        return failure(exception.what());
    }
    catch (const std::string& text) // a bad SMPTE offset
    {
        return failure(text);
    }
}

struct InfoCommand
{
    std::vector<std::string> mFiles;
    bool mJson = false;
    bool mMarkers = false;

    int Run() const
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
            std::cout.flush();
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
};

struct DumpCommand
{
    std::string mFile;
    bool mMarkers = false;
    std::string mFormat = "text";

    int Run() const
    {
        using Format = MdidHost_FileDump::Format;
        MdidHost_FileDump dump(std::cout, mFormat == "json" ? Format::kJson : Format::kText);
        const auto failure = ReadMidiFile(mFile, dump, mMarkers);
        if (!failure)
            return kDone;
        dump.WriteError(failure->mText);
        std::cout.flush();
        Complain(mFile, *failure);
        return kBadInput;
    }
};

struct ParseCommand
{
    std::string mFile = "-";
    int mBlock = kMaxBlock;

    // What is there is parsed and put out before more is waited for.
    int Run() const
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
            Complain(mFile, {std::generic_category().message(errno), Sys_StreamException::kNoPosition});
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
};

struct CommonOptions
{
    bool mAllowMPE = false;
    std::string mLanguage;
    std::string mEncoding;

    // Before the first message is loaded, and before the first parser is made.
    void Apply() const
    {
        if (mAllowMPE)
            Mdid_AllowMPE().Set(true);
        if (!mLanguage.empty())
            I18N_Utils::SetCurrentLanguage(mLanguage);
        if (!mEncoding.empty())
            I18N_Utils::SetNativeTextEncoding(mEncoding);
    }
};

void AddAllowMPE(CLI::App& ioCommand, CommonOptions& ioOptions)
{
    ioCommand.add_flag("--allow-mpe", ioOptions.mAllowMPE, "Keep the channels of events (else all go to channel 1)");
}

void AddReaderOptions(CLI::App& ioCommand, CommonOptions& ioOptions, bool& ioMarkers)
{
    AddAllowMPE(ioCommand, ioOptions);
    ioCommand.add_flag("--markers", ioMarkers, "Read markers too");
    ioCommand.add_option("--language", ioOptions.mLanguage, "Language of error messages, for example de")
        ->check(
            [](const std::string& language)
            {
                const std::string before = I18N_Utils::GetCurrentLanguage();
                const bool isKnown = I18N_Utils::SetCurrentLanguage(language);
                I18N_Utils::SetCurrentLanguage(before);
                return isKnown ? std::string() : "not a language: " + language;
            });
    ioCommand
        .add_option("--encoding", ioOptions.mEncoding,
                    "Encoding of texts in the file (default: UTF-8 where they are valid, else Windows-1252)")
        ->check([](const std::string& encoding)
                { return I18N_Utils::IsKnownEncoding(encoding) ? std::string() : "unknown encoding: " + encoding; });
}

CLI::App& AddInfo(CLI::App& ioApp, InfoCommand& ioCommand, CommonOptions& ioOptions)
{
    CLI::App& info = *ioApp.add_subcommand("info", "Show what Standard MIDI Files are about");
    info.add_option("FILE", ioCommand.mFiles,
                    "Files, folders (all MIDI files below them), patterns; - is standard input")
        ->required();
    info.add_flag("--json", ioCommand.mJson, "One JSON object a file");
    AddReaderOptions(info, ioOptions, ioCommand.mMarkers);
    info.footer("Example: mdid info --json ~/Songs '*.mid'");
    return info;
}

CLI::App& AddDump(CLI::App& ioApp, DumpCommand& ioCommand, CommonOptions& ioOptions)
{
    CLI::App& dump = *ioApp.add_subcommand("dump", "Show everything in a Standard MIDI File, in the order of reading");
    dump.add_option("FILE", ioCommand.mFile, "A Standard MIDI File; - is standard input")->required();
    dump.add_option("--format", ioCommand.mFormat, "text or json")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
    AddReaderOptions(dump, ioOptions, ioCommand.mMarkers);
    dump.footer("Example: mdid dump --format json --allow-mpe song.mid");
    return dump;
}

CLI::App& AddParse(CLI::App& ioApp, ParseCommand& ioCommand, CommonOptions& ioOptions)
{
    CLI::App& parse = *ioApp.add_subcommand("parse", "Show the messages in a raw MIDI byte stream, as JSON");
    parse.add_option("FILE", ioCommand.mFile, "Raw MIDI bytes; - is standard input")->capture_default_str();
    parse.add_option("--block", ioCommand.mBlock, "Feed at most so many bytes a call")
        ->check(CLI::Range(1, kMaxBlock))
        ->capture_default_str();
    AddAllowMPE(parse, ioOptions);
    parse.footer("Example: amidi -d -p hw:1 | xxd -r -p | mdid parse");
    return parse;
}

int Run(int iArgc, char** iArgv)
{
    CLI::App app("Reads MIDI files and MIDI bytes, and tells what is in them.", "mdid");
    app.require_subcommand(1);
    app.set_version_flag("--version", MDID_VERSION);
    app.footer("Results go to standard output, messages to standard error.\n"
               "Exit code: 0 done, 1 bad input, 2 wrong usage.\n"
               "Example: mdid info song.mid");

    CommonOptions options;
    InfoCommand info;
    DumpCommand dump;
    ParseCommand parse;
    const CLI::App& infoApp = AddInfo(app, info, options);
    const CLI::App& dumpApp = AddDump(app, dump, options);
    AddParse(app, parse, options);
    try
    {
        app.parse(iArgc, iArgv);
    }
    catch (const CLI::ParseError& error)
    {
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }

    options.Apply();
    return infoApp.parsed() ? info.Run() : dumpApp.parsed() ? dump.Run() : parse.Run();
}

} // namespace

int main(int iArgc, char** iArgv)
{
    std::ios::sync_with_stdio(false);
    std::cin.tie(nullptr);
    Mdid_Init::Init();
    int result = kBadInput;
    try
    {
        result = Run(iArgc, iArgv);
    }
    catch (const std::exception& exception)
    {
        std::cerr << "mdid: " << exception.what() << '\n';
    }
    if (!std::cout.flush())
    {
        std::cerr << "mdid: standard output: " << std::generic_category().message(errno) << '\n';
        result = kBadInput;
    }
    Mdid_Init::Free();
    return result;
}
