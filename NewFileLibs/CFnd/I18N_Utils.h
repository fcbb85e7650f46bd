#pragma once

#include "CFnd/CFnd_Export.h"

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

// One text of a string table. The ids of a table are in any order; of equal ids the first counts.
struct I18N_StringTableEntry
{
    unsigned int mId;
    const wchar_t* mTextP;
};

// What a resource module that is loaded at run time gives away. Its layout is the agreement between separately built
// modules; another layout gets another version.
struct I18N_StringTable
{
    static constexpr unsigned int kVersion = 1;

    unsigned int mVersion;
    std::size_t mNumEntries;
    const I18N_StringTableEntry* mEntriesP;
};

// The one function that such a module exports, as extern "C" and under this name.
using I18N_GetStringTableFunc = const I18N_StringTable*();
inline constexpr const char* kI18N_GetStringTableName = "I18N_GetStringTable";

// Makes a constexpr array of entries the string table of the module that is built from this source.
#define I18N_EXPORT_STRING_TABLE(iEntries)                                                                             \
    extern "C" __attribute__((visibility("default"))) const I18N_StringTable* I18N_GetStringTable()                    \
    {                                                                                                                  \
        static constexpr I18N_StringTable kTable{I18N_StringTable::kVersion, std::size(iEntries), iEntries};           \
        return &kTable;                                                                                                \
    }

// A string table by id. A view: the entries and their texts outlive it.
class CFND_EXPORT I18N_ResourceModule
{
public:
    explicit I18N_ResourceModule(std::span<const I18N_StringTableEntry> iEntries) : mEntries(iEntries) {}

    // Copies at most iSize - 1 characters of the text, terminates them and returns their number. 0 when there is no
    // such text, when it is empty, and when the buffer is null or has no room; a buffer with room is then an empty
    // text. Linear in the size of the table.
    int LoadStringW(unsigned int iId, wchar_t* oBufferP, int iSize) const;

private:
    std::span<const I18N_StringTableEntry> mEntries;
};

// Makes a compiled-in table known under a module's name while it lives: a static object of the library that has the
// table. The name and the entries outlive it. Of several under one name the first counts.
class CFND_EXPORT I18N_ResourceRegistration
{
public:
    I18N_ResourceRegistration(const char* iModuleName, std::span<const I18N_StringTableEntry> iEntries);
    ~I18N_ResourceRegistration();
    I18N_ResourceRegistration(const I18N_ResourceRegistration&) = delete;
    I18N_ResourceRegistration& operator=(const I18N_ResourceRegistration&) = delete;

    const char* GetModuleName() const { return mModuleName; }
    const I18N_ResourceModule& GetModule() const { return mModule; }

private:
    const char* const mModuleName;
    const I18N_ResourceModule mModule;
};

// Languages, translated texts and text encodings. Threads: any.
class CFND_EXPORT I18N_Utils
{
public:
    // Stands for an encoding that is to be found out from the text: UTF-8 where its bytes are valid UTF-8, otherwise
    // Windows-1252, which every sequence of bytes is.
    static constexpr const char* kDetectEncoding = "detect";

    // The current language: at first the environment variable MDID_LANGUAGE, or "en". It decides about what is looked
    // up from then on; a module that someone holds stays in its language.
    static std::string GetCurrentLanguage();

    // False, and nothing changes, for a name that is not made of letters, digits, '-' and '_': it names a folder.
    static bool SetCurrentLanguage(const std::string& iLanguage);

    // The string table of that module in the current language: the run-time module of that name in the language's
    // folder (mdid/de/Mdid_Resource.so; see PSUtil_Module for where "mdid" is), otherwise the compiled-in table under
    // that name, otherwise null. Run-time modules stay loaded; a compiled-in one lives as long as its library. Reads
    // the file system until a run-time module is found.
    static const I18N_ResourceModule* GetResourceDLL(const std::string& iModuleName);

    // Replaces the placeholders %1 to %10 by the arguments, which end at the first null; more than ten are not looked
    // at. A placeholder without argument stays, as does any other '%'; "%10" is the tenth, never the first and a zero.
    // What an argument says is not searched for placeholders.
    static std::string FormatL10nString(std::string_view iText, std::initializer_list<const char*> iArguments);

    // Whether texts can be converted from and to it; kDetectEncoding is known, although only to convert from.
    static bool IsKnownEncoding(const std::string& iEncoding);

    // Throws std::invalid_argument for an encoding that is not known, and for kDetectEncoding as the target.
    //
    // Bytes that mean nothing in their encoding become U+FFFD, and characters that the target lacks become '?'. In
    // encodings that keep state between characters (UTF-7, UTF-16 and UTF-32 with byte-order mark, ISO-2022) both are
    // skipped instead. The bytes that Windows-1252 leaves undefined (81 8D 8F 90 9D) are the control characters U+0081
    // and so on, so that none is lost. A text in UTF-8 comes out valid in any case.
    //
    // Linear in the size of the text; far more per character, some microseconds, when the text is damaged.
    static std::string ChangeTextEncoding(std::string_view iText, const std::string& iFromEncoding,
                                          const std::string& iToEncoding);

    // The encoding of texts that do not say theirs, such as those of MIDI files: at first kDetectEncoding, in every
    // language.
    static std::string GetNativeTextEncodingForCurrentLanguage();

    // For every language. False, and nothing changes, for an encoding that is not known.
    static bool SetNativeTextEncoding(const std::string& iEncoding);
};
