// The commands that show what is in sessions: show, events, xml, diff.

#include "CFnd/Cmn_XMLNode.h"
#include "Command.h"
#include "Mdid/Mdid_Chunk.h"
#include "MdidHost/Edit/MdidHost_Diff.h"
#include "MdidHost/Listing/MdidHost_EventListing.h"
#include "MdidHost/Listing/MdidHost_SessionText.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"

#include <iostream>

namespace
{

class ShowCommand : public SessionCommand
{
public:
    explicit ShowCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "show", "Show the tracks of a session, their notes, lanes and ranges",
                         "show song.mdid")
    {
        AddSession(mSession);
        AddJson(mJson);
    }

    int Run() override
    {
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        if (mJson)
            MdidHost_WriteSessionAsJson(std::cout, mSession, session);
        else
            MdidHost_WriteSessionAsText(std::cout, mSession, session);
        return kDone;
    }

private:
    std::string mSession;
    bool mJson = false;
};

class EventsCommand : public SessionCommand
{
public:
    explicit EventsCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "events", "List the events of a session in order of time",
                         "events song.mdid --from 3 --to 5 --only notes,bends --format json")
    {
        const auto checkKinds = [](const std::string& text)
        { return MdidHost_EventListing::ParseKinds(text) ? std::string() : "not kinds of events: " + text; };
        AddSession(mSession);
        AddTrack(mListing.mTrack);
        AddText(mApp, "--from", mFrom, "Events that begin here or later: 3:2:120, 480t, 48000s, 1.5sec");
        AddText(mApp, "--to", mTo, "Events that begin before this; end is the session's end");
        mApp.add_option("--only", mOnly,
                        "Some of notes,controllers,bends,programs,pressure,polyPressure,sysex (default: all)")
            ->check(checkKinds);
        AddFormat(mListing.mFormat);
    }

    int Run() override
    {
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        VerifyTrack(session, mListing.mTrack);
        const MdidHost_MusicalTime times(session);
        if (mFrom)
            mListing.mStart = ParseTime(times, "--from", *mFrom);
        if (mTo)
            mListing.mEnd = ParseEnd(times, "--to", *mTo);
        if (!mOnly.empty())
            mListing.mKinds = *MdidHost_EventListing::ParseKinds(mOnly);
        MdidHost_ListEvents(std::cout, session, mListing);
        return kDone;
    }

private:
    std::string mSession;
    std::optional<std::string> mFrom;
    std::optional<std::string> mTo;
    std::string mOnly;
    MdidHost_EventListing mListing;
};

class XmlCommand : public SessionCommand
{
public:
    explicit XmlCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "xml", "Show the chunks of a session as XML", "xml song.mdid --track 2")
    {
        AddSession(mSession);
        AddTrack(mTrack);
    }

    int Run() override
    {
        const MdidHost_Session session = Open(mSession);
        const MdidHost_Session::Scope scope(session);
        VerifyTrack(session, mTrack);
        const Cmn_XMLNode::Ptr root = Cmn_CreateXMLNode("MIDI_Session");
        for (int number = 1; number <= std::ssize(session.mTracks); ++number)
            if (!mTrack || *mTrack == number)
                root->AddChild(AsXML(number, session.mTracks[static_cast<std::size_t>(number - 1)]));
        root->WriteText(std::cout);
        return kDone;
    }

private:
    static Cmn_XMLNode::Ptr AsXML(int iNumber, const MdidHost_Track& iTrack)
    {
        Cmn_XMLNode::Ptr track = Cmn_CreateXMLNode("Track");
        track->AddChild(Cmn_CreateXMLNode("Number", iNumber));
        track->AddChild(Cmn_CreateXMLNode("Name", iTrack.mName));
        track->AddChild(iTrack.mChunk->GetAsXML());
        return track;
    }

    std::string mSession;
    std::optional<int> mTrack;
};

class DiffCommand : public SessionCommand
{
public:
    explicit DiffCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "diff",
                         "Show the notes, lanes and events in which two sessions differ; exit code 1 when any do",
                         "diff song.mdid song.mid")
    {
        AddSession(mLeft, "A");
        AddSession(mRight, "B");
    }

    int Run() override
    {
        const MdidHost_Session left = Open(mLeft);
        const MdidHost_Session right = Open(mRight);
        const MdidHost_Session::Scope scope(left);
        return MdidHost_WriteDifferences(std::cout, left, right) == 0 ? kDone : kBadInput;
    }

private:
    std::string mLeft;
    std::string mRight;
};

} // namespace

void AddSessionCommands(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<ShowCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<EventsCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<XmlCommand>(ioProgram));
    ioCommands.push_back(std::make_unique<DiffCommand>(ioProgram));
}
