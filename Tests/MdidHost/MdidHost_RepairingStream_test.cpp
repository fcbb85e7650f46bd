#include "MdidHost/File/MdidHost_RepairingStream.h"

#include "CFnd/Sys_StreamException.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "MdidHost/File/MdidHost_MidiCsv.h"
#include "Support/SmfBuilder.h"
#include "Support/WindowedInStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <sstream>

namespace
{

using Bytes = std::vector<unsigned char>;
using Stream = MdidHost_RepairingStream;

Bytes ReadFile(const std::filesystem::path& iPath)
{
    std::ifstream file(iPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::unique_ptr<Stream> Open(const Bytes& iFile, Stream::Mode iMode = Stream::Mode::kRepair,
                             std::size_t iWindow = std::size_t{1} << 16)
{
    return std::make_unique<Stream>(std::make_unique<WindowedInStream>(iFile, iWindow), iMode);
}

Bytes ReadAll(Cmn_InStream& ioStream)
{
    Bytes bytes(static_cast<std::size_t>(ioStream.GetLength()));
    ioStream.SetPosition(0);
    ioStream.ReadBlock(bytes.data(), bytes.size());
    return bytes;
}

std::string TextOf(const std::vector<MdidHost_Finding>& iFindings)
{
    std::ostringstream text;
    for (const auto& [offset, severity, what] : iFindings)
        text << (text.tellp() > 0 ? "; " : "") << offset << ' ' << MdidHost_NameOf(severity) << ": " << what;
    return text.str();
}

std::string TextOf(const Stream::Losses& iLosses)
{
    std::ostringstream text;
    for (const auto& [what, count] : iLosses)
        text << (text.tellp() > 0 ? ", " : "") << count << ' ' << what;
    return text.str();
}

// "96@480 0T500000 | 0+60 96-60": the division, what belongs to the whole piece, then track by track.
class Listing : public Mdi_MidiFileParserClient
{
public:
    void SetTicksPerQuarterNote(short iTicks) override { mText << iTicks; }
    void SetSMPTETicks(short iFrames, bool, short iTicks) override { mText << iFrames << 'x' << iTicks; }
    void BeginTrack() override { mText << " |"; }
    void RxTempo(int iTime, int iTempo) override { Put(iTime) << 'T' << iTempo; }
    void RxMarker(int iTime, const std::string& iText) override { Put(iTime) << '"' << iText << '"'; }
    void RxKey(int iTime, Time_KeySignature& i) override
    {
        Put(iTime) << 'K' << i.GetNumAccidentals() << (i.GetIsMajor() ? "+" : "-");
    }
    void RxMeter(int iTime, int iNumerator, int iDenominator, int iClocks, int iThirtySeconds) override
    {
        Put(iTime) << 'M' << iNumerator << '/' << iDenominator << ':' << iClocks << ':' << iThirtySeconds;
    }
    void RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& i) override { mText << " H" << int{i.mHours}; }
    void RxTrackComment(const std::string& iText) override { mText << " '" << iText << '\''; }
    void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short) override
    {
        std::vector<unsigned char> bytes(static_cast<std::size_t>(iEvent.GetMessageLength(0)));
        iEvent.GetMessageData(bytes.data(), 0);
        const bool isNoteOff = bytes[0] == 0x80 || (bytes[0] == 0x90 && bytes[2] == 0); // that is how 64 goes out
        Put(iTime) << (isNoteOff ? '-' : bytes[0] == 0x90 ? '+' : 'e') << int{bytes[1]};
    }

    std::ostream& Put(int iTime)
    {
        mIsBeforeZero = mIsBeforeZero || iTime < 0;
        return mText << ' ' << iTime;
    }

    std::ostringstream mText;
    bool mIsBeforeZero = false;
};

// What the reader gets; what it throws when it does.
std::string Read(Cmn_InStream& ioStream)
{
    Listing listing;
    Mdi_MidiFileParser parser(ioStream, listing);
    parser.SetCanImportMarkers(true);
    ioStream.SetPosition(0);
    try
    {
        parser.Parse();
    }
    catch (const std::string& e)
    {
        return "refused: " + e;
    }
    catch (const std::exception& e)
    {
        return std::string("refused: ") + e.what();
    }
    return listing.mIsBeforeZero ? "refused: a time below 0" : listing.mText.str();
}

} // namespace

TEST(MdidHost_RepairingStream, EveryKindOfDamageIsFoundAndItsEventsAreSaved)
{
    const std::filesystem::path folder = MDID_DAMAGED;
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".mid")
            files.insert(entry.path());
    std::ostringstream found;
    for (const auto& path : files)
    {
        const auto stream = Open(ReadFile(path));
        found << path.stem().string() << " (" << MdidHost_NameOf(stream->GetGrade()) << ")\n    " << Read(*stream)
              << '\n';
        for (const auto& [offset, severity, what] : stream->GetFindings())
            found << "    " << offset << ": " << MdidHost_NameOf(severity) << ": " << what << '\n';
    }
    const Bytes expected = ReadFile(folder / "expected.txt"); // what is printed when this fails, once it is right
    EXPECT_EQ(found.str(), std::string(expected.begin(), expected.end()));
}

TEST(MdidHost_RepairingStream, ASoundFileComesThroughByteForByteWithoutAFinding)
{
    const std::pair<const char*, Bytes> kCases[] = {
        {"the song", ReadFile(MDID_EXAMPLES "/Song/canon.mid")},
        {"no track", SmfBuilder(1).Build()},
        {"more in the header", SmfBuilder(1, 96, 9).Raw("010203").Track("00FF2F00").Announce(1).Build()},
        {"running status, also behind a meta event",
         SmfBuilder().Track("00903C40 603C00 00FF0100 003E40 00FF2F00").Build()},
        {"packets, escapes, no end",
         SmfBuilder().Track("00F00141 00F70142 10F702F7F7 00F70142 00F000 00FF2F00").Build()},
        {"unknown meta events", SmfBuilder().Track("00FF4B0101 00FF600101 00FF0000 00FF7F00 00FF2F00").Build()},
        {"beats of 1/128 and 1/32768", SmfBuilder().Track("00FF580404071808 00FF5804040F1808 00FF2F00").Build()},
        {"\"MTrk\" as data",
         SmfBuilder().Track("00904D54 4D5472 6B0000 00FF01044D54726B 00FF2F00").Track("00FF2F00").Build()},
        {"SMPTE division", SmfBuilder(2, 0xE728).Track("00FF2F00").Build()},
        {"the same tempo in each track",
         SmfBuilder().Track("00FF510307A120 00FF2F00").Track("00FF510307A120 00FF2F00").Build()},
    };
    for (const auto& [name, file] : kCases)
        for (const std::size_t window : {std::size_t{1}, std::size_t{7}, std::size_t{4096}})
        {
            SCOPED_TRACE(name);
            const auto stream = Open(file, Stream::Mode::kRepair, window);
            EXPECT_EQ(TextOf(stream->GetFindings()), "");
            EXPECT_EQ(ReadAll(*stream), file);
        }
}

TEST(MdidHost_RepairingStream, WhatIsNoMidiIsRefusedButPassesInStrictMode)
{
    for (const Bytes& file : {Bytes(), FromHex("4D546864"), Bytes(std::size_t{1} << 20, 'M'),
                              SmfBuilder().Announce(2).Build(), FromHex("52494646 01010101 524D4944"),
                              // Its data end within the letters of the track.
                              FromHex("52494646 49000000 524D4944 64617461 11000000 4D546864 00000006 0001 0001 0060"
                                      "4D54726B 00000004 00FF2F00")})
    {
        EXPECT_THROW(Open(file), std::runtime_error) << file.size();
        EXPECT_EQ(ReadAll(*Open(file, Stream::Mode::kStrict)), file);
    }
}

TEST(MdidHost_RepairingStream, WhatTheReaderDoesNotDeliverIsCountedInBothModes)
{
    const Bytes file =
        SmfBuilder()
            .Track("00B07800 007B00 00F70141 00F00141 00FF0600 00904040 00F00141 00F00241F7 00FF2F00")
            .Track("00FF0200 00FF0500 00FF0700 00FF0100 00FF0300 00FF0400 00FF200101 00FF210100 00FF00020001 "
                   "00FF7F00 00FF4B00 00FF510307A120 00FF54050000000000 00F00141 00FF2F00")
            .Build();
    const std::string common = "2 channel mode messages, 1 escapes, 3 unfinished system-exclusive messages, 1 sequence "
                               "numbers, 1 copyright notices, 1 lyrics, 1 cue points, 1 port numbers, 1 "
                               "sequencer-specific events, 1 other meta events, ";
    EXPECT_EQ(TextOf(Open(file)->GetLosses()), common + "1 SMPTE offsets outside of the first track");
    EXPECT_EQ(TextOf(Open(file, Stream::Mode::kStrict)->GetLosses()),
              common + "1 tempos outside of the first track, 1 SMPTE offsets outside of the first track");
}

TEST(MdidHost_RepairingStream, WhatTheReaderDeliversInPartIsCounted)
{
    const std::string cut = "00FF018200" + ToHex(Bytes(256, 'x')) + " 00FF0302417A 00FF060200" + "7A ";
    EXPECT_EQ(TextOf(Open(SmfBuilder()
                              .Track(cut + "00FF54050000000000 01FF030141 00FF040141 00FF010141 00FF54050100000000 "
                                           "00FF580404021901 00FF580404021903 00F00101 02F70102 00F70103 03F701F7 "
                                           "00F00101 01F701F7 00FF2F00")
                              .Track(cut + "00FF580404021902 00FF2F00")
                              .Build())
                         ->GetLosses()),
              "1 SMPTE offsets that another one replaces, 1 SMPTE offsets whose times are not kept, 2 names whose "
              "times are not kept, 1 texts whose times are not kept, 3 texts cut at 255 bytes or at a zero, 2 meters "
              "whose click is not kept, 3 times of packets of system-exclusive messages");
}

// One wrong byte at the end of a track costs nothing of the next one.
TEST(MdidHost_RepairingStream, NoEventReachesIntoTheNextTrack)
{
    const Bytes file = SmfBuilder()
                           .Track("00903C40 60803C40 00C005 00FF2F00")
                           .Track("00903C40 60803C40 00FF01044D54726B 00FF2F00")
                           .Build();
    const std::string next = " 0+60 96-60 'MTrk'";
    for (std::size_t at = 22; at < 37; ++at)
        for (int byte = 0; byte < 256; ++byte)
        {
            Bytes damaged = file;
            damaged[at] = static_cast<unsigned char>(byte);
            const std::string events = Read(*Open(damaged));
            ASSERT_TRUE(events.ends_with(next)) << at << ' ' << byte << ": " << events;
        }
}

TEST(MdidHost_RepairingStream, MPEZonesAreThoseOfTheConfigurationMessages)
{
    const struct
    {
        const char* mEvents;
        int mLower, mUpper;
    } kCases[] = {
        {"00B06500 006406 000605", 5, 0},
        {"00B06500 006406 000605 000603", 5, 0},                  // the largest
        {"00B06500 006406 00060A 00BF6500 006406 000607", 10, 4}, // the lower zone keeps what both want
        {"00B06500 006406 00060F 00BF6500 006406 000607", 15, 0},
        {"00BF6500 006406 00060F", 0, 14},                       // never channel 0
        {"00B06500 006400 000605 00B16500 006406 000605", 0, 0}, // another parameter, no master channel
        {"00B06500 006406 006300 000605", 0, 0},                 // not registered
    };
    for (const auto& [events, lower, upper] : kCases)
    {
        const auto zones = Open(SmfBuilder().Track(std::string(events) + "00FF2F00").Build())->GetMPEZones();
        EXPECT_EQ(std::pair(zones.mLower, zones.mUpper), std::pair(lower, upper)) << events;
    }
}

TEST(MdidHost_RepairingStream, RepeatedDamageIsBoundedInWordsAndWork)
{
    std::string events;
    for (int i = 0; i < 3000; ++i)
        events += "00FF5103000000 ";
    const auto stream = Open(SmfBuilder().Track(events).Build());
    ASSERT_EQ(stream->GetFindings().size(), Stream::kMaxFindings);
    EXPECT_EQ(stream->GetFindings().back().mText, "2002 more findings");

    // Tracks that run into each other up to the end of the file, each with a length that says so.
    Bytes file = SmfBuilder(1).Announce(65535).Build();
    for (int i = 0; i < 70'000; ++i)
        SmfBuilder::Append(file, SmfBuilder::Bytes{'M', 'T', 'r', 'k', 0, 0x12, 0, 0, 0, 0x90, 1, 1});
    EXPECT_EQ(Open(file)->GetGrade(), MdidHost_Grade::kIncomplete);
    EXPECT_LE(Open(file)->GetLength(), std::ssize(file) * 3);

    // What may be tracks with damaged letters, and none with sound ones in sight.
    Bytes letters = SmfBuilder(1).Announce(1).Build();
    for (int i = 0; i < 500'000; ++i)
        SmfBuilder::Append(letters, SmfBuilder::Bytes{'M', 'T', 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(Open(letters)->GetGrade(), MdidHost_Grade::kIncomplete);
}

namespace
{

Bytes Mutated(Bytes iFile, std::mt19937& ioRandom)
{
    static constexpr unsigned char kNasty[] = {0x00, 0x2F, 0x4D, 0x51, 0x7F, 0x80, 0x90, 0xF0, 0xF2, 0xF7, 0xF8, 0xFF};
    for (auto count = 1 + ioRandom() % 4; count > 0 && !iFile.empty(); --count)
    {
        const auto at = iFile.begin() + static_cast<std::ptrdiff_t>(ioRandom() % iFile.size());
        const auto end = at + std::min<std::ptrdiff_t>(iFile.end() - at, 1 + static_cast<int>(ioRandom() % 8));
        const auto random = static_cast<unsigned char>(ioRandom());
        const unsigned char byte = ioRandom() % 2 == 0 ? random : kNasty[random % std::size(kNasty)];
        switch (ioRandom() % 16)
        {
        case 0:
            iFile.erase(at, iFile.end());
            break;
        case 1:
        case 2:
            iFile.erase(at, end);
            break;
        case 3:
        case 4:
            iFile.insert(at, static_cast<std::size_t>(end - at), byte);
            break;
        default:
            *at = byte;
        }
    }
    return iFile;
}

} // namespace

// Whatever becomes of a file, what is left of it is either refused at once or laid out as a sound file, which the
// reader takes, which needs no more repair, and which may be read from anywhere.
TEST(MdidHost_RepairingStream, TheReaderTakesWhateverIsLeftOfAFile)
{
    std::set<std::filesystem::path> paths; // in an order that does not depend on the file system
    for (const auto& entry : std::filesystem::directory_iterator(MDID_DAMAGED))
        if (entry.path().extension() == ".mid")
            paths.insert(entry.path());
    std::vector<Bytes> files;
    std::ranges::transform(paths, std::back_inserter(files), ReadFile);
    const Bytes song = ReadFile(MDID_EXAMPLES "/Song/canon.mid");
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp)
    int numRead = 0;
    for (int i = 0; i < 20'000; ++i)
    {
        SCOPED_TRACE(i);
        const Bytes file = Mutated(i % 100 == 0 ? song : files[static_cast<std::size_t>(i) % files.size()], random);
        std::unique_ptr<Stream> stream;
        try
        {
            stream = Open(file, Stream::Mode::kRepair, 1 + random() % 64);
        }
        catch (const std::runtime_error&)
        {
            continue;
        }
        ++numRead;
        const std::string events = Read(*stream);
        ASSERT_EQ(events.find("refused"), std::string::npos) << events;
        const Bytes bytes = ReadAll(*stream);
        ASSERT_LE(bytes.size(), 4 * file.size() + 64);
        const auto again = Open(bytes);
        ASSERT_EQ(ReadAll(*again), bytes) << TextOf(again->GetFindings());
        const std::string findings = TextOf(again->GetFindings());
        ASSERT_TRUE(findings.empty() || findings.find("format 2") != std::string::npos) << findings;
        for (int k = 0; k < 5 && !bytes.empty(); ++k)
        {
            const auto position = random() % bytes.size();
            unsigned char byte = 0;
            stream->SetPosition(static_cast<std::int64_t>(position));
            stream->ReadBlock(&byte, 1);
            ASSERT_EQ(byte, bytes[position]);
        }
        std::ostringstream csv;
        WindowedInStream raw(file, 16);
        MdidHost_WriteMidiCsv(csv, raw);
        ASSERT_TRUE(csv.str().ends_with("0, 0, End_of_file\n"));
    }
    EXPECT_GT(numRead, 15'000);
}
