#include "CFnd/Sys_UUID.h"

#include <boost/endian/conversion.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

Sys_UUID Sys_UUID::Create()
{
    const boost::uuids::uuid uuid = boost::uuids::random_generator_pure()();
    return {boost::endian::load_big_u64(uuid.data), boost::endian::load_big_u64(uuid.data + 8)};
}

std::string Sys_UUID::AsString() const
{
    boost::uuids::uuid uuid;
    boost::endian::store_big_u64(uuid.data, mHigh);
    boost::endian::store_big_u64(uuid.data + 8, mLow);
    return boost::uuids::to_string(uuid);
}
