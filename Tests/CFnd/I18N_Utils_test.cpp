#include "CFnd/I18N_Utils.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <numeric>

using namespace std::string_view_literals;

namespace
{

constexpr auto kDetect = I18N_Utils::kDetectEncoding;

constexpr I18N_StringTableEntry kTable[] = {
    {7, L"seven"}, {3, L"\u00FCber"}, {7, L"another seven"}, {9, L""}, {11, nullptr}};

} // namespace

TEST(I18N_ResourceModule, CopiesWhatFitsAndAlwaysTerminates)
{
    const I18N_ResourceModule module(kTable);
    const std::tuple<unsigned int, int, int, std::wstring_view> table[] = {
        {7, 6, 5, L"seven\0##"sv},      // of equal ids the first, with room for exactly the text
        {3, 4, 3, L"\u00FCbe\0####"sv}, // room for less
        {7, 1, 0, L"\0#######"sv},      // room for the terminator only
        {7, 0, 0, L"########"},         // no room
        {8, 8, 0, L"\0#######"sv},      // no such text
    };
    for (const auto& [id, size, length, expected] : table)
    {
        std::wstring buffer(8, L'#');
        EXPECT_EQ(module.LoadStringW(id, buffer.data(), size), length) << id << " " << size;
        EXPECT_TRUE(buffer == expected) << id << " " << size;
    }
}

TEST(I18N_Utils, ALanguageIsANameAndNeverAPath)
{
    const std::string previous = I18N_Utils::GetCurrentLanguage();
    for (const auto language : {""sv, "."sv, ".."sv, "de/.."sv, "/de"sv, "de.UTF-8"sv, "d\xC3\xA9"sv, "de\0x"sv})
        EXPECT_FALSE(I18N_Utils::SetCurrentLanguage(std::string(language))) << language;
    EXPECT_EQ(I18N_Utils::GetCurrentLanguage(), previous);
    EXPECT_TRUE(I18N_Utils::SetCurrentLanguage("zh_Hant-1") && I18N_Utils::SetCurrentLanguage(previous));
}

TEST(I18N_Utils, PlaceholdersTakeTheirArguments)
{
    static constexpr auto kEleven = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"};
    const struct
    {
        std::string_view mText;
        std::initializer_list<const char*> mArguments;
        std::string_view mFormatted;
    } table[] = {
        {"%2 before %1, %1", {"a", "b"}, "b before a, a"},
        {"%10%1%9", kEleven, "jai"},
        {"%11 %100", kEleven, "a1 j0"},               // there is no eleventh
        {"%10 %12", {"a"}, "%10 a2"},                 // the tenth is missing; it is not the first and a zero
        {"%1 %2 %3", {"a", nullptr, "c"}, "a %2 %3"}, // the list ends at the first null
        {"%1%2", {"%2", "%1"}, "%2%1"},               // arguments are not searched
        {"100% %0 %% %%1 %x %", {"a"}, "100% %0 %% %a %x %"},
    };
    for (const auto& [text, arguments, formatted] : table)
        EXPECT_EQ(I18N_Utils::FormatL10nString(text, arguments), formatted) << text;
}

TEST(I18N_Utils, TextChangesItsEncodingAndNothingIsLostOnTheWay)
{
    const std::tuple<const char*, std::string_view, const char*, std::string_view> table[] = {
        {"macintosh", "Fl\x9Ate", "UTF-8", "Fl\u00F6te"},
        {"windows-1251", "\xC1\x98\xF1", "UTF-8", "\u0411\uFFFD\u0441"}, // the one byte that it leaves undefined
        {"Shift_JIS", "\x83\x73\xFF\x83\x6D", "UTF-8", "\u30D4\uFFFD\u30CE"},
        {"Shift_JIS", "\x83\x73\x83", "UTF-8", "\u30D4\uFFFD"},       // ends within a character
        {"utf8", "a\xC0\x80z", "UTF-8", "a\uFFFD\uFFFDz"},            // overlong
        {"UTF-8", "\xED\xA0\x80", "UTF-8", "\uFFFD\uFFFD\uFFFD"},     // a surrogate
        {"UTF-8", "a\xC3z\xE2\x82", "UTF-8", "a\uFFFDz\uFFFD\uFFFD"}, // what follows a broken character stays
        {kDetect, "\xC3\xB6\xF6", "UTF-8", "\u00C3\u00B6\u00F6"},
        {kDetect, "\0"sv, "UTF-8", "\0"sv},
        // With a byte-order mark or shift sequences there are no pieces to convert, so what is damaged is skipped.
        {"UTF-16", "\xFE\xFF\0P\0i\0"sv, "UTF-8", "Pi"},
        {"ISO-2022-JP", "\x1B$B%T\xFF%\"\x1B(B!", "UTF-8", "\u30D4\u30A2!"},
        {"UTF-8", "\u30D4\u00F6\u30A2", "ISO-2022-JP", "\x1B$B%T%\"\x1B(B"},
        // A mark stands for what the target lacks.
        {"UTF-8", "Fl\u00F6te \u30D4!", "ISO-8859-1", "Fl\xF6te ?!"},
        {"UTF-8", "\u20AC\u0081\u30D4\u0082", "cp1252", "\x80\x81??"},
    };
    for (const auto& [from, text, to, changed] : table)
        EXPECT_EQ(I18N_Utils::ChangeTextEncoding(text, from, to), changed) << from << " " << text;
}

TEST(I18N_Utils, EveryByteOfWindows1252ComesBack)
{
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    const std::string utf8 = I18N_Utils::ChangeTextEncoding(bytes, kDetect, "UTF-8");
    EXPECT_EQ(I18N_Utils::ChangeTextEncoding(utf8, "UTF-8", "windows-1252"), bytes);
}

RC_GTEST_PROP(I18N_Utils, WhateverTheBytesTheResultIsValidUtf8, ())
{
    const auto encoding = *rc::gen::element<std::string>("Windows-1252", "CP437", "ASCII", "Shift_JIS", "GB18030",
                                                         "UTF-8", "UTF-7", "UTF-16LE", "UCS-4LE", "ISO-2022-JP", "HZ");
    const auto text = *rc::gen::container<std::string>(
        rc::gen::oneOf(rc::gen::arbitrary<char>(), rc::gen::element('\x1B', '$', '+', '\xC3', '\xE2', '\x82', '\xED')));
    const std::string utf8 = I18N_Utils::ChangeTextEncoding(text, encoding, "UTF-8");
    RC_ASSERT(I18N_Utils::ChangeTextEncoding(utf8, kDetect, "UTF-8") == utf8); // else it would become Windows-1252
    I18N_Utils::ChangeTextEncoding(utf8, "UTF-8", encoding);
}

TEST(I18N_Utils, AnEncodingThatIsNotKnownIsRefusedBeforeAnythingIsConverted)
{
    for (const std::string encoding : {"", " ", "nonsense", "UTF-8//IGNORE", "ASCII//TRANSLIT", "/", "utf-8,x", "-"})
    {
        EXPECT_THROW(I18N_Utils::ChangeTextEncoding("", encoding, "UTF-8"), std::invalid_argument) << encoding;
        EXPECT_THROW(I18N_Utils::ChangeTextEncoding("a", "UTF-8", encoding), std::invalid_argument) << encoding;
        EXPECT_FALSE(I18N_Utils::SetNativeTextEncoding(encoding)) << encoding;
    }
    EXPECT_THROW(I18N_Utils::ChangeTextEncoding("", "UTF-8", kDetect), std::invalid_argument);
}
