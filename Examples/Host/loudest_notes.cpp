// Prints the loudest note of every track of a Standard MIDI File: a client of the file reader in forty lines.

#include "CFnd/Sys_FileStream.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_TraceUtil.h"

#include <iostream>

class LoudestNotes : public Mdi_MidiFileParserClient
{
public:
    void BeginTrack() override
    {
        mName.clear();
        mLoudest = Mdid_Event();
    }
    void RxTrackName(const std::string& iText) override { mName = iText; }

    void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short) override
    {
        if (iEvent.GetType() == Mdid_Event::kNoteOn && VelocityOf(iEvent) > VelocityOf(mLoudest))
        {
            mTime = iTime;
            mLoudest = iEvent;
        }
    }

    void EndTrack() override
    {
        if (mLoudest.GetType() != Mdid_Event::kNoteOn)
            return;
        std::cout << mName << ": tick " << mTime << ", ";
        Mdie_TraceUtil::PrintMidiEvent(mLoudest, std::cout);
        std::cout << '\n';
    }

private:
    static int VelocityOf(const Mdid_Event& iEvent)
    {
        return iEvent.GetType() == Mdid_Event::kNoteOn ? iEvent.As<Mdid_NoteOnEvent>().GetVelocity() : 0;
    }

    std::string mName;
    int mTime = 0;
    Mdid_Event mLoudest;
};

int main(int iArgc, char** iArgv)
{
    if (iArgc != 2)
    {
        std::cerr << "usage: loudest_notes FILE.mid\n";
        return 2;
    }
    try
    {
        Sys_FileInStream stream(iArgv[1]);
        LoudestNotes client;
        Mdi_MidiFileParser(stream, client).Parse();
        return 0;
    }
    catch (const std::exception& exception)
    {
        std::cerr << exception.what() << '\n';
    }
    catch (const std::string& text) // a bad SMPTE offset
    {
        std::cerr << text << '\n';
    }
    return 1;
}
