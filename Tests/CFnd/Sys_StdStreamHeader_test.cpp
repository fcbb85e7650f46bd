#include "CFnd/Sys_StdStreamHeader.h"

#include "Support/FailureOf.h"
#include "Support/Hex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace
{

using ByteVector = std::vector<unsigned char>;

// Offsets into the record below.
constexpr std::ptrdiff_t kVersion = 4, kOuterSize = 6, kInnerTag = 16, kInnerSize = 21;

const ByteVector kGolden = FromHex("03 4F7574 0200 1400000000000000" // tag "Out", version, size of the body
                                   "3412"                            // number
                                   "02 496E 0100 0400000000000000"   //     nested: tag "In", version, size,
                                   "FEFFFFFF"                        //     value
                                   "07");                            // field of version 2

// Number, nested value, and the field of version 2.
using Values = std::array<int, 3>;
constexpr Values kValues{0x1234, -2, 7};
constexpr int kDefault = 99;

Values Read(Cmn_InStream& ioStream)
{
    Values values{0, 0, kDefault};
    Sys_TypedInStream stream(ioStream);
    Sys_StdStreamHeaderReader outer(stream, "Out");
    outer.CheckVersion(1, 2);
    values[0] = stream.Read<std::int16_t>();
    {
        Sys_StdStreamHeaderReader inner(stream, "In");
        values[1] = stream.Read<std::int32_t>();
        inner.SkipTheRest();
    }
    if (outer.IsMoreLeft())
        values[2] = stream.Read<std::uint8_t>();
    outer.SkipTheRest();
    return values;
}

std::string FailureOfReading(const ByteVector& iBytes)
{
    Sys_MemoryInStream stream(iBytes);
    const std::string failure = FailureOf([&] { Read(stream); });
    EXPECT_EQ(stream.GetScope().mEnd, std::ssize(iBytes)) << "the scope outlived its reader";
    EXPECT_EQ(stream.GetScope().mTag, "");
    return failure;
}

} // namespace

TEST(Sys_StdStreamHeader, ARecordIsItsBytes)
{
    Sys_MemoryOutStream memory;
    Sys_TypedOutStream stream(memory);
    Sys_StdStreamHeaderWriter outer(stream, "Out", 2);
    stream.Write(std::int16_t{0x1234});
    Sys_StdStreamHeaderWriter inner(stream, "In", 1);
    stream.Write(std::int32_t{-2});
    inner.PatchSize();
    stream.Write(std::uint8_t{7});
    outer.PatchSize();
    EXPECT_TRUE(std::ranges::equal(memory.GetBytes(), kGolden));
    for (auto end = kGolden.begin(); end != kGolden.end(); ++end)
        EXPECT_NE(FailureOfReading({kGolden.begin(), end}), "") << "cut at " << end - kGolden.begin();
}

TEST(Sys_StdStreamHeader, DamageIsNamedWithRecordAndPosition)
{
    const std::tuple<std::ptrdiff_t, const char*, const char*> table[] = {
        {kOuterSize, "FFFFFFFFFFFFFFFF", "Out: record reaches past its end at byte 0"},
        {kOuterSize, "05", "Out: end of record at byte 19"},              // ends inside of the nested header
        {kOuterSize, "12", "In: record reaches past its end at byte 16"}, // ends inside of the nested body
        {kInnerSize, "03", "In: end of record at byte 29"},               // ends inside of its field
        {kInnerSize, "05", ""},                                           // up to the end of its parent
        {kInnerSize, "06", "In: record reaches past its end at byte 16"}, // past it, though more bytes follow
        {kInnerTag, "01", "In: wrong record tag at byte 16"},             // shorter, but of the same beginning
        {kInnerTag, "FF", "Out: end of record at byte 17"},
        {kVersion, "0000", "Out: unknown record version at byte 14"},
        {kVersion, "0300", "Out: unknown record version at byte 14"},
    };
    for (const auto& [offset, damage, failure] : table)
    {
        ByteVector bytes = kGolden;
        std::ranges::copy(FromHex(damage), bytes.begin() + offset);
        bytes.insert(bytes.end(), kGolden.begin(), kGolden.end());
        EXPECT_EQ(FailureOfReading(bytes), failure) << offset << ' ' << damage;
    }
}

TEST(Sys_StdStreamHeader, FieldsOfOtherVersionsAreDefaultedOrSkipped)
{
    const std::pair<const char*, Values> table[] = {
        {"03 4F7574 0100 1300000000000000 3412 02 496E 0100 0400000000000000 FEFFFFFF", {0x1234, -2, kDefault}},
        {"03 4F7574 0200 1900000000000000 3412 02 496E 0900 0600000000000000 FEFFFFFF AABB 07 CCDDEE", kValues},
    };
    for (const auto& [record, values] : table)
    {
        const ByteVector bytes = FromHex(record);
        Sys_MemoryInStream stream(bytes);
        EXPECT_EQ(Read(stream), values);
        EXPECT_TRUE(stream.IsAtEnd());
    }
}
