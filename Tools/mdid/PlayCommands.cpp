// The commands that play: play, chase, scrub.

#include "CFnd/Sys_FileStream.h"
#include "Command.h"
#include "MdidHost/Play/MdidHost_LivePlay.h"
#include "MdidHost/Play/MdidHost_PlayListing.h"
#include "MdidHost/Play/MdidHost_Scrub.h"
#include "PlayToPort.h"

#include <algorithm>
#include <iostream>
#include <limits>
#include <string_view>

namespace
{

constexpr std::string_view kUpTo = "..";
constexpr const char* kTimeForms = ": 3:2:120, 480t, 48000s, 1.5sec";

class PlayingCommand : public SessionCommand
{
protected:
    PlayingCommand(CLI::App& ioProgram, const char* iName, const char* iDescription, const std::string& iExample)
        : SessionCommand(ioProgram, iName, iDescription, iExample)
    {
        AddSession(mSession);
        mApp.add_option("--format", mFormat, "text or json (one object a line)")
            ->check(CLI::IsMember({"text", "json"}))
            ->default_str("text");
    }

    bool IsJson() const { return mFormat == "json"; }

    // The first one that is not earlier than the time.
    static std::int64_t SampleOf(Time_Typed iTime)
    {
        return Time_Globals::GetContext().ToSampleUpward(iTime).AsInt64();
    }
    static std::int64_t ParseSample(const MdidHost_MusicalTime& iTimes, const char* iOption, const std::string& iText)
    {
        return SampleOf(ParseTime(iTimes, iOption, iText));
    }

    static void Render(MdidHost_Player& ioPlayer, MdidHost_PlaySink& ioSink)
    {
        while (ioPlayer.Render(ioSink))
            continue;
    }

    std::string mSession;
    std::string mFormat; // empty: none was asked for
};

class ChaseCommand : public PlayingCommand
{
public:
    explicit ChaseCommand(CLI::App& ioProgram)
        : PlayingCommand(ioProgram, "chase",
                         "List what is sent when play begins somewhere, so that all sounds as if it had been played "
                         "from the beginning",
                         "chase song.mdid --at 5:1:0 --track 2")
    {
        AddText(mApp, "--at", mAt, (std::string("Where play begins") + kTimeForms).c_str()).required();
        AddTrack(mTrack);
    }

    int Run() override
    {
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        VerifyTrack(session, mTrack);
        constexpr std::int64_t kLast = MdidHost_PlayOptions::kMaxPosition - 1; // there is a sample behind it
        MdidHost_PlayOptions options;
        options.mStart = std::min(ParseSample(MdidHost_MusicalTime(session), "--at", mAt.value_or("")), kLast);
        options.mEnd = options.mStart + 1;
        MdidHost_PlayListing listing(std::cout, session, {IsJson(), mTrack, true});
        MdidHost_Player player(session, options);
        Render(player, listing);
        return kDone;
    }

private:
    std::optional<std::string> mAt;
    std::optional<int> mTrack;
};

// Gives what is played to one or two.
class Distributor : public MdidHost_PlaySink
{
public:
    void Add(MdidHost_PlaySink& ioSink) { mSinks.push_back(&ioSink); }

    void Receive(const MdidHost_PlayedEvent& iEvent) override
    {
        for (MdidHost_PlaySink* const sinkP : mSinks)
            sinkP->Receive(iEvent);
    }

private:
    std::vector<MdidHost_PlaySink*> mSinks;
};

class PlayCommand : public PlayingCommand
{
public:
    explicit PlayCommand(CLI::App& ioProgram)
        : PlayingCommand(ioProgram, "play",
                         "Play a session as an engine does, with loops, jumps and mutes, and list what is sent, "
                         "write it to a MIDI file, or send it to a MIDI output",
                         "play song.mdid --from 3 --to 11 --loop 5..7 --jump 9..4 --mute 2 --format json")
    {
        AddText(mApp, "--from", mFrom, (std::string("Where it begins") + kTimeForms + " (default: 0s)").c_str());
        AddText(mApp, "--to", mTo, "Where it ends: before this; end is the session's end (default: behind everything)");
        AddText(mApp, "--loop", mLoop,
                "A..B, without B, is played several times before play goes on; B may be end, the session's end");
        mApp.add_option("--rounds", mRounds, "How many times the loop is played in all")
            ->check(CLI::Range(1, kMaxRounds))
            ->capture_default_str()
            ->needs("--loop");
        AddMany("--jump", mJumps, "AT..TO: when play comes to AT, it goes to TO, once");
        AddMany("--mute", mMutes, "A track that is silent, from 1").check(kFromOne);
        AddText(mApp, "-o,--output", mOutput, "A Standard MIDI File of what is played; - is standard output");
        AddText(mApp, "--port", mPort, "Play in real time to this MIDI output; a part of its name will do")
            .check([](const std::string& iName) { return iName.empty() ? std::string("a name is missing") : ""; })
            ->excludes("--output")
            ->excludes("--format");
    }

    int Run() override
    {
        if (mOutput == "-" && !mFormat.empty())
            throw WrongUsage("play: not both a file and a listing go to standard output");
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        const MdidHost_PlayOptions options = ParseOptions(MdidHost_MusicalTime(session));
        for (const int track : mMutes)
            if (track > std::ssize(session.mTracks))
                throw WrongUsage("--mute: there is no track " + std::to_string(track) + " among " +
                                 std::to_string(session.mTracks.size()));
        if (mPort)
            PlayLive(session, options);
        else if (!mOutput)
            Play(session, options, nullptr);
        else if (*mOutput == "-")
        {
            Sys_MemoryOutStream stream;
            Play(session, options, &stream);
            const auto bytes = stream.GetBytes();
            std::cout.write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        }
        else
        {
            Sys_FileOutStream stream(*mOutput);
            Play(session, options, &stream);
            stream.Commit();
        }
        return kDone;
    }

private:
    static constexpr int kMaxRounds = 1'000'000;

    // One value behind each name.
    template <class T>
    CLI::Option& AddMany(const char* iName, std::vector<T>& ioValues, const char* iDescription)
    {
        return *mApp.add_option(iName, ioValues, iDescription)->allow_extra_args(false);
    }

    MdidHost_PlayOptions ParseOptions(const MdidHost_MusicalTime& iTimes) const
    {
        MdidHost_PlayOptions options;
        options.mBlockSize = std::numeric_limits<std::int64_t>::max(); // all at once
        if (mFrom)
            options.mStart = ParseSample(iTimes, "--from", *mFrom);
        if (mTo)
            options.mEnd = SampleOf(ParseEnd(iTimes, "--to", *mTo));
        if (options.mEnd && options.mStart >= *options.mEnd)
            throw WrongUsage("play: " + mFrom.value_or("0s") + " is not before " + *mTo);
        if (mLoop)
        {
            const auto range = ParseRange(iTimes, "--loop", *mLoop);
            options.mLoops = {{SampleOf(range.mStart), SampleOf(range.mEnd), mRounds}};
            if (options.mLoops[0].mStart >= options.mLoops[0].mEnd)
                throw WrongUsage("--loop: there is nothing in " + *mLoop);
        }
        for (const std::string& jump : mJumps)
            options.mJumps.push_back(ParseJump(iTimes, jump));
        return options;
    }

    static MdidHost_PlayOptions::Jump ParseJump(const MdidHost_MusicalTime& iTimes, const std::string& iText)
    {
        const std::size_t dots = iText.find(kUpTo);
        if (dots == std::string::npos)
            throw WrongUsage("--jump: not AT..TO: " + iText);
        return {ParseSample(iTimes, "--jump", iText.substr(0, dots)),
                ParseSample(iTimes, "--jump", iText.substr(dots + kUpTo.size()))};
    }

    void Play(const MdidHost_Session& iSession, const MdidHost_PlayOptions& iOptions, Cmn_OutStream* ioStreamP) const
    {
        std::optional<MdidHost_PlayListing> listing;
        std::optional<MdidHost_PlayedFile> file;
        Distributor distributor;
        if (ioStreamP)
            distributor.Add(file.emplace(iSession));
        if (!ioStreamP || !mFormat.empty())
            distributor.Add(listing.emplace(std::cout, iSession, MdidHost_PlayListingOptions{IsJson(), {}, false}));
        MdidHost_Player player(iSession, iOptions);
        Mute(player);
        Render(player, distributor);
        if (file)
            file->Write(*ioStreamP, mTo ? player.GetElapsed() : 0);
    }

    void PlayLive(const MdidHost_Session& iSession, MdidHost_PlayOptions iOptions) const
    {
        iOptions.mBlockSize = MdidHost_LiveBlockSize(iSession.mContext.GetSampleRate());
        MdidHost_Player player(iSession, iOptions);
        Mute(player);
        PlayToPort(player, *mPort);
    }

    void Mute(MdidHost_Player& ioPlayer) const
    {
        for (const int track : mMutes)
            ioPlayer.SetMuted(static_cast<std::size_t>(track - 1), true);
    }

    std::optional<std::string> mFrom;
    std::optional<std::string> mTo;
    std::optional<std::string> mLoop;
    int mRounds = MdidHost_PlayOptions::Loop().mRounds;
    std::vector<std::string> mJumps;
    std::vector<int> mMutes;
    std::optional<std::string> mOutput;
    std::optional<std::string> mPort;
};

class ScrubCommand : public PlayingCommand
{
public:
    explicit ScrubCommand(CLI::App& ioProgram)
        : PlayingCommand(ioProgram, "scrub",
                         "List the notes and pitch bends that a position passes when it is dragged back and forth",
                         "scrub song.mdid --path 0sec,10sec,5sec,12sec")
    {
        AddText(mApp, "--path", mPath,
                (std::string("Where the position is dragged along, from the first time on, with commas") + kTimeForms)
                    .c_str())
            .required();
        AddTrack(mListing.mTrack);
    }

    int Run() override
    {
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        VerifyTrack(session, mListing.mTrack);
        ParsePath(MdidHost_MusicalTime(session));
        mListing.mIsJson = IsJson();
        MdidHost_ListScrub(std::cout, session, mListing);
        return kDone;
    }

private:
    void ParsePath(const MdidHost_MusicalTime& iTimes)
    {
        const std::string path = mPath.value_or("");
        for (std::size_t start = 0; start <= path.size();)
        {
            const std::size_t comma = std::min(path.find(',', start), path.size());
            mListing.mPath.push_back(ParseSample(iTimes, "--path", path.substr(start, comma - start)));
            start = comma + 1;
        }
    }

    std::optional<std::string> mPath;
    MdidHost_ScrubListing mListing;
};

} // namespace

void AddPlayCommands(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<ChaseCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<PlayCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<ScrubCommand>(ioProgram));
}
