// The byte parser into a receiver that counts, against a scan of the same bytes that only counts messages.

#include "RatioReporter.h"

#include "Mdid/Mdi_Parse.h"

#include <array>
#include <random>
#include <vector>

namespace
{

using Bytes = std::vector<unsigned char>;

constexpr int kNumMessages = 1'000'000;
constexpr std::size_t kBlock = 4096;

Bytes MakeNotes()
{
    std::mt19937 random(2);
    Bytes bytes{0x90};
    for (int i = 0; i < kNumMessages; ++i)
    {
        bytes.push_back(static_cast<unsigned char>(random() % 128));
        bytes.push_back(static_cast<unsigned char>(random() % 128));
    }
    return bytes;
}

// What comes in from a keyboard that sends clock: all kinds of messages, running status now and then, and a real-time
// byte in one message out of eight, often between its bytes.
Bytes MakeLiveMix()
{
    static constexpr std::array<unsigned char, 8> kStatuses{0x90, 0x90, 0x80, 0x80, 0xB0, 0xE0, 0xD0, 0xC0};
    std::mt19937 random(3);
    Bytes bytes;
    unsigned char status = 0;
    const auto add = [&](unsigned char byte, bool clock)
    {
        if (clock && random() % 3 == 0)
            bytes.push_back(0xF8);
        bytes.push_back(byte);
    };
    for (int i = 0; i < kNumMessages; ++i)
    {
        const bool clock = random() % 8 == 0;
        if (status == 0 || random() % 4 != 0)
            add(status = kStatuses[random() % kStatuses.size()], clock);
        add(static_cast<unsigned char>(random() % 120), clock);
        if ((status & 0xE0) != 0xC0)
            add(static_cast<unsigned char>(random() % 128), clock);
    }
    return bytes;
}

const Bytes& Notes()
{
    static const Bytes bytes = MakeNotes();
    return bytes;
}

const Bytes& LiveMix()
{
    static const Bytes bytes = MakeLiveMix();
    return bytes;
}

struct CountingReceiver : Mdie_EventReceiver
{
    void ReceiveEvent(const Mdid_Event&) override { ++mCount; }

    std::int64_t mCount = 0;
};

// The least that any parser must do to count the messages of any MIDI stream: running status, system-exclusive data,
// system common and real-time bytes, all of which may come in pieces.
struct Scanner
{
    void Feed(const unsigned char* iBytes, std::size_t iLength)
    {
        for (const unsigned char* const endP = iBytes + iLength; iBytes < endP; ++iBytes)
        {
            const unsigned char byte = *iBytes;
            if (byte < 0x80)
                Data();
            else if (byte >= 0xF8)
                ++mCount;
            else
                Status(byte);
        }
    }

    void Data()
    {
        if (mStatus == 0 || ++mHave < mWanted)
            return;
        ++mCount;
        mHave = 0;
        if (mStatus >= 0xF0)
            mStatus = 0;
    }

    void Status(unsigned char iByte)
    {
        static constexpr std::array<int, 8> kWanted{1 << 30, 1, 2, 1, 0, 0, 0, 0};
        if (iByte == 0xF7 && mStatus == 0xF0)
            ++mCount;
        if (iByte == 0xF6)
            ++mCount;
        mHave = 0;
        mWanted = iByte >= 0xF0 ? kWanted[iByte & 7] : (iByte & 0xE0) == 0xC0 ? 1 : 2;
        mStatus = mWanted > 0 ? iByte : 0;
    }

    std::int64_t mCount = 0;
    unsigned char mStatus = 0;
    int mHave = 0;
    int mWanted = 0;
};

template <class Feed>
void FeedInBlocks(const Bytes& iBytes, Feed iFeed)
{
    for (std::size_t start = 0; start < iBytes.size(); start += kBlock)
        iFeed(iBytes.data() + start, std::min(kBlock, iBytes.size() - start));
}

void Parse(benchmark::State& ioState, const Bytes& iBytes)
{
    for (auto _ : ioState)
    {
        CountingReceiver receiver;
        Mdi_ParseToEventReceiver parser;
        parser.SetEventReceiver(&receiver);
        FeedInBlocks(iBytes, [&](const unsigned char* bytes, std::size_t length)
                     { parser.MidiStream(bytes, static_cast<short>(length)); });
        benchmark::DoNotOptimize(receiver.mCount);
    }
    ioState.SetItemsProcessed(ioState.iterations() * kNumMessages);
}

void Scan(benchmark::State& ioState, const Bytes& iBytes)
{
    for (auto _ : ioState)
    {
        Scanner scanner;
        FeedInBlocks(iBytes, [&](const unsigned char* bytes, std::size_t length) { scanner.Feed(bytes, length); });
        benchmark::DoNotOptimize(scanner.mCount);
    }
    ioState.SetItemsProcessed(ioState.iterations() * kNumMessages);
}

void BM_ParseNotes(benchmark::State& ioState)
{
    Parse(ioState, Notes());
}
void BM_ScanNotes(benchmark::State& ioState)
{
    Scan(ioState, Notes());
}
void BM_ParseLiveMix(benchmark::State& ioState)
{
    Parse(ioState, LiveMix());
}
void BM_ScanLiveMix(benchmark::State& ioState)
{
    Scan(ioState, LiveMix());
}

const Ratio sNotes("Parser/notes, running status", 2.5, BM_ParseNotes, BM_ScanNotes);
const Ratio sLiveMix("Parser/live mix", 2.5, BM_ParseLiveMix, BM_ScanLiveMix);

} // namespace
