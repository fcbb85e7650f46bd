#include "CFnd/I18N_StUTF8Buffer.h"

#include <boost/locale/encoding_utf.hpp>

I18N_StUTF8Buffer::I18N_StUTF8Buffer(const wchar_t* iTextP)
    : mText(iTextP ? boost::locale::conv::utf_to_utf<char>(iTextP) : std::string())
{
}
