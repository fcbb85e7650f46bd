#include "Command.h"
#include "MdidHost/Import/MdidHost_Input.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "Progress.h"

#include <iostream>
#include <unistd.h>

namespace
{

MdidHost_JsonLine JsonOf(const MdidHost_Finding& iFinding)
{
    MdidHost_JsonLine line;
    line.Add("offset", iFinding.mOffset);
    line.Add("severity", MdidHost_NameOf(iFinding.mSeverity));
    line.Add("text", iFinding.mText);
    return line;
}

MdidHost_JsonLine JsonOf(const MdidHost_Loss& iLoss)
{
    MdidHost_JsonLine line;
    line.Add("what", iLoss.mWhat);
    line.Add("count", iLoss.mCount);
    return line;
}

template <class Item>
void AddArray(MdidHost_JsonLine& ioLine, const char* iKey, const std::vector<Item>& iItems)
{
    std::vector<MdidHost_JsonLine> lines;
    lines.reserve(iItems.size());
    for (const Item& item : iItems)
        lines.push_back(JsonOf(item));
    ioLine.Add(iKey, std::span<const MdidHost_JsonLine>(lines));
}

// Reads files as an import would, and tells how that went.
class CheckCommand : public SessionCommand
{
public:
    explicit CheckCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "check", "Tell what is wrong with MIDI files, and what can be saved of them",
                         "check --json ~/Songs '*.mid'")
    {
        mApp.add_option("FILE", mFiles,
                        "Files, folders (all MIDI files below them), patterns, sessions; - is standard input")
            ->required();
        AddJson(mJson, "One JSON object a file");
    }

    // Bad input is what cannot be read at all.
    int Run() override
    {
        const std::vector<std::string> files = MdidHost_ExpandInputs(mFiles);
        std::optional<Progress> progress;
        if (::isatty(STDOUT_FILENO) != 1) // where the results do not show how far it is
            progress.emplace("checking", files.size());
        int result = kDone;
        for (const std::string& file : files)
        {
            if (!Check(file))
                result = kBadInput;
            if (!std::cout.flush()) // and errno still says why
                break;
            if (progress)
                progress->Advance();
        }
        return result;
    }

private:
    bool Check(const std::string& iFile) const
    {
        MdidHost_ImportReport report;
        const auto failure = FailureOf([&] { Load(iFile, Ndo_Object::kNotUndoable, report); });
        if (failure)
        {
            report.mGrade = MdidHost_Grade::kUnreadable;
            Complain(iFile, *failure);
        }
        if (mJson)
            WriteJson(iFile, report, failure);
        else
            WriteReport(std::cout, iFile, report);
        return !failure;
    }

    static void WriteJson(const std::string& iFile, const MdidHost_ImportReport& iReport,
                          const std::optional<Failure>& iFailure)
    {
        MdidHost_JsonLine line;
        line.Add("file", iFile);
        line.Add("grade", MdidHost_NameOf(iReport.mGrade));
        AddArray(line, "findings", iReport.mFindings);
        AddArray(line, "losses", iReport.mLosses);
        if (iFailure)
        {
            const bool isPlaced = iFailure->mPosition != Sys_StreamException::kNoPosition;
            line.Add("error", iFailure->mText);
            line.Add("errorFile", iFailure->mFile.empty() ? iFile : iFailure->mFile);
            line.Add("offset", isPlaced ? std::optional(iFailure->mPosition) : std::nullopt);
        }
        std::cout << line.GetText() << '\n';
    }

    std::vector<std::string> mFiles;
    bool mJson = false;
};

} // namespace

void AddCheckCommand(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<CheckCommand>(ioProgram));
}
