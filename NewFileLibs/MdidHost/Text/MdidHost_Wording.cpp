#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>

namespace
{

// A UTF-8 character is a byte that is no continuation, and its continuations.
bool IsContinuation(char iByte)
{
    return (static_cast<unsigned char>(iByte) & 0xC0) == 0x80;
}

} // namespace

std::string MdidHost_NameOfPitch(int iPitch)
{
    static constexpr std::array<const char*, 12> kNames{"C",  "C#", "D",  "D#", "E",  "F",
                                                        "F#", "G",  "G#", "A",  "A#", "B"};
    const int pitch = std::clamp(iPitch, 0, 127);
    return kNames[static_cast<std::size_t>(pitch % 12)] + std::to_string(pitch / 12 - 1);
}

std::string MdidHost_NameOfKey(const Time_KeySignature& iKey)
{
    // The circle of fifths from seven flats to seven sharps, major; minor keys lie three fifths further.
    static constexpr std::array<const char*, 15> kMajor{"C flat", "G flat", "D flat", "A flat",  "E flat",
                                                        "B flat", "F",      "C",      "G",       "D",
                                                        "A",      "E",      "B",      "F sharp", "C sharp"};
    static constexpr std::array<const char*, 15> kMinor{"A flat",  "E flat",  "B flat",  "F",       "C",
                                                        "G",       "D",       "A",       "E",       "B",
                                                        "F sharp", "C sharp", "G sharp", "D sharp", "A sharp"};
    const int accidentals = iKey.GetNumAccidentals();
    if (accidentals < 0 || accidentals > 7)
        return std::to_string(accidentals) + (iKey.GetIsSharps() ? " sharps" : " flats");
    const int fifths = iKey.GetIsSharps() ? accidentals : -accidentals;
    const std::size_t index = std::size_t{7} + static_cast<std::size_t>(fifths);
    return std::string(iKey.GetIsMajor() ? kMajor[index] : kMinor[index]) + (iKey.GetIsMajor() ? " major" : " minor");
}

std::string MdidHost_BeatsPerMinute(int iMicrosecondsPerQuarter)
{
    if (iMicrosecondsPerQuarter == 0)
        return "(tempo 0)";
    std::string text = MdidHost_Formatted("%.3f", 60e6 / iMicrosecondsPerQuarter);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    return text;
}

std::string MdidHost_MinutesAndSeconds(std::int64_t iMicroseconds)
{
    const std::int64_t rounded = iMicroseconds + 500;
    const std::int64_t milliseconds = rounded / 1000 - (rounded % 1000 < 0 ? 1 : 0); // halves upward, of any sign
    const std::int64_t size = milliseconds < 0 ? -milliseconds : milliseconds;
    return MdidHost_Formatted("%s%lld:%02lld.%03lld", milliseconds < 0 ? "-" : "", static_cast<long long>(size / 60000),
                              static_cast<long long>(size / 1000 % 60), static_cast<long long>(size % 1000));
}

int MdidHost_WidthOf(std::string_view iText)
{
    return static_cast<int>(std::ranges::count_if(iText, [](char byte) { return !IsContinuation(byte); }));
}

std::string MdidHost_Column(std::string_view iText, int iWidth)
{
    std::string text;
    int width = 0;
    for (const char byte : iText)
    {
        if (!IsContinuation(byte) && ++width > iWidth)
            break;
        text += byte;
    }
    return text + std::string(static_cast<std::size_t>(std::max(iWidth - width, 0)), ' ');
}
