#pragma once

// Controllers whose meaning matters here.
namespace Mdi_Controller
{

inline constexpr signed char kBankMSB = 0;
inline constexpr signed char kFirstLane = 1; // the controllers that are lanes
inline constexpr signed char kDataEntryMSB = 6;
inline constexpr signed char kBankLSB = 32;
inline constexpr signed char kDataEntryLSB = 38;
inline constexpr signed char kTimbre = 74; // of the expression of a note, in MPE
inline constexpr signed char kDataIncrement = 96;
inline constexpr signed char kDataDecrement = 97;
inline constexpr signed char kOtherParameterLSB = 98; // not registered
inline constexpr signed char kOtherParameterMSB = 99;
inline constexpr signed char kParameterLSB = 100; // registered
inline constexpr signed char kParameterMSB = 101;
inline constexpr signed char kLastLane = 119;
inline constexpr signed char kFirstChannelMode = 120;

// The registered parameter (MSB 0) whose data entry configures an MPE zone.
inline constexpr signed char kMPEConfiguration = 6;
inline constexpr int kMaxLowerMembers = 15; // that it may say
inline constexpr int kMaxUpperMembers = 14;

// Parameter numbers and their data: what data entry means depends on the number before it.
constexpr bool IsOfParameterNumber(int iController)
{
    return iController == kDataEntryMSB || iController == kDataEntryLSB ||
           (iController >= kDataIncrement && iController <= kParameterMSB);
}

} // namespace Mdi_Controller
