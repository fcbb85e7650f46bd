#include "MdidHost/Play/MdidHost_Player.h"

#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdie_TrackState.h"
#include "MdidHost/Edit/MdidHost_Clip.h"
#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "Support/AllocationCounter.h"
#include "Support/Hex.h"
#include "Support/ScopedAllowMPE.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace
{

using enum Time_EType;
using Key = Mdie_SubStream;

struct Random
{
    std::mt19937 mEngine{1};
    std::int64_t operator()(std::int64_t i) { return static_cast<std::int64_t>(mEngine()) % i; }
};

Mdid_Chunk& AddTrack(MdidHost_Session& ioSession, int iChannel, int iMPEMembers)
{
    MdidHost_Track& track = ioSession.mTracks.emplace_back();
    track.mChannel = iChannel;
    track.mMPEMembers = iMPEMembers;
    track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
    return *track.mChunk;
}

// What the instruments of the tracks make of the bytes that they get.
struct Instruments : MdidHost_PlaySink
{
    std::map<std::array<int, 3>, int> mState; // by track, status and number; 0: at rest, or not known
    std::string mText;
    int mNumTaken = 0; // from the heap, meanwhile

    void Feed(int iTrack, const Mdid_Event& iEvent)
    {
        for (int i = 0; i < iEvent.GetNumMessages() && !iEvent.IsMessageSysex(i); ++i)
        {
            std::array<unsigned char, 3> bytes{};
            iEvent.GetMessageData(bytes.data(), i);
            mText += mText.empty() ? "" : " " + ToHex(bytes);
            const int kind = bytes[0] >> 4, number = kind < 12 ? bytes[1] : 0, value = bytes[kind < 12 ? 2 : 1];
            int& state = mState[{iTrack, kind == 8 ? bytes[0] | 0x10 : bytes[0], number}];
            if (kind == 8 || kind == 9)
                EXPECT_GE(state += kind == 9 && value > 0 ? 1 : -1, 0); // keys
            else
                state = kind == 14 ? bytes[2] * 128 + value - 8192 : value + (kind == 13 || number == 64 ? 0 : 1);
            if (kind == 11 && number >= 98 && number <= 101)
                mState[{iTrack, bytes[0], -1}] = number >= 100 ? 2 : 1; // selected last
            for (const int part : {0, 32})
                if (kind == 12) // in the bank that waits
                    mState[{iTrack, bytes[0], 1 + part}] = mState[{iTrack, bytes[0] - 16, part}];
            if (kind != 11 || (number != 6 && number != 38))
                continue;
            const int selected = mState[{iTrack, bytes[0], -1}], first = selected == 2 ? 100 : 98; // where data go
            const int lsb = mState[{iTrack, bytes[0], first}], msb = mState[{iTrack, bytes[0], first + 1}];
            if (const int parameter = lsb % 128 * 128 + msb % 128; selected > 0 && parameter > 0) // else nowhere
                mState[{iTrack, bytes[0], (parameter * 4 + selected) * 64 + number}] = value + 1;
        }
    }
    void Receive(const MdidHost_PlayedEvent& iEvent) override
    {
        const AllocationCounter counter;
        mText += " | " + std::to_string(iEvent.mSample) + " " + "cenrt"[iEvent.mWhy];
        Feed(iEvent.mTrack, iEvent.mEvent);
        mNumTaken += counter.GetSystemCalls() + counter.GetCount();
    }
    // Silent tracks hold no key and no lane that is released; a lane that has no value yet may be as it was left.
    void ExpectToBe(Instruments iExpected, const std::vector<bool>& iIsHeard, bool iIsRolling)
    {
        for (const auto& [key, unused] : mState)
            iExpected.mState.try_emplace(key, 0);
        for (const auto& [key, value] : iExpected.mState)
        {
            const int kind = key[1] >> 4;
            const bool isReleased = kind == 9 || kind > 12 || (kind == 11 && key[2] == 64);
            const bool isHeard = iIsHeard[static_cast<std::size_t>(key[0])];
            const int expected = isReleased && !(isHeard && iIsRolling) ? 0 : value;
            EXPECT_TRUE((!isReleased && (!isHeard || value == 0)) || mState[key] == expected)
                << testing::PrintToString(key) << ' ' << mState[key] << " instead of " << expected;
        }
    }
};

// All that a session plays, from its beginning: by sample, priority (of the end of a note without length: behind all),
// time and track.
using PlainEvents = std::multimap<std::tuple<std::int64_t, int, Time_Typed, int>, Mdid_Event>;

PlainEvents PlainEventsOf(const MdidHost_Session& iSession)
{
    const auto sampleOf = [](Time_Typed i) { return Time_Globals::GetContext().ToSampleUpward(i).AsInt64(); };
    PlainEvents events;
    for (int index = 0; const MdidHost_Track& track : iSession.mTracks)
    {
        const auto add = [&](Time_Typed iTime, Mdid_Event i, signed char iChannel, bool iIsLast = false)
        {
            i.SetChannel(static_cast<signed char>(track.GetChannelOf(iChannel)));
            if (i.GetChannel() >= 0)
                events.emplace(std::tuple(sampleOf(iTime), iIsLast ? 9999 : i.GetPlaybackPriority(), iTime, index), i);
        };
        for (const Mdid_ExtendedEvent& event : *track.mChunk)
        {
            const Time_Typed start = event.GetTime(), end = event.GetEndTime();
            const signed char channel = event.GetEvent().GetChannel();
            if (!event.IsNoteWithDurationExtendedEvent())
                add(start, event.GetEvent(), channel);
            else if (const auto& note = event.AsNote(); !note.IsMuted() && note.GetNote().GetVelocity() > 0)
            {
                const bool isShort = sampleOf(end) <= sampleOf(start);
                add(start, Mdid_NoteOnEvent(0, note.GetPitch(), note.GetNote().GetVelocity()), channel);
                add(isShort ? start : end, Mdid_NoteOffEvent(0, note.GetPitch(), note.GetNote().GetOffVelocity()),
                    channel, isShort);
            }
        }
        for (const auto& note : *track.mChunk->GetNoteList())
            if (note.HasPerNoteControllers() && note.GetNote().GetChannel() > 0 && track.mMPEMembers > 0 &&
                !note.IsMuted() && note.GetNote().GetVelocity() > 0)
                for (const auto& lane : *note.GetPerNoteControllers())
                    for (const auto& i : lane.GetSegments())
                        if (const auto time = note.GetUntrimmedStart() + Time_TypedLength(i.mTime.GetPacked());
                            time < note.GetEndTime() || !note.HasTrimExtension())
                            add(std::max(time, note.GetTime()), lane.GetSubStream().MakeEvent(i.mValue),
                                note.GetNote().GetChannel());
        ++index;
    }
    return events;
}

void AddRandomEvents(Mdid_Chunk& ioChunk, bool iIsMPE, Random& ioRandom)
{
    const auto any = [&](int i) { return static_cast<signed char>(ioRandom(i)); };
    const auto anyTime = [&](int i) {
        return Time_Convert::ToType({ioRandom(i), kSample}, Time_EType{any(3)}) + Time_TypedLength(any(3), kTick);
    };
    static constexpr signed char kControllers[] = {1, 64, 64, 98, 99, 100, 101, 6, 38, 6, 32, 96};
    const signed char c = iIsMPE ? any(4) : any(1), value = any(128), controller = kControllers[any(12)];
    const bool isNumber = controller >= 98; // of a parameter: few, and null
    const Mdid_Event events[] = {
        Mdid_PitchBendEvent(c, value), Mdid_MonoPressureEvent(c, value), Mdid_PolyPressureEvent(c, any(3), value),
        Mdid_ProgramEvent(c, static_cast<signed char>(any(3) << 6), static_cast<std::uint16_t>(ioRandom(65'536))),
        Mdid_ControllerEvent(c, controller, isNumber ? value % 2 * 127 : value)};
    ioChunk.AddEvent({anyTime(30'000), events[std::min<int>(any(9), 4)]}, c > 0 ? Key::kPerChannel : Key::kOrdinary);
    const Time_Typed start = anyTime(30'000), end = any(4) == 0 ? start : std::max(start, anyTime(30'000));
    Mdid_NoteWithDurationExtendedEvent note(start, Mdid_NoteWithDurationEvent(c, any(3), end - start, value, any(128)),
                                            any(9) == 0);
    if (any(2) == 0)
        note.SetPerNoteControllers();
    for (const auto& key : {Key::PitchBend(), Key::Controller(74)})
        if (note.HasPerNoteControllers())
            for (auto* const laneP = note.WritePerNoteControllers()->InsertStream(key, false); any(4) > 0;)
                laneP->AddBreakpoint(Time_Convert::ToType(anyTime(3000), start.GetType()), any(128));
    ioChunk.AddEvent(note, Key::kOrdinary);
}

MdidHost_Session RandomSession(Random& ioRandom)
{
    MdidHost_Session session;
    Time_TempoMap tempoMap;
    for (int i = 0; i < 5; ++i)
        tempoMap.Set(Time_Tick(ioRandom(1'000'000)), 1 + ioRandom(900'000));
    session.mContext.SetTempoMap(tempoMap);
    session.mContext.SetSessionStart(Time_Sample(ioRandom(1000)));
    const MdidHost_Session::Scope scope(session);
    for (const auto& [channel, members] : {std::pair{3, 0}, {0, 4}, {15, 4}, {MdidHost_Track::kNoChannel, 0}})
        for (Mdid_Chunk& chunk = AddTrack(session, channel, members); ioRandom(40) > 0;)
            AddRandomEvents(chunk, members > 0, ioRandom);
    if (ioRandom(2) == 0)
        MdidHost_ClipSession(session, {ioRandom(15'000), kSample}, {30'000, kSample});
    return session;
}

// Plays at random, and compares with what is plain after each block.
void TestPlay(const MdidHost_Session& iSession, const PlainEvents& iEvents, Random& ioRandom)
{
    auto& any = ioRandom;
    const auto anySample = [&] // where something happens
    { return iEvents.empty() ? 0 : std::get<0>(std::next(iEvents.begin(), any(std::ssize(iEvents)))->first) + any(3); };
    MdidHost_PlayOptions options;
    options.mBlockSize = 1 + static_cast<int>(anySample() / 3 & 0xFFFFFF);
    options.mStart = anySample();
    if (any(2) == 0)
        options.mEnd = anySample();
    for (auto i = any(4); i > 0; --i)
        options.mJumps.push_back({anySample(), anySample()});
    if (const auto [from, to] = std::minmax({anySample(), anySample()}); from < to)
        options.mLoops.push_back({from, to, static_cast<int>(1 + any(3))});
    MdidHost_Player player(iSession, options);
    Instruments played;
    std::vector<bool> isMuted(iSession.mTracks.size()), isSolo = isMuted, isHeard = isMuted;
    const AllocationCounter counter;
    for (int i = 0; i < 20 && !testing::Test::HasFailure(); ++i)
    {
        played.mNumTaken = counter.GetSystemCalls() + counter.GetCount();
        if (any(8) == 0)
            player.Stop(played);
        if (any(8) == 0)
            player.Jump(anySample());
        const auto track = static_cast<std::size_t>(any(std::ssize(isMuted)));
        player.SetMuted(track, isMuted[track] = any(2) == 0);
        player.SetSolo(track, isSolo[track] = any(4) == 0);
        for (std::size_t j = 0; j < isMuted.size(); ++j)
            isHeard[j] = !isMuted[j] && (isSolo[j] || std::ranges::count(isSolo, true) == 0);
        if (!player.Render(played))
            break;
        EXPECT_EQ(counter.GetSystemCalls() + counter.GetCount(), played.mNumTaken);
        Instruments plain;
        for (auto j = iEvents.begin(); j != iEvents.end() && std::get<0>(j->first) < player.GetPosition(); ++j)
            plain.Feed(std::get<3>(j->first), j->second);
        played.ExpectToBe(plain, isHeard, player.IsPlaying());
    }
    player.Stop(played);
    played.ExpectToBe(Instruments(), isHeard, false);
}

TEST(MdidHost_Player, SoundsAsIfEverythingHadBeenPlayedFromTheBeginning)
{
    const ScopedAllowMPE option(true);
    Random random;
    const auto test = [&](const MdidHost_Session& iSession, int iRuns)
    {
        const MdidHost_Session::Scope scope(iSession);
        for (const auto events = PlainEventsOf(iSession); iRuns > 0 && !HasFailure(); --iRuns)
            TestPlay(iSession, events, random);
    };
    for (int i = 0; i < 80; ++i)
        test(RandomSession(random), 25);
    for (const char* const folder : {MDID_EXAMPLES "/Song", MDID_DAMAGED})
        for (const auto& file : std::filesystem::directory_iterator(folder))
            for (int i = 0; i < 2 && file.path().extension() == ".mid"; ++i)
            {
                MdidHost_ImportReport report;
                test(MdidHost_OpenSession(file.path(), {false, i == 1}, report), 3);
            }
}

TEST(MdidHost_Player, KeepsTheOrderThatInstrumentsNeed)
{
    MdidHost_Session session;
    Mdid_Chunk& chunk = AddTrack(session, 2, 0);
    const auto at = [&](int i, const Mdid_Event& e) { chunk.AddEvent({{i, kSample}, e}, Key::kOrdinary); };
    at(0, Mdid_ProgramEvent(0, 5, 0x4080)); // the upper half of its bank
    at(9, Mdid_ProgramEvent(0, 6, 0xC000)); // in the same bank
    for (const signed char i : std::to_array<signed char>({100, 101, 6, 98, 99, 7, 64}))
        at(120 - i, Mdid_ControllerEvent(0, i, 1));
    at(250, Mdid_PitchBendEvent(0, 5));
    at(350, Mdid_PitchBendEvent(0, 6));
    at(200, Mdid_MonoPressureEvent(0, 5));
    for (const auto& [start, end] : {std::pair{150, 400}, {150, 350}, {350, 350}})
        chunk.AddEvent(Mdid_NoteWithDurationExtendedEvent(
                           {start, kSample}, Mdid_NoteWithDurationEvent(0, 60, {end - start, kSample}, 80, 64), false),
                       Key::kOrdinary);
    MdidHost_PlayOptions options;
    options.mStart = 300;
    options.mJumps = {{401, 40}, {50, 500}};
    options.mLoops = {{340, 360, 2}};
    options.mEnd = 500;
    MdidHost_Player player(session, options);
    EXPECT_THROW(MdidHost_Player(session, options), std::logic_error);
    Instruments played;
    while (player.Render(played))
        continue;
    Mdie_TrackState notes;
    chunk.AddNoteStateAtTime(&notes, {300, kSample}, {5, kSample});
    EXPECT_EQ(notes.NextNoteOff()->mReleaseTime, Time_Typed(355, kSample));
    // Chase, the short note, the loop, both jumps, and the end of play.
    EXPECT_EQ(played.mText,
              " | 300 c b2 00 01 c2 06 00 | 300 c b2 64 01 | 300 c b2 65 01 | 300 c b2 62 01 | 300 c b2 63 01"
              " | 300 c b2 06 01 | 300 c b2 07 01 | 300 c b2 40 01 | 300 c e2 05 40 | 300 c d2 05 00"
              " | 300 c 92 3c 50 | 300 c 92 3c 50 | 350 e e2 06 40 | 350 n 92 3c 00 | 350 e 92 3c 50"
              " | 350 n 92 3c 00 | 340 c e2 05 40 | 340 t 92 3c 50 | 350 e e2 06 40 | 350 n 92 3c 00"
              " | 350 e 92 3c 50 | 350 n 92 3c 00 | 400 n 92 3c 00 | 40 r b2 40 00 | 40 r e2 00 40"
              " | 40 r d2 00 00 | 500 c b2 64 01 | 500 c b2 65 01 | 500 c b2 62 01 | 500 c b2 63 01"
              " | 500 c b2 06 01 | 500 c b2 07 01 | 500 c b2 40 01 | 500 c e2 06 40 | 500 c d2 05 00"
              " | 500 r b2 40 00 | 500 r e2 00 40 | 500 r d2 00 00");
}

// Play starts behind the values (time, lane, value), and jumps back to before the last of them.
TEST(MdidHost_Player, ChasesWhatValuesMeanTogether)
{
    const std::pair<std::vector<std::array<int, 3>>, const char*> cases[] = {
        {{{0, 121, 0x18405}, {99, 32, 7}}, // a bank for the next program
         " | 100 c b0 00 03 b0 20 04 c0 05 00 | 100 c b0 00 03 b0 20 07 | 50 c b0 00 03 b0 20 04 | 99 e b0 20 07"},
        {{{0, 121, 0x8105}, {99, 121, 0x18480}},
         " | 100 c b0 00 01 b0 20 01 c0 05 00 | 100 c b0 00 03 b0 20 04 | 50 c b0 00 01 b0 20 01"
         " | 99 e b0 00 03 b0 20 04"},
        {{{0, 6, 33}, {97, 101, 0}, {98, 100, 0}, {99, 6, 2}}, // data that go nowhere
         " | 100 c b0 64 00 | 100 c b0 65 00 | 100 c b0 06 02 | 50 c b0 64 7f | 50 c b0 65 7f | 50 c b0 06 21"
         " | 97 e b0 65 00 | 98 e b0 64 00 | 99 e b0 06 02"},
        {{{0, 101, 0}, {1, 100, 0}, {2, 6, 12}, {3, 101, 127}, {4, 100, 127}, {99, 6, 1}},
         " | 100 c b0 64 00 | 100 c b0 65 00 | 100 c b0 06 0c | 100 c b0 64 7f | 100 c b0 65 7f | 100 c b0 06 01"
         " | 50 c b0 64 00 | 50 c b0 65 00 | 50 c b0 06 0c | 50 c b0 64 7f | 50 c b0 65 7f | 99 e b0 06 01"},
        {{{0, 101, 0}, {1, 100, 0}, {2, 6, 10}, {3, 96, 0}, {99, 6, 10}}, // a step behind the data, and before it
         " | 100 c b0 64 00 | 100 c b0 65 00 | 100 c b0 60 00 | 100 c b0 06 0a"
         " | 50 c b0 64 00 | 50 c b0 65 00 | 50 c b0 06 0a | 50 c b0 60 00 | 99 e b0 06 0a"},
        {{{0, 101, 0}, {1, 100, 0}, {2, 6, 1}, {3, 100, 1}, {4, 96, 0}, {5, 100, 0}, {99, 6, 2}}, // another's step
         " | 100 c b0 64 01 | 100 c b0 65 00 | 100 c b0 60 00 | 100 c b0 64 00 | 100 c b0 65 00 | 100 c b0 06 02"
         " | 50 c b0 64 00 | 50 c b0 65 00 | 50 c b0 06 01 | 99 e b0 06 02"}};
    for (const auto& [values, expected] : cases)
    {
        MdidHost_Session session;
        for (Mdid_Chunk& chunk = AddTrack(session, 0, 0); const auto& [time, lane, value] : values)
            chunk.AddEvent({{time, kSample}, (lane == 121 ? Key::Program() : Key::Controller(lane)).MakeEvent(value)},
                           Key::kOrdinary);
        MdidHost_Player player(session, {.mStart = 100, .mEnd = 151, .mJumps = {{150, 50}}});
        Instruments played;
        while (player.Render(played))
            continue;
        EXPECT_EQ(played.mText, expected);
    }
}

} // namespace
