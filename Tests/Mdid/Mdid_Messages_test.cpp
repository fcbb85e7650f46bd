#include "Mdid/Mdid_Messages.h"

#include "CFnd/I18N_Utils.h"
#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace
{

std::string ThrownText(void (*iThrow)())
{
    try
    {
        iThrow();
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "nothing thrown";
}

TEST(Mdid_Messages, BothLanguagesHaveTheSameIdsAndPlaceholders)
{
    const std::string previous = I18N_Utils::GetCurrentLanguage();
    I18N_Utils::SetCurrentLanguage("de");
    const I18N_ResourceModule* const germanP = I18N_Utils::GetResourceDLL("Mdid_Resource");
    I18N_Utils::SetCurrentLanguage(previous);
    const I18N_ResourceModule* const englishP = I18N_Utils::GetResourceDLL("Mdid");
    ASSERT_TRUE(englishP && germanP);
    for (unsigned int id = 0; id < 1000; ++id)
    {
        const bool isMessage = (id >= 100 && id <= 114) || (id >= 200 && id <= 224) || id == 300;
        wchar_t english[200] = L"", german[200] = L"";
        ASSERT_EQ(englishP->LoadStringW(id, english, 200) > 0, isMessage) << id;
        ASSERT_EQ(germanP->LoadStringW(id, german, 200) > 0, isMessage) << id;
        EXPECT_EQ(std::ranges::count(english, L'%'), std::ranges::count(german, L'%')) << id;
    }
}

// The module is settled once in a process, so every language has a process of its own.
TEST(Mdid_Messages, AreTranslatedWhereThereIsAModuleOfTheLanguage)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const auto& [language, text] :
         {std::pair{"de", "Ung\u00FCltiger SMPTE-Offset"}, {"en", "Bad SMPTE offset"}, {"xx", "Bad SMPTE offset"}})
    {
        const ScopedEnvironment environment("MDID_LANGUAGE", language);
        const auto exit = [text = text] { std::exit(ThrownText([] { Mdid_ThrowMessage(111); }) == text ? 0 : 1); };
        EXPECT_EXIT(exit(), testing::ExitedWithCode(0), "") << language;
    }
}

TEST(Mdid_Messages, AMissingTranslationThrowsAndAMissingModuleDoesNot)
{
    EXPECT_EQ(ThrownText([] { Mdid_LoadMessage(999); }), "0 Length String, missing translation");
    EXPECT_EQ(Mdid_LoadMessageFrom(nullptr, 999), ""); // kept
    EXPECT_EQ(Mdid_FormatMessage(224, "a %1"),
              "An error occured while importing MIDI file:\na %1"); // kept: the spelling
}

} // namespace
