#include "CFnd/Sys_Umid.h"

#include "CFnd/Sys_UUID.h"

#include <boost/algorithm/hex.hpp>
#include <boost/endian/conversion.hpp>

#include <iterator>

Sys_Umid Sys_Umid::Create()
{
    const Sys_UUID uuid = Sys_UUID::Create();
    Bytes bytes;
    boost::endian::store_big_u64(bytes.data(), uuid.GetHigh());
    boost::endian::store_big_u64(bytes.data() + sizeof(std::uint64_t), uuid.GetLow());
    return Sys_Umid(bytes);
}

std::string Sys_Umid::AsHexString() const
{
    std::string text;
    boost::algorithm::hex_lower(mBytes.begin(), mBytes.end(), std::back_inserter(text));
    return text;
}
