#include "CFnd/Sys_StdStreamHeader.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Sys_StreamException.h"

#include <limits>

namespace
{

constexpr std::size_t kMaxTagLength = std::numeric_limits<unsigned char>::max();

} // namespace

Sys_StdStreamHeaderWriter::Sys_StdStreamHeaderWriter(Sys_TypedOutStream& iStream, std::string_view iTag,
                                                     std::int16_t iVersion)
    : mStream(iStream)
{
    CMN_VERIFY(iTag.size() <= kMaxTagLength);
    iTag = iTag.substr(0, kMaxTagLength);
    mStream.Write(static_cast<unsigned char>(iTag.size()));
    mStream.WriteBlock(iTag.data(), iTag.size());
    mStream.Write(iVersion);
    mSizePosition = mStream.GetPosition();
    mStream.Write(std::int64_t{0});
}

void Sys_StdStreamHeaderWriter::PatchSize()
{
    const std::int64_t bodyPosition = mSizePosition + static_cast<std::int64_t>(sizeof(std::int64_t));
    const auto size = Sys_ToBytes<std::endian::little>(mStream.GetPosition() - bodyPosition);
    mStream.GetStream().Patch(mSizePosition, size);
}

Sys_StdStreamHeaderReader::Sys_StdStreamHeaderReader(Sys_TypedInStream& iStream, std::string_view iTag)
    : mStream(iStream),
      mParent(iStream.GetStream().GetScope()),
      mTag(iTag)
{
    Cmn_InStream& stream = mStream.GetStream();
    const std::int64_t start = stream.GetPosition();
    std::string tag(mStream.Read<unsigned char>(), '\0');
    mStream.ReadBlock(tag.data(), tag.size());
    if (tag != mTag)
        throw Sys_StreamException(Sys_StreamException::kWrongTag, mTag, start);
    mVersion = mStream.Read<std::int16_t>();
    const auto size = mStream.Read<std::int64_t>();
    if (size < 0 || size > mStream.GetBytesLeft())
        throw Sys_StreamException(Sys_StreamException::kBadRecordSize, mTag, start);
    stream.SetScope({stream.GetPosition() + size, mTag});
}

Sys_StdStreamHeaderReader::~Sys_StdStreamHeaderReader()
{
    mStream.GetStream().SetScope(mParent);
}

void Sys_StdStreamHeaderReader::CheckVersion(std::int16_t iMinimum, std::int16_t iMaximum) const
{
    if (mVersion < iMinimum || mVersion > iMaximum)
        mStream.GetStream().Fail(Sys_StreamException::kUnknownVersion);
}
