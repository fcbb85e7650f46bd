#include "CFnd/Sys_TypedStream.h"

#include "Support/FailureOf.h"
#include "Support/WindowedInStream.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace
{

using ByteVector = std::vector<unsigned char>;

} // namespace

TEST(Cmn_InStream, AnyWindowAndAnyRecordGiveTheBytesOfTheirPosition)
{
    for (unsigned seed = 0; seed < 200; ++seed)
    {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto pick = [&random](std::size_t iMaximum) { return random() % (iMaximum + 1); };
        ByteVector bytes(pick(40));
        std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
        WindowedInStream stream(bytes, 1 + pick(6));
        std::size_t position = 0;
        std::size_t end = bytes.size();
        for (int step = 0; step < 100; ++step)
        {
            const auto rest = std::span(bytes).subspan(position, std::max(end, position) - position);
            ASSERT_EQ(stream.GetPosition(), static_cast<std::int64_t>(position));
            ASSERT_EQ(stream.GetBytesLeft(), std::ssize(rest));
            ByteVector block(pick(8));
            const bool fits = block.size() <= rest.size();
            switch (pick(4))
            {
            case 0:
                position = pick(bytes.size());
                EXPECT_NE(FailureOf([&] { stream.SetPosition(pick(1) == 0 ? -1 : std::ssize(bytes) + 1); }), "");
                stream.SetPosition(static_cast<std::int64_t>(position));
                break;
            case 1:
                end = pick(bytes.size());
                stream.SetScope({static_cast<std::int64_t>(end), "Record"});
                break;
            case 2:
                ASSERT_EQ(FailureOf([&] { stream.Skip(std::ssize(block)); }).empty(), fits);
                position += fits ? block.size() : 0;
                break;
            case 3:
                ASSERT_EQ(stream.GetWindow().empty(), rest.empty());
                ASSERT_TRUE(std::ranges::equal(stream.GetWindow(), rest.first(stream.GetWindow().size())));
                position += stream.GetWindow().size();
                stream.Advance(stream.GetWindow().size());
                break;
            default:
                ASSERT_EQ(FailureOf([&] { stream.ReadBlock(block.data(), block.size()); }).empty(), fits);
                ASSERT_TRUE(!fits || std::ranges::equal(block, rest.first(block.size())));
                position += fits ? block.size() : 0;
            }
        }
    }
}

TEST(Cmn_OutStream, OnlyWhatWasWrittenIsPatched)
{
    Sys_MemoryOutStream stream;
    ByteVector bytes(1001, 9);
    for (std::size_t i = 0; i < bytes.size(); i += 7)
        stream.WriteBlock(&bytes[i], 7);
    const ByteVector patch = {1, 2};
    for (const std::int64_t position : {std::int64_t{-1}, std::int64_t{1000}, std::numeric_limits<std::int64_t>::max()})
        EXPECT_NE(FailureOf([&] { stream.Patch(position, patch); }), "") << position;
    stream.Patch(999, patch);
    std::ranges::copy(patch, bytes.end() - 2);
    EXPECT_TRUE(std::ranges::equal(stream.GetBytes(), bytes));
}

TEST(Sys_TypedStream, ABoolIsOneOfTwoBytesAndMidiFilesAreBigEndian)
{
    const ByteVector bytes = {1, 0, 2, 0x81, 0xF8};
    Sys_MemoryInStream stream(bytes);
    Sys_TypedInStream in(stream);
    EXPECT_TRUE(in.Read<bool>());
    EXPECT_FALSE(in.Read<bool>());
    EXPECT_EQ(FailureOf([&] { in.Read<bool>(); }), "neither true nor false at byte 2");
    stream.SetPosition(3);
    EXPECT_EQ(Sys_BigEndianInStream(stream).Read<std::uint16_t>(), 0x81F8);
}
