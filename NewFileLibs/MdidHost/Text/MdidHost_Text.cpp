#include "MdidHost/Text/MdidHost_Text.h"

#include "Mdid/Mdie_TraceUtil.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <vector>

namespace
{

std::string HexOf(unsigned char iByte)
{
    static constexpr std::string_view kDigits = "0123456789abcdef";
    return {kDigits[iByte >> 4], kDigits[iByte & 0x0F]};
}

// Damaged UTF-8 becomes U+FFFD: whatever a file holds, the line stays valid.
std::string JsonStringOf(std::string_view iText)
{
    return nlohmann::json(iText).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

struct Character
{
    char32_t mCode = 0;
    std::size_t mLength = 0; // in bytes; 0: no UTF-8
};

// iText is not empty.
Character FirstCharacterOf(std::string_view iText)
{
    const auto first = static_cast<unsigned char>(iText[0]);
    if (first < 0x80)
        return {first, 1};
    const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (length == 0 || iText.size() < length)
        return {};
    char32_t code = first & (0x7Fu >> length);
    for (const char byte : iText.substr(1, length - 1))
    {
        if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80)
            return {};
        code = code << 6 | (static_cast<unsigned char>(byte) & 0x3Fu);
    }
    static constexpr std::array<char32_t, 5> kLowest{0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    return code < kLowest[length] || isSurrogate || code > 0x10FFFF ? Character{} : Character{code, length};
}

bool IsHarmless(char32_t iCode)
{
    const auto isIn = [=](char32_t first, char32_t last) { return iCode >= first && iCode <= last; };
    const bool isControl = iCode < 0x20 || isIn(0x7F, 0x9F);
    const bool isSeparatorOrDirection = isIn(0x2028, 0x202E) || isIn(0x2066, 0x2069);
    const bool isNoCharacter = isIn(0xFDD0, 0xFDEF) || (iCode & 0xFFFE) == 0xFFFE; // nor do all libraries take it
    return !isControl && !isSeparatorOrDirection && !isNoCharacter;
}

} // namespace

std::string MdidHost_HexOf(std::span<const unsigned char> iBytes)
{
    std::string text;
    text.reserve(3 * iBytes.size());
    for (const unsigned char byte : iBytes)
    {
        if (!text.empty())
            text += ' ';
        text += HexOf(byte);
    }
    return text;
}

std::string MdidHost_HexOfMessages(const Mdid_Event& iEvent)
{
    std::vector<unsigned char> bytes;
    for (int i = 0; i < iEvent.GetNumMessages(); ++i)
    {
        const std::size_t start = bytes.size();
        bytes.resize(start + static_cast<std::size_t>(iEvent.GetMessageLength(i)));
        iEvent.GetMessageData(bytes.data() + start, i);
    }
    return MdidHost_HexOf(bytes);
}

std::string MdidHost_DescriptionOf(const Mdid_Event& iEvent)
{
    std::array<char, 200> text;
    Mdie_TraceUtil::FormatMidiEvent(text.data(), static_cast<int>(text.size()), iEvent);
    return text.data();
}

std::string MdidHost_Printable(std::string_view iText)
{
    std::string text;
    while (!iText.empty())
    {
        const Character character = FirstCharacterOf(iText);
        const std::string_view bytes = iText.substr(0, std::max<std::size_t>(character.mLength, 1));
        if (character.mLength > 0 && IsHarmless(character.mCode))
            text += bytes;
        else
            for (const char byte : bytes)
                text += "\\x" + HexOf(static_cast<unsigned char>(byte));
        iText.remove_prefix(bytes.size());
    }
    return text;
}

std::string MdidHost_Counted(std::int64_t iCount, std::string_view iOne, std::string_view iMany)
{
    const bool isOne = iCount == 1 || iCount == -1;
    std::string text = std::to_string(iCount) + ' ';
    text += isOne || iMany.empty() ? iOne : iMany;
    return isOne || !iMany.empty() ? text : text + 's';
}

void MdidHost_JsonLine::Add(std::string_view iKey, std::string_view iText)
{
    AddRaw(iKey, JsonStringOf(iText));
}

void MdidHost_JsonLine::Add(std::string_view iKey, std::optional<std::int64_t> iNumber)
{
    AddRaw(iKey, iNumber ? std::to_string(*iNumber) : "null");
}

void MdidHost_JsonLine::Add(std::string_view iKey, std::span<const int> iNumbers)
{
    std::string array = "[";
    for (const int number : iNumbers)
    {
        if (array.size() > 1)
            array += ',';
        array += std::to_string(number);
    }
    AddRaw(iKey, array += ']');
}

void MdidHost_JsonLine::Add(std::string_view iKey, std::span<const MdidHost_JsonLine> iObjects)
{
    std::string array = "[";
    for (const MdidHost_JsonLine& object : iObjects)
    {
        if (array.size() > 1)
            array += ',';
        (array += object.mText) += '}';
    }
    AddRaw(iKey, array += ']');
}

void MdidHost_JsonLine::AddRaw(std::string_view iKey, std::string_view iJson)
{
    if (mText.size() > 1)
        mText += ',';
    ((mText += '"') += iKey) += "\":";
    mText += iJson;
}
