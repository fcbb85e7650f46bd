#pragma once

#include "Mdid/Mdi_Meta.h"

#include <array>
#include <cstdint>

// The data of the meta events that have a fixed length.
namespace MdidHost_Meta
{

// The data of an event that has a fixed length: the first bytes of the file's, and how many the file has.
struct Data
{
    static constexpr int kMaxLength = 5;

    std::array<unsigned char, kMaxLength> mBytes{};
    std::int64_t mLength = 0;

    bool operator==(const Data&) const = default;
};

// How long the data of that type must be; -1 when any length will do.
int LengthOf(unsigned char iType);

// "a tempo", of the types of a fixed length.
const char* NameOf(unsigned char iType);

// Makes the data of such a type what it must have meant. False when nobody can tell. Unchanged: it was sound.
bool Correct(unsigned char iType, Data& ioData);

} // namespace MdidHost_Meta
