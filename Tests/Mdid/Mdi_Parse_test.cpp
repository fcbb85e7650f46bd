#include "Mdid/Mdi_Parse.h"

#include "Support/CallbackLog.h"
#include "Support/Hex.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <regex>
#include <utility>

namespace
{

using Bytes = std::vector<unsigned char>;

// Each operation as one line, "NoteOn 90 3c 40".
struct Log
{
    std::vector<std::string> mLines;
    std::size_t mEventfulLine = 0;
    std::function<void()> mEvent; // in the call of the operation for that line

    // What the operation returns: no constant, so that a result that comes from another call shows.
    bool Add(const char* iName, const Bytes& iMessage)
    {
        mLines.push_back(std::string(iName) + " " + ToHex(iMessage));
        if (mLines.size() == mEventfulLine)
            mEvent();
        return std::accumulate(iMessage.begin(), iMessage.end(), 0) % 2 != 0;
    }
};

struct LoggingParser : Mdi_Parse, Log
{
    bool ParseRealTime(const unsigned char* i) override { return Tell("RealTime", i, 1); }
    bool ParseSysEx(const unsigned char* i, short iLength) override { return Tell("SysEx", i, iLength); }
    bool ParseNoteOff(const unsigned char* i) override { return Tell("NoteOff", i, 3); }
    bool ParseNoteOn(const unsigned char* i) override { return Tell("NoteOn", i, 3); }
    bool ParsePolyPressure(const unsigned char* i) override { return Tell("PolyPressure", i, 3); }
    bool ParseChannelMode(const unsigned char* i) override { return Tell("ChannelMode", i, 3); }
    bool ParseController(const unsigned char* i) override { return Tell("Controller", i, 3); }
    bool ParseProgramChange(const unsigned char* i) override { return Tell("ProgramChange", i, 2); }
    bool ParseChannelPressure(const unsigned char* i) override { return Tell("ChannelPressure", i, 2); }
    bool ParsePitchBend(const unsigned char* i) override { return Tell("PitchBend", i, 3); }
    bool ParseTimecode(const unsigned char* i) override { return Tell("Timecode", i, 2); }
    bool ParseSongPointer(const unsigned char* i) override { return Tell("SongPointer", i, 3); }
    bool ParseSongSelect(const unsigned char* i) override { return Tell("SongSelect", i, 2); }
    bool ParseTuneRequest(const unsigned char* i) override { return Tell("TuneRequest", i, 1); }

private:
    bool Tell(const char* iName, const unsigned char* i, int iLength) { return Add(iName, Bytes(i, i + iLength)); }
};

// The same by the plainest means: one byte after the other, and a list of what belongs to the message so far.
struct ModelParser : Log
{
    bool MidiStream(const unsigned char* iBytes, short iLength)
    {
        mResult = false;
        std::for_each(iBytes, iBytes + iLength, [this](unsigned char byte) { FeedByte(byte); });
        return mResult;
    }
    void Reset() { mStatus = 0, mMessage = {}; }
    short GetChannel() const { return mStatus != 0 ? mStatus % 16 : -1; }

private:
    // Name and length of a message; null: it is dropped.
    static constexpr std::pair<const char*, std::size_t> kKinds[] = {
        {"NoteOff", 3},         {"NoteOn", 3},    {"PolyPressure", 3}, {"Controller", 3},  {"ProgramChange", 2},
        {"ChannelPressure", 2}, {"PitchBend", 3}, {nullptr, 257},      {"Timecode", 2},    {"SongPointer", 3},
        {"SongSelect", 2},      {nullptr, 1},     {nullptr, 1},        {"TuneRequest", 1}, {nullptr, 1}};

    void FeedByte(unsigned char iByte)
    {
        if (iByte >= 0xF8)
            return Tell("RealTime", {iByte});
        const bool endsSysex = iByte == 0xF7 && !mMessage.empty() && mMessage[0] == 0xF0;
        if (iByte >= 0x80 && !endsSysex)
        {
            mStatus = iByte < 0xF0 ? iByte : 0;
            mMessage.clear();
        }
        else if (mMessage.empty() && mStatus != 0)
            mMessage = {mStatus};
        else if (mMessage.empty())
            return;
        mMessage.push_back(iByte);

        const unsigned char status = mMessage[0];
        const auto [name, length] = kKinds[status < 0xF0 ? status / 16 - 8 : status - 0xE9];
        if (mMessage.size() < length && !endsSysex)
            return;
        const Bytes message = std::exchange(mMessage, {});
        if (endsSysex)
            Tell("SysEx", message);
        else if (status / 16 == 9 && message[2] == 0)
            Tell("NoteOff", {static_cast<unsigned char>(status - 16), message[1], 64});
        else if (status / 16 == 11 && message[1] >= 120)
            Tell("ChannelMode", message);
        else if (name != nullptr)
            Tell(name, message);
    }

    void Tell(const char* iName, const Bytes& iMessage) { mResult = Add(iName, iMessage); }

    unsigned char mStatus = 0;
    Bytes mMessage;
    bool mResult = false;
};

template <class Parser>
bool Feed(Parser& ioParser, std::span<const unsigned char> iBytes)
{
    return ioParser.MidiStream(iBytes.data(), static_cast<short>(iBytes.size()));
}

// All kinds of bytes follow each other, with the values that decide something, and real time between any two.
Bytes RandomStream(unsigned iSeed)
{
    std::mt19937 random(iSeed);
    Bytes stream;
    const auto add = [&](std::initializer_list<int> iChoice, std::size_t iCount = 1)
    { stream.insert(stream.end(), iCount, static_cast<unsigned char>(iChoice.begin()[random() % iChoice.size()])); };
    while (random() % 50 != 0)
    {
        const auto kind = random() % 100;
        if (kind < 60)
            add({0x00, 0x01, 0x40, 0x77, 0x78, 0x7F});
        else if (kind < 85)
            add({0x80, 0x90, 0x90, 0x91, 0xA2, 0xB3, 0xB3, 0xC4, 0xD5, 0xEF});
        else
            add({0xF0, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF7});
        if (kind == 99)
            add({0x11}, 250 + random() % 10); // about as much as the longest message has
        if (kind % 4 == 0)
            add({0xF8, 0xFE, 0xFF});
    }
    return stream;
}

// Also when an operation meanwhile throws, resets the parser, or feeds it.
TEST(Mdi_Parse, RandomStreamsInPiecesAgreeWithTheModel)
{
    for (unsigned seed = 0; seed < 6000; ++seed)
    {
        const Bytes stream = RandomStream(seed);
        const auto logOf = [&]<class Parser>(Parser&& ioParser)
        {
            ioParser.mEventfulLine = seed % 7;
            ioParser.mEvent = [&]
            {
                if (seed % 3 == 0)
                    throw 42;
                if (seed % 3 == 1)
                    ioParser.Reset();
                Feed(ioParser, RandomStream(seed + 1));
            };
            const std::size_t size = 1 + seed % 50;
            for (std::size_t first = 0; first < stream.size(); first += size)
            {
                try
                {
                    const auto piece = std::span(stream).subspan(first, std::min(size, stream.size() - first));
                    ioParser.mLines.push_back(Feed(ioParser, piece) ? "true" : "false");
                }
                catch (int)
                {
                }
            }
            ioParser.mLines.push_back(std::to_string(ioParser.GetChannel()));
            return ioParser.mLines;
        };
        ASSERT_EQ(logOf(LoggingParser()), logOf(ModelParser())) << "seed " << seed << ": " << ToHex(stream);
    }
}

struct LoggingReceiver : Mdie_EventReceiver
{
    void ReceiveEvent(const Mdid_Event& iEvent) override { mLines.push_back(EventToText(iEvent)); }
    std::vector<std::string> mLines;
};

// The operations of a subclass are called; without one the events are made on a shorter way.
struct NoteCounter : Mdi_ParseToEventReceiver
{
    int mCount = 0;
    bool ParseNoteOn(const unsigned char* i) override { return ++mCount, Mdi_ParseToEventReceiver::ParseNoteOn(i); }
};

std::string EventsMade(Mdi_ParseToEventReceiver& ioParser, std::string_view iHex)
{
    LoggingReceiver receiver;
    ioParser.SetEventReceiver(&receiver);
    Feed(ioParser, FromHex(iHex));
    ioParser.SetEventReceiver(nullptr);
    return Join(receiver.mLines);
}

TEST(Mdi_ParseToEventReceiver, ChannelMessagesBecomeEvents)
{
    constexpr const char* kBytes = "89 3c 3f 99 3c 40 3c 00 a9 3c 05 b9 07 06 77 01 78 02 c9 7f d9 08 e9 00 00 7f 7f";
    // The bank of a program stays disabled: one message.
    const std::string on = "#2 9 89 3c 3f, #1 9 99 3c 40, #2 9 99 3c 00, #8 9 a9 3c 05, #5 9 b9 07 06, #5 9 b9 77 01, "
                           "#6 9 c9 7f, #7 9 d9 08, #4 9 e9 00 00, #4 9 e9 7f 7f";
    const std::string off = std::regex_replace(on, std::regex(" 9 (.)9"), " 0 $010");
    for (const bool allowMPE : {false, true})
    {
        const ScopedAllowMPE option(allowMPE);
        Mdi_ParseToEventReceiver parser;
        NoteCounter counter;
        const ScopedAllowMPE changedTooLate(!allowMPE);
        EXPECT_EQ(EventsMade(parser, kBytes), allowMPE ? on : off);
        EXPECT_EQ(EventsMade(counter, kBytes), allowMPE ? on : off);
        EXPECT_EQ(counter.mCount, 1);
        EXPECT_EQ(parser.GetChannel(), 9); // kept: of the status, although events go to 0
        for (const char* const consumed :
             {"f8", "f0 f7", "b0 78 00", "f1 00", "f2 00 00", "f3 00", "f6", "90 3c 40 3e"})
            EXPECT_TRUE(Feed(parser, FromHex(consumed))) << consumed;
        Mdi_Parse base;
        EXPECT_FALSE(Feed(base, FromHex("f8 90 3c 40")));
    }
}

TEST(Mdi_ParseSingleEvent, DecodesUpToTheFirstThingThatIsConsumed)
{
    const std::pair<const char*, const char*> kCases[] = {
        {"93 3c 40 3e 40", "#1 0 90 3c 40, on 3, 3 bytes"},
        {"f4 01 f7 d8 05", "#7 0 d0 05, on 8, 5 bytes"}, // behind what is dropped
        {"f8 90 3c 40", "#0 0 , on -1, 1 bytes"},        // kept: real time ends the scan
        {"f0 01 f7 90 3c 40", "#0 0 , on -1, 3 bytes"},  // kept: so does a sysex
    };
    for (const auto& [hex, expected] : kCases)
    {
        const Bytes bytes = FromHex(hex);
        signed char channel = 99;
        int count = 99;
        const auto event = Mdi_ParseSingleEvent(&channel, &count, bytes.data(), static_cast<int>(bytes.size()));
        const std::string text = EventToText(event) + ", on " + std::to_string(channel);
        EXPECT_EQ(text + ", " + std::to_string(count) + " bytes", expected) << hex;
    }
    EXPECT_EQ(EventToText(Mdi_ParseSingleEvent(nullptr, nullptr, FromHex("90 3c 00").data(), 3)), "#2 0 90 3c 00");
}

} // namespace
