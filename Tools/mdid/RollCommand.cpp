// The command that draws: roll.

#include "CFnd/Sys_FileStream.h"
#include "Command.h"
#include "MdidHost/PianoRoll/MdidHost_PianoRoll.h"

#include <filesystem>

namespace
{

class RollCommand : public SessionCommand
{
public:
    explicit RollCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "roll",
                         "Draw a session as a piano roll: notes by pitch and time, cut and muted ones told apart, "
                         "controllers underneath",
                         "roll song.mid -o song.pdf --from 3 --to 11 --lanes 1,64,bend")
    {
        AddSession(mSession);
        mApp.add_option("-o,--output", mOutput, "The picture: a file that ends in .svg, .png or .pdf")->required();
        AddTrack(mRoll.mTrack);
        AddText(mApp, "--from", mFrom, "Where it begins: 3:2:120, 480t, 48000s, 1.5sec (default: with the first note)");
        AddText(mApp, "--to", mTo, "Where it ends; end is the session's end (default: behind the last note)");
        AddText(mApp, "--lanes", mLanes, "Controllers by number, bend, pressure: 1,7,74,bend");
        mApp.add_option("--width", mRoll.mWidth, "Width in pixels")
            ->check(CLI::Range(MdidHost_PianoRoll::kMinWidth, MdidHost_PianoRoll::kMaxWidth))
            ->capture_default_str();
    }

    int Run() override
    {
        const auto format = MdidHost_PianoRoll::FormatOf(mOutput);
        if (!format)
            throw WrongUsage("roll: -o names a file that ends in .svg, .png or .pdf, unlike " + mOutput);
        ParseLanes();
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        VerifyTrack(session, mRoll.mTrack);
        ParseRange(MdidHost_MusicalTime(session));
        mRoll.mTitle = std::filesystem::path(mSession).lexically_normal().filename().string();
        Sys_FileOutStream stream(mOutput);
        try
        {
            MdidHost_DrawPianoRoll(session, mRoll, *format, stream);
        }
        catch (const std::length_error& error)
        {
            throw MdidHost_FileError(mSession, error.what());
        }
        stream.Commit();
        return kDone;
    }

private:
    void ParseLanes()
    {
        const auto lanes = MdidHost_PianoRoll::ParseLanes(mLanes.value_or("1"));
        if (!lanes)
            throw WrongUsage("--lanes: not controllers from 1 to 119, bend or pressure: " + *mLanes);
        if (mLanes)
            mRoll.mLanes = *lanes;
    }

    void ParseRange(const MdidHost_MusicalTime& iTimes)
    {
        if (mFrom)
            mRoll.mStart = ParseTime(iTimes, "--from", *mFrom);
        if (mTo)
            mRoll.mEnd = ParseEnd(iTimes, "--to", *mTo);
        if (mFrom && mTo && *mRoll.mStart >= *mRoll.mEnd)
            throw WrongUsage("roll: " + *mFrom + " is not before " + *mTo);
    }

    std::string mSession;
    std::string mOutput;
    std::optional<std::string> mFrom;
    std::optional<std::string> mTo;
    std::optional<std::string> mLanes;
    MdidHost_PianoRoll mRoll;
};

} // namespace

void AddRollCommand(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<RollCommand>(ioProgram));
}
