// The commands about notes in a range of time: notes, clip.

#include "Command.h"
#include "MdidHost/Edit/MdidHost_Clip.h"
#include "MdidHost/Listing/MdidHost_NoteListing.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Text/MdidHost_Text.h"

#include <iostream>
#include <sstream>

namespace
{

class NotesCommand : public SessionCommand
{
public:
    explicit NotesCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "notes", "List the notes that start, sound or overlap somewhere, track by track",
                         "notes song.mdid --overlapping 3..5 --track 2 --format json")
    {
        AddSession(mSession);
        AddTrack(mListing.mTrack);
        CLI::App& which = *mApp.add_option_group("Which notes, one of");
        AddText(which, "--starting", mStarting, "Those that start in a range: 3:1:0..5:1:0, 480t..960t, 1sec..1.5sec");
        AddText(which, "--sounding", mSounding, "Those that sound across a time: 3:2:120");
        AddText(which, "--overlapping", mOverlapping, "Those that sound anywhere in a range");
        which.require_option(1);
        AddFormat(mListing.mFormat);
    }

    int Run() override
    {
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        VerifyTrack(session, mListing.mTrack);
        ParseWhich(MdidHost_MusicalTime(session));
        MdidHost_ListNotes(std::cout, session, mListing);
        return kDone;
    }

private:
    void ParseWhich(const MdidHost_MusicalTime& iTimes)
    {
        using Which = MdidHost_NoteListing::Which;
        mListing.mWhich = mSounding ? Which::kSounding : mStarting ? Which::kStarting : Which::kOverlapping;
        if (mSounding)
        {
            mListing.mStart = ParseTime(iTimes, "--sounding", *mSounding);
            return;
        }
        const auto range = mStarting ? ParseRange(iTimes, "--starting", *mStarting)
                                     : ParseRange(iTimes, "--overlapping", *mOverlapping);
        mListing.mStart = range.mStart;
        mListing.mEnd = range.mEnd;
    }

    std::string mSession;
    std::optional<std::string> mStarting;
    std::optional<std::string> mSounding;
    std::optional<std::string> mOverlapping;
    MdidHost_NoteListing mListing;
};

class ClipCommand : public SessionCommand
{
public:
    explicit ClipCommand(CLI::App& ioProgram)
        : SessionCommand(
              ioProgram, "clip",
              "Save a session as a clip plays it, notes cut at its edges, nothing shifted; what was set before it "
              "(programs, controllers) is left out. Or give cut notes back what was cut",
              "clip song.mdid --from 3:1:0 --to 5:1:0 -o part.mdid")
    {
        AddSession(mSession);
        CLI::Option& from = AddText(mApp, "--from", mFrom, "Where the clip begins: 3:2:120, 480t, 48000s, 1.5sec");
        CLI::Option& to = AddText(mApp, "--to", mTo, "Where it ends; end is the session's end");
        from.needs(&to);
        to.needs(&from);
        mApp.add_flag("--widen", mIsWidening, "Give every note back what clips have cut off")
            ->excludes(&from)
            ->excludes(&to);
        AddText(mApp, "-o,--output", mOutput, "The session folder to save to (--widen: if not SESSION itself)");
    }

    int Run() override
    {
        if (!mIsWidening && !mFrom)
            throw WrongUsage("clip: either --from and --to, or --widen");
        if (!mIsWidening && !mOutput)
            throw WrongUsage("clip: -o names a session folder to save to");
        const std::string folder = FolderToSaveIn(mSession, mOutput);
        MdidHost_Session session = Open(mSession);
        const std::string outcome = mIsWidening ? Widen(session) : Clip(session);
        MdidHost_SaveSession(session, folder);
        std::cout << outcome << '\n';
        return kDone;
    }

private:
    std::string Clip(MdidHost_Session& ioSession) const
    {
        const MdidHost_Session::Scope scope(ioSession);
        const MdidHost_MusicalTime times(ioSession);
        const Time_Typed from = ParseTime(times, "--from", *mFrom);
        const Time_Typed to = ParseEnd(times, "--to", *mTo);
        if (from >= to)
            throw WrongUsage("clip: " + *mFrom + " is not before " + *mTo);
        const auto placeOf = [&](Time_Typed iTime) {
            return ioSession.mDivision.IsSMPTE() ? std::to_string(times.ToFileTick(iTime)) + 't'
                                                 : times.FormatBar(iTime);
        };
        const std::string range = placeOf(from) + ".." + placeOf(times.Parse(*mTo).value_or(to));
        const MdidHost_ClipCounts counts = MdidHost_ClipSession(ioSession, from, to);
        std::ostringstream outcome;
        outcome << "clip " << range << ": " << MdidHost_Counted(counts.mNotes, "note") << ", " << counts.mCutAtStart
                << " cut at the start, " << counts.mCutAtEnd << " at the end; "
                << MdidHost_Counted(counts.mNotesLeftOut, "note") << " and "
                << MdidHost_Counted(counts.mEventsLeftOut, "event") << " left out";
        return outcome.str();
    }

    static std::string Widen(MdidHost_Session& ioSession)
    {
        return "widen: " + MdidHost_Counted(MdidHost_WidenSession(ioSession), "note");
    }

    std::string mSession;
    std::optional<std::string> mFrom;
    std::optional<std::string> mTo;
    std::optional<std::string> mOutput;
    bool mIsWidening = false;
};

} // namespace

void AddNoteCommands(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<NotesCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<ClipCommand>(ioProgram));
}
