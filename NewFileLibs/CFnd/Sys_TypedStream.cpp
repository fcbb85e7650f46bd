#include "CFnd/Sys_TypedStream.h"

#include "CFnd/Sys_StreamException.h"

void Sys_TypedInStream::Read(bool& oValue)
{
    const std::int64_t position = GetPosition();
    const auto byte = Read<unsigned char>();
    if (byte > 1)
        throw Sys_StreamException(Sys_StreamException::kBadBool, mStream.GetScope().mTag, position);
    oValue = byte == 1;
}
