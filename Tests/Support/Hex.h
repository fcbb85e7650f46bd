#pragma once

#include <boost/algorithm/hex.hpp>

#include <cctype>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// "90 3c 40" and "903C40" alike become three bytes; blanks and line breaks are ignored. What is no pair of hex digits
// throws, so that a slip of the pen in a table fails its test.
inline std::vector<unsigned char> FromHex(std::string_view iText)
{
    std::string digits(iText);
    std::erase_if(digits, [](unsigned char character) { return std::isspace(character); });
    std::vector<unsigned char> bytes;
    boost::algorithm::unhex(digits, std::back_inserter(bytes));
    return bytes;
}

// "90 3c 40".
inline std::string ToHex(std::span<const unsigned char> iBytes)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : iBytes)
        text += {' ', kDigits[byte >> 4], kDigits[byte & 0x0F]};
    return text.empty() ? text : text.substr(1);
}
