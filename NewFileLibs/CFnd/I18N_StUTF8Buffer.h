#pragma once

#include "CFnd/CFnd_Export.h"

#include <cstddef>
#include <string>

// The UTF-8 form of a wide text, for the scope of a call. Values that are no characters are left out.
class CFND_EXPORT I18N_StUTF8Buffer
{
public:
    // Null is the empty text.
    explicit I18N_StUTF8Buffer(const wchar_t* iTextP);

    const char* c_str() const { return mText.c_str(); }

    // In bytes, without the terminator.
    std::size_t size() const { return mText.size(); }

private:
    const std::string mText;
};
