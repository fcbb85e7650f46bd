#include "CFnd/I18N_Utils.h"

#include "QuorPlatformSupport/PSUtil_Module.h"

#include <boost/locale/encoding.hpp>
#include <boost/locale/utf.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace conv = boost::locale::conv;
namespace utf = boost::locale::utf;

namespace
{

constexpr const char* kLanguageVariable = "MDID_LANGUAGE";
constexpr const char* kDefaultLanguage = "en";
constexpr const char* kWindows1252 = "Windows-1252";
constexpr const char* kReplacement = "\uFFFD";
constexpr std::size_t kMaxArguments = 10;
constexpr std::size_t kMaxBytesPerCharacter = 4;

// In every locale the same: names of folders and encodings are ASCII.
bool IsLetterOrDigit(char iChar)
{
    return (iChar >= '0' && iChar <= '9') || (iChar >= 'A' && iChar <= 'Z') || (iChar >= 'a' && iChar <= 'z');
}

bool IsLanguageName(std::string_view iName)
{
    const auto isAllowed = [](char c) { return IsLetterOrDigit(c) || c == '-' || c == '_'; };
    return !iName.empty() && std::ranges::all_of(iName, isAllowed);
}

std::string GetInitialLanguage()
{
    const char* const languageP = std::getenv(kLanguageVariable);
    return languageP && IsLanguageName(languageP) ? languageP : kDefaultLanguage;
}

struct State
{
    std::mutex mMutex;
    std::string mLanguage = GetInitialLanguage();
    std::string mNativeEncoding = I18N_Utils::kDetectEncoding;
    std::vector<const I18N_ResourceRegistration*> mCompiledIn;
    std::map<std::pair<std::string, std::string>, I18N_ResourceModule> mLoaded; // by language and module name
};

// Never destroyed: the static objects of other libraries, registrations among them, are destroyed after ours.
State& GetState()
{
    static State& state = *new State;
    return state;
}

std::optional<I18N_ResourceModule> LoadModule(const std::string& iLanguage, const std::string& iName)
{
    const auto module = PSUtil_Module::Load(iName, iLanguage, PSUtil_Module::ELifetime::kProcess);
    const auto getTableP = module.GetFunction<I18N_GetStringTableFunc>(kI18N_GetStringTableName);
    const I18N_StringTable* const tableP = getTableP ? getTableP() : nullptr;
    if (!tableP || tableP->mVersion != I18N_StringTable::kVersion || !tableP->mEntriesP)
        return std::nullopt;
    return I18N_ResourceModule(std::span(tableP->mEntriesP, tableP->mNumEntries));
}

// The number of the placeholder at the front of a text that begins after its '%', and its number of digits.
// The longest number is tried first. No placeholder: 0, 0.
std::pair<std::size_t, std::size_t> ParsePlaceholder(std::string_view iText)
{
    if (iText.starts_with("10"))
        return {10, 2};
    if (!iText.empty() && iText[0] >= '1' && iText[0] <= '9')
        return {static_cast<std::size_t>(iText[0] - '0'), 1};
    return {0, 0};
}

// The bytes of the character at the front of a text that is not empty; 0 when they are not valid UTF-8, which allows
// neither overlong forms nor surrogates.
std::size_t GetValidUtf8Length(std::string_view iText)
{
    auto position = iText.begin();
    const utf::code_point character = utf::utf_traits<char>::decode(position, iText.end());
    if (character == utf::illegal || character == utf::incomplete)
        return 0;
    return static_cast<std::size_t>(position - iText.begin());
}

bool IsValidUtf8(std::string_view iText)
{
    while (!iText.empty())
    {
        const std::size_t length = GetValidUtf8Length(iText);
        if (length == 0)
            return false;
        iText.remove_prefix(length);
    }
    return true;
}

std::string RepairUtf8(std::string_view iText)
{
    std::string repaired;
    repaired.reserve(iText.size());
    while (!iText.empty())
    {
        const std::size_t length = GetValidUtf8Length(iText);
        if (length == 0)
            repaired += kReplacement;
        else
            repaired += iText.substr(0, length);
        iText.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return repaired;
}

std::string ToUtf8(std::string_view iText, const std::string& iEncoding, conv::method_type iHow)
{
    return conv::to_utf<char>(iText.data(), iText.data() + iText.size(), iEncoding, iHow);
}

std::string FromUtf8(std::string_view iText, const std::string& iEncoding, conv::method_type iHow)
{
    return conv::from_utf<char>(iText.data(), iText.data() + iText.size(), iEncoding, iHow);
}

using Converter = std::string (*)(std::string_view, const std::string&, conv::method_type);

// Nothing when a part of the text cannot be converted.
std::optional<std::string> TryConvert(Converter iConverter, std::string_view iText, const std::string& iEncoding)
{
    try
    {
        return iConverter(iText, iEncoding, conv::stop);
    }
    catch (const conv::conversion_error&)
    {
        return std::nullopt;
    }
}

// What separates a known encoding's name from something that a conversion library takes as an instruction, such as
// "UTF-8//IGNORE", or as the encoding of the user's environment, such as the empty name.
bool IsPlausibleEncodingName(std::string_view iName)
{
    static constexpr std::string_view kPunctuation = "-_.:+() ";
    const auto isAllowed = [](char c) { return IsLetterOrDigit(c) || kPunctuation.find(c) != kPunctuation.npos; };
    return std::ranges::any_of(iName, IsLetterOrDigit) && std::ranges::all_of(iName, isAllowed);
}

void CheckEncoding(const std::string& iEncoding)
{
    if (!I18N_Utils::IsKnownEncoding(iEncoding))
        throw std::invalid_argument("unknown text encoding: " + iEncoding);
}

bool IsSameEncoding(std::string_view iEncoding, std::initializer_list<std::string_view> iPlainNames)
{
    std::string plain;
    std::ranges::copy_if(iEncoding, std::back_inserter(plain), IsLetterOrDigit);
    std::ranges::transform(plain, plain.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::ranges::find(iPlainNames, plain) != iPlainNames.end();
}

bool IsUtf8(std::string_view iEncoding)
{
    return IsSameEncoding(iEncoding, {"utf8"});
}

bool IsWindows1252(std::string_view iEncoding)
{
    return IsSameEncoding(iEncoding, {"windows1252", "cp1252", "msansi"});
}

// Whether a character's bytes depend on what stands before it, so that a text cannot be converted in pieces: such an
// encoding does not write a character twice as it writes it once, two times over.
bool KeepsState(const std::string& iEncoding)
{
    static constexpr std::array kSamples = {"A", "\u00E4", "\u3042", "\u6F22", "\uAC00"};
    return std::ranges::any_of(kSamples,
                               [&](const std::string& iSample)
                               {
                                   const auto once = TryConvert(FromUtf8, iSample, iEncoding);
                                   return once && TryConvert(FromUtf8, iSample + iSample, iEncoding) != *once + *once;
                               });
}

// The UTF-8 form of the character at the front of the text, and its number of bytes in the text.
std::pair<std::string, std::size_t> DecodeCharacter(std::string_view iText, const std::string& iEncoding)
{
    for (std::size_t length = 1; length <= std::min(iText.size(), kMaxBytesPerCharacter); ++length)
    {
        if (auto character = TryConvert(ToUtf8, iText.substr(0, length), iEncoding))
            return {*std::move(character), length};
    }
    return {kReplacement, 1};
}

std::string DecodeByCharacters(std::string_view iText, const std::string& iEncoding)
{
    std::string decoded;
    while (!iText.empty())
    {
        const auto [character, length] = DecodeCharacter(iText, iEncoding);
        decoded += character;
        iText.remove_prefix(length);
    }
    return decoded;
}

std::string Decode(std::string_view iText, const std::string& iEncoding)
{
    if (auto decoded = TryConvert(ToUtf8, iText, iEncoding))
        return *std::move(decoded);
    return KeepsState(iEncoding) ? ToUtf8(iText, iEncoding, conv::skip) : DecodeByCharacters(iText, iEncoding);
}

// The UTF-8 form of every byte. The five that are undefined are the control characters of their numbers; U+0080 to
// U+00BF are, in UTF-8, C2 and the number.
const std::array<std::string, 256>& GetCharactersOfWindows1252()
{
    static const auto& characters = *new std::array(
        []
        {
            std::array<std::string, 256> made;
            for (std::size_t i = 0; i < made.size(); ++i)
            {
                const std::string byte(1, static_cast<char>(i));
                made[i] = TryConvert(ToUtf8, byte, kWindows1252).value_or('\xC2' + byte);
            }
            return made;
        }());
    return characters;
}

std::string DecodeWindows1252(std::string_view iText)
{
    const auto& characters = GetCharactersOfWindows1252();
    std::string decoded;
    for (const char byte : iText)
        decoded += characters[static_cast<unsigned char>(byte)];
    return decoded;
}

std::string EncodeCharacter(std::string_view iCharacter, const std::string& iEncoding)
{
    if (auto encoded = TryConvert(FromUtf8, iCharacter, iEncoding))
        return *std::move(encoded);
    if (IsWindows1252(iEncoding))
    {
        const auto& characters = GetCharactersOfWindows1252();
        if (const auto found = std::ranges::find(characters, iCharacter); found != characters.end())
            return std::string(1, static_cast<char>(found - characters.begin()));
    }
    return FromUtf8("?", iEncoding, conv::skip);
}

// The text is valid UTF-8.
std::string Encode(std::string_view iText, const std::string& iEncoding)
{
    if (auto encoded = TryConvert(FromUtf8, iText, iEncoding))
        return *std::move(encoded);
    if (KeepsState(iEncoding))
        return FromUtf8(iText, iEncoding, conv::skip);

    std::string encoded;
    while (!iText.empty())
    {
        const std::size_t length = GetValidUtf8Length(iText);
        encoded += EncodeCharacter(iText.substr(0, length), iEncoding);
        iText.remove_prefix(length);
    }
    return encoded;
}

std::string DecodeToValidUtf8(std::string_view iText, const std::string& iEncoding)
{
    if (iEncoding == I18N_Utils::kDetectEncoding)
        return IsValidUtf8(iText) ? std::string(iText) : DecodeWindows1252(iText);
    if (IsWindows1252(iEncoding))
        return DecodeWindows1252(iText);
    // Some decoders let values pass that are no characters, or pass UTF-8 on unseen.
    return RepairUtf8(IsUtf8(iEncoding) ? std::string(iText) : Decode(iText, iEncoding));
}

} // namespace

int I18N_ResourceModule::LoadStringW(unsigned int iId, wchar_t* oBufferP, int iSize) const
{
    if (!oBufferP || iSize <= 0)
        return 0;
    const auto entry = std::ranges::find(mEntries, iId, &I18N_StringTableEntry::mId);
    const std::wstring_view text = entry != mEntries.end() && entry->mTextP ? entry->mTextP : L"";
    const std::size_t length = text.copy(oBufferP, static_cast<std::size_t>(iSize) - 1);
    oBufferP[length] = L'\0';
    return static_cast<int>(length);
}

I18N_ResourceRegistration::I18N_ResourceRegistration(const char* iModuleName,
                                                     std::span<const I18N_StringTableEntry> iEntries)
    : mModuleName(iModuleName),
      mModule(iEntries)
{
    State& state = GetState();
    const std::lock_guard lock(state.mMutex);
    state.mCompiledIn.push_back(this);
}

I18N_ResourceRegistration::~I18N_ResourceRegistration()
{
    State& state = GetState();
    const std::lock_guard lock(state.mMutex);
    std::erase(state.mCompiledIn, this);
}

std::string I18N_Utils::GetCurrentLanguage()
{
    State& state = GetState();
    const std::lock_guard lock(state.mMutex);
    return state.mLanguage;
}

bool I18N_Utils::SetCurrentLanguage(const std::string& iLanguage)
{
    if (!IsLanguageName(iLanguage))
        return false;
    State& state = GetState();
    const std::lock_guard lock(state.mMutex);
    state.mLanguage = iLanguage;
    return true;
}

const I18N_ResourceModule* I18N_Utils::GetResourceDLL(const std::string& iModuleName)
{
    const std::string language = GetCurrentLanguage();
    State& state = GetState();
    // Loading runs the module's own initialisers, so it is done outside the lock; a race loads the same module twice.
    std::unique_lock lock(state.mMutex);
    const std::pair key(language, iModuleName);
    if (const auto found = state.mLoaded.find(key); found != state.mLoaded.end())
        return &found->second;
    lock.unlock();
    const auto loaded = LoadModule(language, iModuleName);
    lock.lock();
    if (loaded)
        return &state.mLoaded.emplace(key, *loaded).first->second;

    const auto compiledIn =
        std::ranges::find(state.mCompiledIn, iModuleName, &I18N_ResourceRegistration::GetModuleName);
    return compiledIn == state.mCompiledIn.end() ? nullptr : &(*compiledIn)->GetModule();
}

std::string I18N_Utils::FormatL10nString(std::string_view iText, std::initializer_list<const char*> iArguments)
{
    const auto numArguments = static_cast<std::size_t>(std::ranges::find(iArguments, nullptr) - iArguments.begin());
    std::string formatted;
    while (!iText.empty())
    {
        const std::string_view plain = iText.substr(0, iText.find('%'));
        formatted += plain;
        iText.remove_prefix(plain.size());
        if (iText.empty())
            break;

        const auto [number, numDigits] = ParsePlaceholder(iText.substr(1));
        if (number > 0 && number <= std::min(numArguments, kMaxArguments))
            formatted += iArguments.begin()[number - 1];
        else
            formatted += iText.substr(0, 1 + numDigits);
        iText.remove_prefix(1 + numDigits);
    }
    return formatted;
}

bool I18N_Utils::IsKnownEncoding(const std::string& iEncoding)
{
    if (iEncoding == kDetectEncoding)
        return true;
    if (!IsPlausibleEncodingName(iEncoding))
        return false;
    try
    {
        ToUtf8("", iEncoding, conv::stop);
        FromUtf8("", iEncoding, conv::stop);
        return true;
    }
    catch (const conv::invalid_charset_error&)
    {
        return false;
    }
}

std::string I18N_Utils::ChangeTextEncoding(std::string_view iText, const std::string& iFromEncoding,
                                           const std::string& iToEncoding)
{
    CheckEncoding(iFromEncoding);
    CheckEncoding(iToEncoding);
    if (iToEncoding == kDetectEncoding)
        throw std::invalid_argument("no encoding to convert a text to: " + iToEncoding);
    if (iText.empty())
        return {};

    std::string text = DecodeToValidUtf8(iText, iFromEncoding);
    return IsUtf8(iToEncoding) ? text : Encode(text, iToEncoding);
}

std::string I18N_Utils::GetNativeTextEncodingForCurrentLanguage()
{
    State& state = GetState();
    const std::lock_guard lock(state.mMutex);
    return state.mNativeEncoding;
}

bool I18N_Utils::SetNativeTextEncoding(const std::string& iEncoding)
{
    if (!IsKnownEncoding(iEncoding))
        return false;
    State& state = GetState();
    const std::lock_guard lock(state.mMutex);
    state.mNativeEncoding = iEncoding;
    return true;
}
