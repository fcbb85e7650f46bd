#include "MdidHost/Text/MdidHost_Text.h"

#include "Mdid/Mdid_EventTypes.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

TEST(MdidHost_Text, WhatCouldSteerATerminalIsEscaped)
{
    const struct
    {
        std::string mText;
        std::string mPrintable;
    } kCases[] = {
        {"", ""},
        {"Grüße, 音楽 🎵", "Grüße, 音楽 🎵"},
        {"\x1b[2J", "\\x1b[2J"},
        {"a\nb\tc\x7f", "a\\x0a"
                        "b\\x09"
                        "c\\x7f"},
        {std::string("a\0b", 3), "a\\x00"
                                 "b"},
        {"\u009b31m", "\\xc2\\x9b31m"},                           // the introducer in one character
        {"\u00a0", "\u00a0"},                                     // the first one that is none
        {"\u202eabc\u2066", "\\xe2\\x80\\xaeabc\\xe2\\x81\\xa6"}, // would turn the rest of the line round
        {"\u2028", "\\xe2\\x80\\xa8"},
        {"\ufdcf\ufdef\ufffe", "\ufdcf\\xef\\xb7\\xaf\\xef\\xbf\\xbe"}, // no characters, behind one
        {"\x9b\x33", "\\x9b\x33"},                                      // the introducer in one byte
        {"\xc0\x9b", "\\xc0\\x9b"},                                     // and longer than it need be
        {"\xe0\x82\x9b", "\\xe0\\x82\\x9b"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},          // half a surrogate pair
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"}, // beyond the last character
        {"\xc3", "\\xc3"},                            // cut
        {"\xc3\x1b", "\\xc3\\x1b"},                   // a lead byte does not hide what follows
        {"\xf0\x9f\x8e", "\\xf0\\x9f\\x8e"},
    };
    for (const auto& [text, printable] : kCases)
        EXPECT_EQ(MdidHost_Printable(text), printable);
}

TEST(MdidHost_Text, AJsonLineHoldsItsKeysInOrder)
{
    MdidHost_JsonLine inner;
    EXPECT_EQ(inner.GetText(), "{}");
    inner.Add("n", static_cast<unsigned char>(200));
    MdidHost_JsonLine line;
    line.Add("z", "text");
    line.Add("a", true);
    line.Add("m", std::int64_t{-5'000'000'000});
    line.AddNull("null");
    line.Add("in", inner);
    EXPECT_EQ(line.GetText(), R"({"z":"text","a":true,"m":-5000000000,"null":null,"in":{"n":200}})");
}

TEST(MdidHost_Text, AJsonLineIsValidWhateverTheTextIs)
{
    const struct
    {
        std::string mText;
        const char* mJson;
    } kCases[] = {
        {"\"\\/", R"({"t":"\"\\/"})"},
        {"\x1b\n\b", R"({"t":"\u001b\n\b"})"},
        {"ü音", R"({"t":"ü音"})"},
        {"\xff"
         "a\xc3",
         "{\"t\":\"\uFFFDa\uFFFD\"}"},
        {std::string("a\0b", 3), R"({"t":"a\u0000b"})"},
    };
    for (const auto& [text, json] : kCases)
    {
        MdidHost_JsonLine line;
        line.Add("t", text);
        EXPECT_EQ(line.GetText(), json);
        EXPECT_TRUE(nlohmann::json::accept(line.GetText()));
    }
}

TEST(MdidHost_Text, HexIsOfAllMessagesOfAnEvent)
{
    const Mdid_ProgramEvent program(2, 5, 1 << 7 | 3);
    EXPECT_EQ(MdidHost_HexOfMessages(program), "b2 00 01 b2 20 03 c2 05");
    EXPECT_EQ(MdidHost_HexOfMessages(Mdid_ProgramEvent()), ""); // nothing enabled
    EXPECT_EQ(MdidHost_HexOfMessages(Mdid_Event()), "");
    EXPECT_EQ(MdidHost_HexOf({}), "");
}
