#include "Mdid/Mdid_SysexEvent.h"

#include "CFnd/Sys_DelayedDeletion.h"
#include "CFnd/Sys_StreamException.h"
#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdie_SysexDataBase.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>

#include <latch>
#include <new>
#include <thread>
#include <tuple>
#include <utility>

namespace
{

using Packet = Mdid_SysexPacketEvent;
using Reports = std::vector<std::string>;

constexpr const char* kHead = "00 0100"; // no tag, version 1

// A note's duration lies where a long sysex has its block.
struct LookAlike : Mdid_NoteWithDurationEvent
{
    static std::int64_t BlockOf(const Mdid_Event& iEvent)
    {
        return reinterpret_cast<std::int64_t>(iEvent.As<LookAlike>().mU.mLongSysex.mBlockP);
    }
    explicit LookAlike(const Mdid_Event& i) : Mdid_NoteWithDurationEvent(0, 1, {BlockOf(i), Time_EType::kTick}, 2, 3) {}
};

class Mdid_SysexEventTest : public ::testing::Test
{
protected:
    Mdid_SysexEventTest() { CountFreed(); }

    // Takes over a block of the pool, whatever is in it.
    Packet InBlock(const ByteVector& iBytes)
    {
        auto* const blockP = static_cast<unsigned char*>(mPool.Alloc(256, nullptr, kMdid_AllocationTag));
        std::ranges::copy(iBytes, blockP);
        return {Packet::InitWithBlock, blockP, static_cast<int>(iBytes.size()), &mPool};
    }

    // Blocks on the heap whose last event went since the last call.
    static std::size_t CountFreed() { return Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0)); }

    RecordingAssertHandler mAsserts;
    SysexPool mPool;
};

TEST_F(Mdid_SysexEventTest, FourteenBytesAreInsideAndFifteenAreABlock)
{
    for (const int length : {-1, 0, 13, 14, 15, 16, 70000})
    {
        const ByteVector body = CountingBytes(std::max(length, 0));
        const AllocationCounter counter;
        const Mdid_SysexEvent event(length, body.data());
        Mdid_Event copy = event;
        copy = event;
        EXPECT_TRUE(copy == event);
        EXPECT_EQ(counter.GetCount(), length > 14 ? 2 : 0) << length;
        EXPECT_EQ(event.GetType(), length > 14 ? Mdid_Event::kLongSysex : Mdid_Event::kSysex) << length;
        EXPECT_EQ(event.GetInternalDataPtr() == nullptr, length > 14);
        EXPECT_EQ(BytesOf(event), (body.empty() ? "f0" : "f0 " + ToHex(body)) + " f7");
    }
}

TEST_F(Mdid_SysexEventTest, ABlockIsFreedOnceWithItsLastEvent)
{
    // An edit of a body of 20 bytes and one of 30; the lengths that are left, and how many blocks are freed.
    const std::tuple<const char*, void (*)(Mdid_Event&, Mdid_Event&), const char*, std::size_t> kCases[] = {
        {"self", [](auto& a, auto&) { a = std::as_const(a); }, "20 30", 0},
        {"self-move", [](auto& a, auto&) { a = std::move(std::ref(a).get()); }, "20 30", 0},
        {"other block", [](auto& a, auto& b) { a = std::as_const(b); }, "30 30", 1},
        {"same block", [](auto& a, auto& b) { a = std::as_const(b), b = std::as_const(a); }, "30 30", 1},
        {"move", [](auto& a, auto& b) { a = std::move(b); }, "30 0", 1},
        {"to a look-alike", [](auto& a, auto& b) { b = LookAlike(a), a = std::as_const(b); }, "0 0", 2},
        {"from it", [](auto& a, auto& b) { a = LookAlike(b), a = std::as_const(b); }, "30 30", 1},
        {"new data", [](auto& a, auto&) { a.AsSysex().SetData(0, nullptr); }, "0 30", 1},
        {"own data", [](auto& a, auto&) { a.AsSysex().SetData(9, a.AsSysex().GetDirectDataPtr()); }, "9 30", 1},
        {"image", [](auto& a, auto&) { a.PrepareToImageOut(), a.PrepareToImageIn(); }, "0 30", 1},
        {"released unseen", [](auto& a, auto&) { a.AsSysex().ReleaseUnseen(); }, "0 30", 0}, // at once
        {"but shared", [](auto& a, auto& b) { a = std::as_const(b), a.AsSysex().ReleaseUnseen(); }, "0 30", 1},
    };
    for (const auto& [name, edit, left, freed] : kCases)
    {
        const AllocationCounter counter;
        {
            Mdid_Event a = MakeSysex(CountingBytes(20));
            Mdid_Event b = MakeSysex(CountingBytes(30));
            edit(a, b);
            EXPECT_EQ(std::to_string(a.AsSysex().GetLength()) + " " + std::to_string(b.AsSysex().GetLength()), left)
                << name;
            EXPECT_EQ(CountFreed(), freed) << name;
        }
        CountFreed();
        EXPECT_EQ(counter.GetLive(), 0) << name;
    }
}

TEST_F(Mdid_SysexEventTest, PacketsKnowWhatTheyAre)
{
    const std::string k13 = "01 02 03 04 05 06 07 08 09 0a 0b 0c 0d";
    // The bytes, the type, what it is, and the length of the body without F0 and F7.
    const std::tuple<std::string, int, std::string, int> kCases[] = {
        {"", 16, "", 0},
        {"f0", 16, "beginning ", 0},
        {"f7", 16, "ending ", 0},
        {"f0 f7", 14, "beginning ending complete ", 0},
        {k13 + "0e", 16, "", 14}, // the longest fragment inside the event
        {"f0" + k13 + "0e f7", 14, "beginning ending complete ", 14},
        {"f0" + k13 + "0e 0f f7", 15, "complete ", 15},
        {"f0" + k13 + "0e", 15, "beginning ", 14}, // the shortest fragment in a block
        {"00" + k13 + "f7", 15, "ending ", 14},
        {"f7" + k13 + "f0", 15, "", 15},
    };
    for (const auto& [text, type, is, bodyLength] : kCases)
    {
        const auto event = MakePacket(FromHex(text), mPool);
        EXPECT_EQ(event.GetType(), type) << text;
        EXPECT_EQ(BytesOf(event), ToHex(FromHex(text)));
        const std::string packet = event.IsBeginningPacket() ? "beginning " : "";
        EXPECT_EQ(packet + (event.IsEndingPacket() ? "ending " : "") + (event.IsComplete() ? "complete " : ""), is)
            << text;
        EXPECT_EQ(event.AsSysex().GetLength(), bodyLength) << text;
    }
}

TEST_F(Mdid_SysexEventTest, MemoryThatIsMissingLeavesNothingBehind)
{
    const ByteVector body = CountingBytes(20);
    const AllocationCounter counter;
    const FailingAllocation failing(2); // the first is of the bytes, this one of the block over them
    EXPECT_EQ(MakeSysex(body).GetType(), Mdid_Event::kNullEvent);
    EXPECT_EQ(counter.GetLive(), 0);
}

TEST_F(Mdid_SysexEventTest, ThePoolPathNeverTouchesTheHeap)
{
    const ByteVector bytes = CountingBytes(200);
    const AllocationCounter counter;
    {
        const Packet event(200, bytes.data(), &mPool);
        Mdid_Event copy = InBlock(bytes);
        EXPECT_FALSE(copy == event || copy < event);
        copy = Mdid_Event(event);
        EXPECT_TRUE(copy == event);
        copy.AsSysex().ReleaseUnseen();
    }
    EXPECT_EQ(counter.GetCount(), 0);
    EXPECT_EQ(mPool.CountInUse(), 0u);
}

TEST_F(Mdid_SysexEventTest, ABlockThatFourThreadsShareIsFreedOnce)
{
    for (const bool onHeap : {false, true, false, true, false, true, false, true})
    {
        const ByteVector bytes = CountingBytes(100);
        Mdid_Event event = onHeap ? Mdid_Event(MakeSysex(bytes)) : Mdid_Event(MakePacket(bytes, mPool));
        std::latch start(5);
        {
            std::vector<std::jthread> threads;
            while (threads.size() < 4)
            {
                threads.emplace_back(
                    [&start, mine = event]() mutable
                    {
                        start.arrive_and_wait();
                        for (int i = 0; i < 5000; ++i)
                        {
                            Mdid_Event copy = mine;
                            const Mdid_Event moved = std::move(copy);
                            ASSERT_TRUE(moved == mine && !(moved < mine));
                        }
                        mine = Mdid_Event();
                    });
            }
            start.arrive_and_wait();
            event = Mdid_Event();
        }
        EXPECT_EQ(CountFreed(), onHeap ? 1u : 0u);
        EXPECT_EQ(mPool.CountInUse(), 0u);
    }
    EXPECT_TRUE(mAsserts.Take().empty());
}

TEST_F(Mdid_SysexEventTest, AnExhaustedPoolMakesNullEventsAndGetsEverythingBack)
{
    EXPECT_EQ(MakePacket(CountingBytes(257), mPool).GetType(), Mdid_Event::kNullEvent); // no bytes
    while (mPool.Alloc(48, nullptr, kMdid_AllocationTag) != nullptr)
        continue;
    EXPECT_EQ(MakePacket(CountingBytes(100), mPool).GetType(), Mdid_Event::kNullEvent); // no object over them
    EXPECT_EQ(mPool.CountInUse(), 10u);
    EXPECT_TRUE(mAsserts.Take().empty());
}

TEST_F(Mdid_SysexEventTest, ABlockWithoutDataAndDataWithoutABlockAreReported)
{
    const Packet event(Packet::InitWithBlock, nullptr, 20, &mPool);
    EXPECT_EQ(mAsserts.Take(), Reports{"mDataP != 0@$^$@NewFileLibs/Mdid/Mdie_SysexDataBase"});
    EXPECT_TRUE(event.GetType() == Mdid_Event::kLongSysex && BytesOf(event).empty());
    EXPECT_EQ(MakeSysex({1}).GetDirectDataPtr(), nullptr);
    EXPECT_EQ(mAsserts.Take(), Reports{"mU.mBase.mType == kLongSysex@$^$@NewFileLibs/Mdid/Mdid_SysexEvent"});
}

TEST_F(Mdid_SysexEventTest, TheRecordHoldsTheBody)
{
    EXPECT_EQ(ToHex(Saved(MakeSysex({0x41, 0x10}))), "00 01 00 "                // no tag, version
                                                     "07 00 00 00 00 00 00 00 " // bytes of the record
                                                     "00 02 00 00 00 41 10");   // an event, bytes of the body, body
    EXPECT_EQ(Saved(Mdid_NoteOnEvent(0, 60, 1)), Record(kHead, {})); // kept: it is reported, and a record written
    EXPECT_EQ(mAsserts.Take(),
              Reports{"GetType() == kSysex || GetType() == kLongSysex@$^$@NewFileLibs/Mdid/Mdid_Event"});

    // Fragments keep all their data bytes.
    const std::string k15 = ToHex(CountingBytes(15));
    const std::pair<std::string, std::string> kStored[] = {
        {"f0", ""}, {"f7", ""}, {"05", "05"}, {"f0" + k15 + "f7", k15}, {"f0" + k15, k15}, {k15 + "f7", k15}};
    for (const auto& [stored, body] : kStored)
    {
        Mdid_Event loaded;
        Load(loaded, Saved(InBlock(FromHex(stored))));
        EXPECT_EQ(BytesOf(loaded), ToHex(FromHex("f0" + body + "f7"))) << stored;
    }
    for (const auto& [body, type] :
         {std::pair{"", 0}, {"ff", 0}, {"01 02000000 4110", 0}, {"00 02000000 4110 99 98", 14}})
    {
        Mdid_Event loaded = MakeSysex(CountingBytes(20));
        Load(loaded, Record(kHead, FromHex(body)));
        EXPECT_EQ(loaded.GetType(), type) << body;
    }
}

TEST_F(Mdid_SysexEventTest, DamagedRecordsLeaveTheEventAsItWas)
{
    Mdid_Event event = MakeSysex({0x55});
    const ByteVector whole = Record(kHead, FromHex("00 14000000" + ToHex(CountingBytes(20))));
    const AllocationCounter counter;
    for (auto end = whole.begin(); end != whole.end(); ++end)
        EXPECT_THROW(Load(event, {whole.begin(), end}), Sys_StreamException);
    for (auto end = whole.begin() + 12; end != whole.end(); ++end) // under a header that is right
        EXPECT_ANY_THROW(Load(event, Record(kHead, {whole.begin() + 11, end})));
    for (const char* const head : {"00 0000", "00 0200", "0141 0100"}) // other versions, another tag
        EXPECT_THROW(Load(event, Record(head, FromHex("00 02000000 4110"))), Sys_StreamException) << head;
    for (const std::string length : {"ffffffff", "00000080", "ffffff7f", "15000000"})
        EXPECT_THROW(Load(event, Record(kHead, FromHex("00" + length + "0102"))), std::bad_alloc) << length;
    EXPECT_EQ(BytesOf(event), "f0 55 f7");
    EXPECT_LT(counter.GetPeakBytes(), 10000); // no room is taken for bytes that are not there
}

} // namespace
