#pragma once

#include "MFnd/Time_KeySignature.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

// How people read what is in files and sessions.

// Up to 127 bytes of text, as printf has it.
template <class... Arguments>
std::string MdidHost_Formatted(const char* iFormat, Arguments... iArguments)
{
    std::array<char, 128> text;
    std::snprintf(text.data(), text.size(), iFormat, iArguments...);
    return text.data();
}

std::string MdidHost_NameOfPitch(int iPitch); // 60: "C4"; black keys as sharps
std::string MdidHost_NameOfKey(const Time_KeySignature& iKey);
std::string MdidHost_BeatsPerMinute(int iMicrosecondsPerQuarter);   // "69", "92.307"
std::string MdidHost_MinutesAndSeconds(std::int64_t iMicroseconds); // "1:30.613"

// In characters, not in bytes.
int MdidHost_WidthOf(std::string_view iText);
// Cut and filled up to a width.
std::string MdidHost_Column(std::string_view iText, int iWidth);
