#include "CFnd/Sys_StreamException.h"

namespace
{

std::string Compose(std::string_view iReason, std::string_view iTag, std::int64_t iPosition)
{
    std::string text;
    if (!iTag.empty())
        text.append(iTag).append(": ");
    text.append(iReason);
    if (iPosition != Sys_StreamException::kNoPosition)
        text.append(" at byte ").append(std::to_string(iPosition));
    return text;
}

} // namespace

Sys_StreamException::Sys_StreamException(std::string_view iReason, std::string_view iTag, std::int64_t iPosition)
    : std::runtime_error(Compose(iReason, iTag, iPosition)),
      mReason(iReason),
      mTag(iTag),
      mPosition(iPosition)
{
}

Sys_StreamException::~Sys_StreamException() = default;
