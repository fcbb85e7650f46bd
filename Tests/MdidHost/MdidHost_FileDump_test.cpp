#include "MdidHost/File/MdidHost_FileDump.h"

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_SysexEvent.h"

#include <functional>
#include <gtest/gtest.h>
#include <sstream>

namespace
{

std::string Dump(MdidHost_FileDump::Format iFormat, const std::function<void(MdidHost_FileDump&)>& iCall)
{
    std::ostringstream text;
    MdidHost_FileDump dump(text, iFormat);
    iCall(dump);
    return text.str();
}

struct Case
{
    std::function<void(MdidHost_FileDump&)> mCall;
    const char* mJson;
    const char* mText;
};

void SendKey(MdidHost_FileDump& ioDump)
{
    Time_KeySignature key;
    key.SetNumAccidentals(3);
    key.SetIsSharps(true);
    key.SetIsMajor(true);
    ioDump.RxKey(0, key);
}

void SendSysex(MdidHost_FileDump& ioDump)
{
    const unsigned char kBody[] = {0x7E, 0x01};
    ioDump.RxMidiEvent(7, Mdid_SysexEvent(2, kBody), 0);
}

} // namespace

TEST(MdidHost_FileDump, EveryCallbackIsOneLine)
{
    using D = MdidHost_FileDump;
    const Case kCases[] = {
        {[](D& d) { d.SetFormat(1); }, R"({"cb":"SetFormat","format":1})", "SetFormat format 1"},
        {[](D& d) { d.SetNumTracks(65535); }, R"({"cb":"SetNumTracks","count":65535})", "SetNumTracks count 65535"},
        {[](D& d) { d.SetTicksPerQuarterNote(480); }, R"({"cb":"SetTicksPerQuarterNote","ticks":480})",
         "SetTicksPerQuarterNote ticks 480"},
        {[](D& d) { d.SetSMPTETicks(25, false, 40); }, R"({"cb":"SetSMPTETicks","fps":25,"drop":false,"ticks":40})",
         "SetSMPTETicks fps 25, drop no, ticks 40"},
        {[](D& d) { d.BeginMapPass(); }, R"({"cb":"BeginMapPass"})", "BeginMapPass"},
        {[](D& d) { d.EndMapPass(); }, R"({"cb":"EndMapPass"})", "EndMapPass"},
        {[](D& d) { d.AbortMapPass(); }, R"({"cb":"AbortMapPass"})", "AbortMapPass"},
        {[](D& d) { d.BeginGlobalPass(); }, R"({"cb":"BeginGlobalPass"})", "BeginGlobalPass"},
        {[](D& d) { d.EndGlobalPass(); }, R"({"cb":"EndGlobalPass"})", "EndGlobalPass"},
        {[](D& d) { d.AbortGlobalPass(); }, R"({"cb":"AbortGlobalPass"})", "AbortGlobalPass"},
        {[](D& d) { d.BeginTrack(); }, R"({"cb":"BeginTrack"})", "BeginTrack"},
        {[](D& d) { d.EndTrack(); }, R"({"cb":"EndTrack"})", "EndTrack"},
        {[](D& d) { d.AbortTrack(); }, R"({"cb":"AbortTrack"})", "AbortTrack"},
        {[](D& d) { d.Complete(); }, R"({"cb":"Complete"})", "Complete"},
        {[](D& d) { d.RxMidiEvent(0, Mdid_NoteOnEvent(0, 60, 64), 9); },
         R"({"cb":"RxMidiEvent","time":0,"type":1,"channel":0,"statusChannel":9,"bytes":"90 3c 40"})",
         "RxMidiEvent time 0, channel 10, NoteOn(60, 64)"}, // people count from 1
        {SendSysex, R"({"cb":"RxMidiEvent","time":7,"type":14,"channel":0,"statusChannel":0,"bytes":"f0 7e 01 f7"})",
         "RxMidiEvent time 7, Sysex - f0 7e 01 f7"},
        {[](D& d) { d.RxTrackName("a\"\x1bü"); }, R"({"cb":"RxTrackName","text":"a\"\u001bü"})",
         "RxTrackName text \"a\"\\x1bü\""},
        {[](D& d) { d.RxTrackComment(""); }, R"({"cb":"RxTrackComment","text":""})", "RxTrackComment text \"\""},
        {[](D& d) { d.RxTrackInstrumentName("x"); }, R"({"cb":"RxTrackInstrumentName","text":"x"})",
         "RxTrackInstrumentName text \"x\""},
        {[](D& d) { d.RxChannel(255); }, R"({"cb":"RxChannel","channel":255})", "RxChannel channel 256"},
        {[](D& d) { d.RxEndOfTrack(-1); }, R"({"cb":"RxEndOfTrack","time":-1})", "RxEndOfTrack time -1"},
        {[](D& d) { d.RxTempo(0, 500000); }, R"({"cb":"RxTempo","time":0,"usPerQuarter":500000})",
         "RxTempo time 0, usPerQuarter 500000"},
        {[](D& d) { d.RxMeter(0, 6, 8, 64, 8); },
         R"({"cb":"RxMeter","time":0,"numerator":6,"denominator":8,"clocks":64,"thirtySeconds":8})",
         "RxMeter time 0, numerator 6, denominator 8, clocks 64, thirtySeconds 8"},
        {SendKey, R"({"cb":"RxKey","time":0,"accidentals":3,"sharps":true,"major":true})",
         "RxKey time 0, accidentals 3, sharps yes, major yes"},
        {[](D& d) {
             d.RxSMPTEOffset({25, 1, 2, 3, 4, 5});
         },
         R"({"cb":"RxSMPTEOffset","rate":25,"h":1,"m":2,"s":3,"f":4,"hundredths":5})",
         "RxSMPTEOffset rate 25, h 1, m 2, s 3, f 4, hundredths 5"},
        {[](D& d) { d.RxMarker(9, "A"); }, R"({"cb":"RxMarker","time":9,"text":"A"})", "RxMarker time 9, text \"A\""},
        {[](D& d) { d.RxUnknownMetaEvent(0, 127, 3); }, R"({"cb":"RxUnknownMetaEvent","time":0,"type":127,"length":3})",
         "RxUnknownMetaEvent time 0, type 127, length 3"},
    };
    for (const auto& [call, json, text] : kCases)
    {
        EXPECT_EQ(Dump(MdidHost_FileDump::Format::kJson, call), std::string(json) + '\n');
        EXPECT_EQ(Dump(MdidHost_FileDump::Format::kText, call), std::string(text) + '\n');
    }
}

TEST(MdidHost_FileDump, AFailureEndsJsonOnly)
{
    const auto writeError = [](MdidHost_FileDump& dump) { dump.WriteError("\"x\""); };
    EXPECT_EQ(Dump(MdidHost_FileDump::Format::kJson, writeError), "{\"error\":\"\\\"x\\\"\"}\n");
    EXPECT_EQ(Dump(MdidHost_FileDump::Format::kText, writeError), ""); // people read it on standard error
}
