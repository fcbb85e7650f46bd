#pragma once

#include "Mdid/Mdid_Export.h"

#include <string>

class I18N_ResourceModule;

// The library's texts for people, by id: 100 to 114, 200 to 224 and 300. In the current language where the module
// "Mdid_Resource" exists for it, otherwise in English. All are UTF-8.
//
// The module is settled by the first message that is asked for and kept, so a host sets its language before. Any thread
// but a playback one. An id without text throws std::runtime_error "0 Length String, missing translation".
MDID_EXPORT std::string Mdid_LoadMessage(unsigned int iId);

// The message with its placeholders %1 to %10 replaced by the arguments, UTF-8, which end at the first null.
MDID_EXPORT std::string Mdid_FormatMessage(unsigned int iId, const char* iArgument1 = nullptr,
                                           const char* iArgument2 = nullptr, const char* iArgument3 = nullptr,
                                           const char* iArgument4 = nullptr, const char* iArgument5 = nullptr,
                                           const char* iArgument6 = nullptr, const char* iArgument7 = nullptr,
                                           const char* iArgument8 = nullptr, const char* iArgument9 = nullptr,
                                           const char* iArgument10 = nullptr);

// Throws std::runtime_error with the message as its text.
[[noreturn]] MDID_EXPORT void Mdid_ThrowMessage(unsigned int iId);

// The message of a certain module, which is how the others load theirs. Null stands for a module that was not found:
// the text is then empty, and that is no failure. A text is cut after 1023 characters.
MDID_EXPORT std::string Mdid_LoadMessageFrom(const I18N_ResourceModule* iModuleP, unsigned int iId);
