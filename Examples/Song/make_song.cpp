// Writes the demonstration song: Johann Pachelbel's Canon in D (about 1690), arranged for three violins, violoncello,
// harp and triangle, with a close in D minor. The file is a Standard MIDI File of format 1 that holds one of everything
// that an importer meets; the same program always writes the same bytes.
//
//     make_song OUT.mid

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

namespace
{
// --- The file -------------------------------------------------------------------------------------------------------

using Bytes = std::vector<std::uint8_t>;

// clang-format off
enum MetaType { kText = 0x01, kCopyright = 0x02, kTrackName = 0x03, kInstrumentName = 0x04, kMarker = 0x06,
                kChannelPrefix = 0x20, kEndOfTrack = 0x2F, kTempo = 0x51, kSMPTEOffset = 0x54, kMeter = 0x58,
                kKey = 0x59 };
enum Controller { kBankMSB = 0, kModulation = 1, kVolume = 7, kPan = 10, kExpression = 11, kBankLSB = 32,
                  kSustain = 64 };
// clang-format on

std::uint8_t Byte(int iValue)
{
    return static_cast<std::uint8_t>(iValue);
}

template <typename Range>
void Append(Bytes& oBytes, const Range& iTail)
{
    oBytes.insert(oBytes.end(), iTail.begin(), iTail.end());
}

Bytes BigEndian(std::size_t iValue, int iCount)
{
    Bytes bytes;
    for (int shift = 8 * (iCount - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(iValue >> shift));
    return bytes;
}

Bytes VariableLength(std::size_t iValue)
{
    Bytes bytes = {static_cast<std::uint8_t>(iValue & 0x7F)};
    while ((iValue >>= 7) != 0)
        bytes.insert(bytes.begin(), static_cast<std::uint8_t>(0x80 | (iValue & 0x7F)));
    return bytes;
}

void AppendChunk(Bytes& oFile, std::string_view iType, const Bytes& iBody)
{
    Append(oFile, iType);
    Append(oFile, BigEndian(iBody.size(), 4));
    Append(oFile, iBody);
}

// One track chunk. Events come in any order, at ticks from the start of the song.
class Track
{
public:
    // At one tick notes end before anything else happens, and begin after it.
    static constexpr int kNoteEnds = -1;
    static constexpr int kNoteBegins = 1;

    void Message(int iTick, Bytes iBytes, int iRank = 0) { mEvents.push_back({iTick, iRank, std::move(iBytes)}); }
    void Meta(int iTick, MetaType iType, const Bytes& iData) { Framed(iTick, {0xFF, Byte(iType)}, iData); }
    void Text(int iTick, MetaType iType, std::string_view iText) { Meta(iTick, iType, {iText.begin(), iText.end()}); }

    // iStatus: F0 begins a message, F7 continues one. The last packet of a message ends with F7.
    void Sysex(int iTick, int iStatus, const Bytes& iBody) { Framed(iTick, {Byte(iStatus)}, iBody); }

    Bytes Encode(int iEndTick)
    {
        Meta(iEndTick, kEndOfTrack, {});
        std::ranges::stable_sort(mEvents, {},
                                 [](const Event& iEvent) { return std::pair(iEvent.mTick, iEvent.mRank); });
        Bytes body;
        int time = 0;
        int runningStatus = 0;
        for (const Event& event : mEvents)
        {
            Append(body, VariableLength(static_cast<std::size_t>(event.mTick - std::exchange(time, event.mTick))));
            const int status = event.mBytes.front();
            body.insert(body.end(), event.mBytes.begin() + (status == runningStatus ? 1 : 0), event.mBytes.end());
            runningStatus = status < 0xF0 ? status : 0;
        }
        return body;
    }

private:
    struct Event
    {
        int mTick;
        int mRank;
        Bytes mBytes;
    };

    void Framed(int iTick, Bytes iHead, const Bytes& iData)
    {
        Append(iHead, VariableLength(iData.size()));
        Append(iHead, iData);
        Message(iTick, std::move(iHead));
    }

    std::vector<Event> mEvents;
};

// --- The music ------------------------------------------------------------------------------------------------------

constexpr int kDivision = 480;
constexpr int kBeat = kDivision;
constexpr int kDottedBeat = 3 * kBeat / 2;
constexpr int kGroundLength = 8 * kBeat;
constexpr int kGroundCount = 10;

constexpr int GroundStart(int iGround)
{
    return 2 * kBeat + iGround * kGroundLength;
}

// A bar of 2/4 in which the instruments are set up, ten times the ground, an arrival, the close in minor, the last bar.
constexpr int kSetUp = kBeat; // leaves the instruments half a second for the reset
constexpr int kArrival = GroundStart(kGroundCount);
constexpr int kMinore = kArrival + 3 * kBeat;
constexpr int kMinoreLength = 8 * kDottedBeat;
constexpr int kLastBar = kMinore + kMinoreLength;
constexpr int kEnd = kLastBar + 4 * kBeat;

// Tick, numerator, logarithm of the denominator, clocks a click.
constexpr std::array<int, 4> kMeters[] = {
    {0, 2, 2, 24}, {GroundStart(0), 4, 2, 24}, {kArrival, 3, 2, 24}, {kMinore, 6, 3, 36}, {kLastBar, 4, 2, 24},
};

constexpr std::pair<int, std::string_view> kMarkers[] = {
    {0, "Set-up"},
    {GroundStart(0), "Ground bass"},
    {GroundStart(1), "First violin"},
    {GroundStart(2), "Second violin"},
    {GroundStart(3), "Third violin"},
    {GroundStart(5), "Sixteenths"},
    {GroundStart(7), "High violins"},
    {GroundStart(9), "Climax"},
    {kArrival, "Arrival"},
    {kMinore, "Minore, siciliana"},
    {kLastBar, "Last chord"},
};

// Notes as text: a name with its octave (C4 is the middle C) or "-" for a rest, "*n" for n units, "~" for a note that
// is slid into from below.
struct Phrase
{
    int mUnit; // in ticks, as is the beat
    std::string_view mNotes;
    int mBeat = kBeat;
};

constexpr std::array<Phrase, 9> kSubject = {{
    {kBeat, "F#5 E5 D5 C#5  B4 A4 B4 C#5"},
    {kBeat, "D5 C#5 B4 A4  G4 F#4 G4 E4"},
    {kBeat / 2, "D4 F#4 A4 G4 F#4 D4 F#4 E4  D4 B3 D4 A4 G4 B4 A4 G4"},
    {kBeat / 2, "F#4 D4 E4 C#5 D5 F#5 A5 A4  B4 G4 A4 F#4 D4 D5*2 C#5"},
    {kBeat / 4, "D5 C#5 D5 D4 C#4 A4 E4 F#4 D4 D5 C#5 B4 C#5 F#5 A5 B5 "
                "G5 F#5 E5 G5 F#5 E5 D5 C#5 B4 A4 G4 F#4 E4 G4 F#4 E4"},
    {kBeat / 4, "D4 E4 F#4 G4 A4 E4 A4 G4 F#4 B4 A4 G4 A4 G4 F#4 E4 "
                "D4 B3 B4 C#5 D5 C#5 B4 A4 G4 F#4 E4 B4 A4 B4 A4 G4"},
    {kBeat / 2, "F#4 F#5 E5*2 - D5 F#5*2  ~B5*2 A5*2 B5*2 C#6*2"},
    {kBeat / 2, "D6 D5 C#5*2 - B4 D5*2  D5*3 D5 D5 G5 E5 A5"},
    {kBeat / 8, "A5*2 F#5 G5 A5*2 F#5 G5 A5 A4 B4 C#5 D5 E5 F#5 G5 F#5*2 D5 E5 F#5*2 F#4 G4 A4 B4 A4 G4 A4 F#4 G4 A4 "
                "G4*2 B4 A4 G4*2 F#4 E4 F#4 E4 D4 E4 F#4 G4 A4 B4 G4*2 B4 A4 B4*2 C#5 D5 A4 B4 C#5 D5 E5 F#5 G5 A5"},
}};
constexpr Phrase kGroundBass = {kBeat, "D3 A2 B2 F#2  G2 D2 G2 A2", 2 * kBeat};
constexpr Phrase kGroundHarp = {1, "A3 D4 F#4  A3 C#4 E4  F#3 B3 D4  F#3 A3 C#4 "
                                   "G3 B3 D4  F#3 A3 D4  G3 B3 D4  E3 A3 C#4"};

constexpr std::array<Phrase, 3> kMinoreViolins = {{
    {kBeat / 4, "F5*3 G5 F5*2 E5*4 C5*2 D5*3 E5 D5*2 C5*4 A4*2 Bb4*3 C5 Bb4*2 A4*4 F4*2 G4*3 A4 Bb4*2 C#5*3 D5 E5*2",
     kDottedBeat},
    {kDottedBeat, "D5 C5  Bb4 A4  G4 F4  G4 E4", 2 * kDottedBeat},
    {kDottedBeat, "A4 A4  F4 F4  D4 D4  D4 A3", 2 * kDottedBeat},
}};
constexpr Phrase kMinoreBass = {kDottedBeat, "D3 A2  Bb2 F2  G2 D2  G2 A2", 2 * kDottedBeat};
constexpr Phrase kMinoreHarp = {1, "A3 D4 F4  A3 C4 E4  F3 Bb3 D4  F3 A3 C4 "
                                   "G3 Bb3 D4  F3 A3 D4  G3 Bb3 D4  E3 A3 C#4"};

constexpr std::array<Phrase, 3> kArrivalViolins = {{{kBeat, "F#5*2 -"}, {kBeat, "A5*2 -"}, {kBeat, "D6*2 -"}}};
constexpr std::array<Phrase, 3> kLastViolins = {{{kBeat, "~F#5*4"}, {kBeat, "A4*4"}, {kBeat, "A3*4"}}};

struct ScoreNote
{
    int mStart; // in ticks from the start of the phrase
    int mLength;
    int mPitch;
    bool mSlide;
};

int ReadPitch(std::string_view iName)
{
    constexpr std::string_view kSemitones = "C D EF G A B";
    const std::size_t step = iName.empty() ? std::string_view::npos : kSemitones.find(iName.front());
    const int alteration = iName.size() != 3 ? 0 : iName[1] == '#' ? 1 : iName[1] == 'b' ? -1 : 0;
    if (step == std::string_view::npos || iName.size() != (alteration == 0 ? 2U : 3U))
        throw std::runtime_error("not a note: " + std::string(iName));
    return 12 * (iName.back() - '0' + 1) + static_cast<int>(step) + alteration;
}

// iLength: what the phrase must fill, in ticks.
std::vector<ScoreNote> ReadPhrase(const Phrase& iPhrase, int iLength)
{
    std::vector<ScoreNote> notes;
    std::istringstream words{std::string(iPhrase.mNotes)};
    int time = 0;
    for (std::string word; words >> word;)
    {
        const std::size_t star = std::min(word.find('*'), word.size());
        const int length = iPhrase.mUnit * (star == word.size() ? 1 : std::stoi(word.substr(star + 1)));
        const std::size_t nameStart = word.front() == '~' ? 1 : 0;
        if (word.front() != '-')
            notes.push_back({time, length, ReadPitch(word.substr(nameStart, star - nameStart)), nameStart == 1});
        time += length;
    }
    if (time != iLength)
        throw std::runtime_error("a phrase does not fill its bars: " + std::string(iPhrase.mNotes));
    return notes;
}

// --- The players ----------------------------------------------------------------------------------------------------

// Calls iSend(tick, value) for a rise from iLow to iHigh in the middle and the fall back to iLow at iTo.
template <typename Send>
void Swell(int iFrom, int iTo, int iLow, int iHigh, Send iSend)
{
    for (int tick = iFrom; tick <= iTo; tick += kBeat / 2)
        iSend(tick, iLow + (iHigh - iLow) * 2 * std::min(tick - iFrom, iTo - tick) / (iTo - iFrom));
}

// One channel's writing into a track, which outlives it. Channels count from 0.
class Player
{
public:
    // iReleaseVelocity: with 0 a note ends with a note on of velocity 0 instead of a note off.
    Player(Track& iTrack, int iChannel, int iReleaseVelocity)
        : mTrackP(&iTrack),
          mChannel(iChannel),
          mReleaseVelocity(iReleaseVelocity)
    {
    }

    void SetUp(int iProgram, int iVolume, int iPan)
    {
        Control(kSetUp, kBankMSB, 0);
        Control(kSetUp, kBankLSB, 0);
        mTrackP->Message(kSetUp, {Byte(0xC0 | mChannel), Byte(iProgram)});
        Control(kSetUp, kVolume, iVolume);
        Control(kSetUp, kPan, iPan);
        Control(kSetUp, kExpression, 90);
        Bend(kSetUp, 0);
    }

    void Control(int iTick, Controller iController, int iValue) { Send(iTick, 0xB0, iController, iValue); }
    void Pressure(int iTick, int iValue) { mTrackP->Message(iTick, {Byte(0xD0 | mChannel), Byte(iValue)}); }
    void PolyPressure(int iTick, int iPitch, int iValue) { Send(iTick, 0xA0, iPitch, iValue); }
    void Bend(int iTick, int iValue) { Send(iTick, 0xE0, (iValue + 8192) & 0x7F, (iValue + 8192) >> 7); }

    void Note(int iTick, int iLength, int iPitch, int iVelocity)
    {
        const int release = std::max(0, mReleaseVelocity - iLength / 48); // Long notes are let go more gently.
        Send(iTick, 0x90, iPitch, iVelocity, Track::kNoteBegins);
        Send(iTick + iLength, release == 0 ? 0x90 : 0x80, iPitch, release, Track::kNoteEnds);
    }

    // A bowed phrase: accents on the beat, a late vibrato on every long note.
    void Bow(int iStart, int iLength, const Phrase& iPhrase, int iLevel)
    {
        for (const ScoreNote& note : ReadPhrase(iPhrase, iLength))
        {
            const int start = iStart + note.mStart;
            const int length = note.mLength - note.mLength / 12;
            Note(start, length, note.mPitch, note.mStart % iPhrase.mBeat == 0 ? iLevel + 8 : iLevel);
            if (note.mLength >= kBeat)
            {
                Control(start + length / 2, kModulation, 36);
                Control(start + length, kModulation, 0);
            }
            for (int step = 0; note.mSlide && step <= 6; ++step)
                Bend(start + 20 * step, (step - 6) * 8192 / 12); // from a semitone below: half of the range
        }
    }

    void SwellExpression(int iStart, int iLength, int iLow, int iHigh)
    {
        Swell(iStart, iStart + iLength - kBeat / 2, iLow, iHigh,
              [this](int iTick, int iValue) { Control(iTick, kExpression, iValue); });
    }

    void SwellPressure(int iStart, int iLength, int iHigh)
    {
        Swell(iStart, iStart + iLength, 0, iHigh, [this](int iTick, int iValue) { Pressure(iTick, iValue); });
    }

private:
    void Send(int iTick, int iStatus, int iFirst, int iSecond, int iRank = 0)
    {
        mTrackP->Message(iTick, {Byte(iStatus | mChannel), Byte(iFirst), Byte(iSecond)}, iRank);
    }

    Track* mTrackP;
    int mChannel;
    int mReleaseVelocity;
};

// The velocity off the beat: each time that the ground comes, it is played a little louder.
int GroundLevel(int iGround)
{
    return 56 + 4 * iGround;
}

Track MakeConductorTrack()
{
    Track track;
    track.Text(0, kTrackName, "Canon in D");
    track.Text(0, kText, "Johann Pachelbel (1653-1706), arranged for three violins, violoncello, harp and triangle");
    track.Text(0, kCopyright, "Public domain");
    track.Meta(0, kSMPTEOffset, {0x20, 59, 59, 0, 0}); // 25 frames a second; the ground begins at one hour
    for (const auto& [tick, numerator, denominator, clocks] : kMeters)
        track.Meta(tick, kMeter, {Byte(numerator), Byte(denominator), Byte(clocks), 8});
    track.Meta(0, kKey, {2, 0});          // D major: two sharps
    track.Meta(kMinore, kKey, {0xFF, 1}); // D minor: one flat
    track.Meta(kLastBar, kKey, {2, 0});
    for (const auto& [tick, text] : kMarkers)
        track.Text(tick, kMarker, text);

    // In quarter notes a minute.
    const auto setTempo = [&track](int iTick, int iTempo)
    { track.Meta(iTick, kTempo, BigEndian(static_cast<std::size_t>(60'000'000 / iTempo), 3)); };
    const auto slowDown = [&setTempo](int iFrom, int iTo, int iFirst, int iLast)
    {
        for (int tick = iFrom; tick <= iTo; tick += kBeat / 2)
            setTempo(tick, iFirst + (iLast - iFirst) * (tick - iFrom) / (iTo - iFrom));
    };
    setTempo(0, 120); // the set-up takes one second
    setTempo(GroundStart(0), 69);
    slowDown(kArrival - 2 * kBeat, kArrival, 66, 50);
    setTempo(kMinore, 69); // a tempo: 46 dotted beats
    slowDown(kLastBar - 2 * kDottedBeat, kLastBar, 66, 46);

    // General MIDI on; a long message; one in three packets, before any other track has an event, since on a cable
    // nothing may come between the packets. 7D (octal 175) is the manufacturer number for what is not sold.
    const auto sendText = [&track](int iTick, int iStatus, std::string_view iText) {
        track.Sysex(iTick, iStatus, {iText.begin(), iText.end()});
    };
    track.Sysex(0, 0xF0, {0x7E, 0x7F, 0x09, 0x01, 0xF7});
    sendText(60, 0xF0, "\175Canon in D: a message of more than fourteen bytes\xF7");
    sendText(120, 0xF0, "\175This message comes ");
    sendText(150, 0xF7, "in three ");
    sendText(180, 0xF7, "packets\xF7");
    return track;
}

// iVoice: 0 to 2. Each plays the same subject, one ground after the voice before it, until all stop together.
Track MakeViolinTrack(int iVoice)
{
    const std::size_t voice = static_cast<std::size_t>(iVoice);
    Track track;
    track.Text(0, kTrackName, std::array{"Violin I", "Violin II", "Violin III"}[voice]);
    track.Text(0, kInstrumentName, "Violin");
    Player violin(track, iVoice, 60);
    violin.SetUp(40, 100, 40 + 24 * iVoice);

    for (int ground = iVoice + 1; ground < kGroundCount; ++ground)
    {
        const Phrase& phrase = kSubject[static_cast<std::size_t>(ground - iVoice - 1)];
        violin.Bow(GroundStart(ground), kGroundLength, phrase, GroundLevel(ground));
        violin.SwellExpression(GroundStart(ground), kGroundLength, 88, 118);
    }
    violin.Bow(kArrival, kMinore - kArrival, kArrivalViolins[voice], 90);
    violin.Bow(kMinore, kMinoreLength, kMinoreViolins[voice], iVoice == 0 ? 70 : 56);
    violin.SwellExpression(kMinore, kMinoreLength, 76, 104);
    violin.Bow(kLastBar, kEnd - kLastBar, kLastViolins[voice], 58);
    violin.SwellExpression(kLastBar, kEnd - kLastBar, 80, 100);
    if (iVoice == 2) // A double stop: the upper string comes out after the lower one.
    {
        const int lower = ReadPitch("A3");
        const int upper = ReadPitch("D4");
        violin.Note(kLastBar, 7 * kBeat / 2, upper, 60);
        Swell(kLastBar + 240, kLastBar + 1200, 0, 50, [&](int t, int v) { violin.PolyPressure(t, lower, v); });
        Swell(kLastBar + 480, kLastBar + 1440, 0, 80, [&](int t, int v) { violin.PolyPressure(t, upper, v); });
    }
    return track;
}

// The strokes of a broken chord: start, length, voice from the lowest.
using Figure = std::vector<std::tuple<int, int, std::size_t>>;

// iChords: three notes for each of eight chords. The pedal is down within each of them.
void PlayChords(Player& iHarp, int iStart, int iBeat, const Figure& iFigure, const std::vector<ScoreNote>& iChords,
                int iLevel)
{
    for (std::size_t chord = 0; chord < 8; ++chord, iStart += iBeat)
    {
        for (const auto& [start, length, voice] : iFigure)
            iHarp.Note(iStart + start, length, iChords[3 * chord + voice].mPitch, iLevel);
        iHarp.Control(iStart + 30, kSustain, 127);
        iHarp.Control(iStart + iBeat, kSustain, 0);
    }
}

void PlayHarp(Player& iHarp)
{
    const Figure rolled = {{0, 440, 0}, {20, 420, 1}, {40, 400, 2}};
    const Figure eighths = {{0, 440, 0}, {240, 200, 1}, {240, 200, 2}};
    const Figure sixteenths = {{0, 440, 0}, {120, 110, 1}, {240, 200, 2}, {360, 110, 1}};
    const Figure lilting = {{0, 660, 0}, {240, 420, 1}, {480, 200, 2}};

    std::vector<ScoreNote> chords = ReadPhrase(kGroundHarp, 3 * 8);
    for (int ground = 0; ground < kGroundCount; ++ground)
    {
        if (ground == 8)
            chords[3 * 3 + 2].mPitch = ReadPitch("D4"); // From here on the fourth chord is a sixth: a violin has the D.
        const Figure& figure = ground < 3 ? rolled : ground < 7 ? eighths : sixteenths;
        PlayChords(iHarp, GroundStart(ground), kBeat, figure, chords, GroundLevel(ground) - 8);
    }
    PlayChords(iHarp, kMinore, kDottedBeat, lilting, ReadPhrase(kMinoreHarp, 3 * 8), 54);

    for (const auto& [start, end, delay, level] :
         {std::array{kArrival, kMinore - kBeat / 2, 30, 80}, std::array{kLastBar, kEnd - 60, 60, 58}})
    {
        iHarp.Control(start, kSustain, 127);
        for (const ScoreNote& note : ReadPhrase({1, "D3 A3 D4 F#4 A4 D5"}, 6))
            iHarp.Note(start + delay * note.mStart, 2 * kBeat, note.mPitch, level);
        iHarp.Control(end, kSustain, 0);
    }
}

void PlayCello(Player& iCello)
{
    for (int ground = 0; ground < kGroundCount; ++ground)
    {
        iCello.Bow(GroundStart(ground), kGroundLength, kGroundBass, GroundLevel(ground));
        iCello.SwellExpression(GroundStart(ground), kGroundLength, 90, 110);
    }
    iCello.Bow(kArrival, kMinore - kArrival, {kBeat, "D2*2 -"}, 88);
    iCello.SwellPressure(kArrival + kBeat / 2, kBeat, 48);
    iCello.Bow(kMinore, kMinoreLength, kMinoreBass, 60);
    iCello.Bow(kLastBar, kEnd - kLastBar, {kBeat, "D2*4"}, 64);
    iCello.SwellPressure(kLastBar + kBeat / 2, 3 * kBeat, 72);
}

// Two instruments in one track: the channel prefix says whose name follows.
Track MakeContinuoTrack()
{
    constexpr int kCello = 3;
    constexpr int kHarp = 4;
    Track track;
    track.Text(0, kTrackName, "Continuo");
    track.Meta(0, kChannelPrefix, {kCello});
    track.Text(0, kInstrumentName, "Violoncello");
    track.Meta(0, kChannelPrefix, {kHarp});
    track.Text(0, kInstrumentName, "Harp");

    Player cello(track, kCello, 50);
    cello.SetUp(42, 104, 70);
    PlayCello(cello);
    Player harp(track, kHarp, 0);
    harp.SetUp(46, 88, 54);
    PlayHarp(harp);
    return track;
}

// A triangle marks the grounds once all violins have entered; a tambourine is barely heard in the siciliana.
Track MakePercussionTrack()
{
    constexpr int kTambourine = 54;
    constexpr int kMuteTriangle = 80;
    constexpr int kOpenTriangle = 81;
    Track track;
    track.Text(0, kTrackName, "Percussion");
    track.Text(0, kInstrumentName, "Triangle and tambourine");
    Player player(track, 9, 0);
    player.SetUp(0, 76, 64);
    for (int ground = 3; ground < kGroundCount; ++ground)
    {
        player.Note(GroundStart(ground), 2 * kBeat, kOpenTriangle, 40 + 2 * ground);
        for (int beat = 2; ground >= 7 && beat < 8; beat += 2)
            player.Note(GroundStart(ground) + beat * kBeat, kBeat / 2, kMuteTriangle, 36);
    }
    player.Note(kArrival, 2 * kBeat, kOpenTriangle, 70);
    for (int bar = kMinore; bar < kLastBar; bar += 2 * kDottedBeat)
    {
        player.Note(bar, kBeat / 2, kTambourine, 30);
        player.Note(bar + kDottedBeat + kBeat, kBeat / 4, kTambourine, 22);
    }
    player.Note(kLastBar, 3 * kBeat, kOpenTriangle, 46);
    return track;
}

Bytes MakeSong()
{
    std::vector<Track> tracks = {MakeConductorTrack(), MakeViolinTrack(0),  MakeViolinTrack(1),
                                 MakeViolinTrack(2),   MakeContinuoTrack(), MakePercussionTrack()};
    Bytes header = BigEndian(1, 2); // tracks that play together
    Append(header, BigEndian(tracks.size(), 2));
    Append(header, BigEndian(kDivision, 2));
    Bytes file;
    AppendChunk(file, "MThd", header);
    for (Track& track : tracks)
        AppendChunk(file, "MTrk", track.Encode(kEnd));
    return file;
}

// Under the final name there is the old file or the whole new one, never a part. A device is no place for a file: the
// renaming would take its place.
void WriteFile(const std::filesystem::path& iPath, const Bytes& iBytes)
{
    if (std::filesystem::exists(iPath) && !std::filesystem::is_regular_file(iPath))
        throw std::runtime_error("not a file: " + iPath.string());
    std::filesystem::path partPath = iPath;
    partPath += ".part";
    try
    {
        std::ofstream out(partPath, std::ios::binary | std::ios::trunc);
        out.exceptions(std::ios::badbit | std::ios::failbit);
        out.write(reinterpret_cast<const char*>(iBytes.data()), static_cast<std::streamsize>(iBytes.size()));
        out.close();
        std::filesystem::rename(partPath, iPath);
    }
    catch (const std::exception&)
    {
        std::error_code ignored;
        std::filesystem::remove(partPath, ignored);
        throw std::runtime_error("cannot write " + iPath.string());
    }
}
} // namespace

int main(int iCount, char** iArguments)
{
    if (iCount != 2)
    {
        std::cerr << "usage: make_song OUT.mid\n";
        return 2;
    }
    try
    {
        WriteFile(iArguments[1], MakeSong());
    }
    catch (const std::exception& error)
    {
        std::cerr << "make_song: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
