#include "MdidHost/File/MdidHost_FileError.h"

#include <utility>

MdidHost_FileError::MdidHost_FileError(std::string iFile, const std::string& iReason, std::int64_t iPosition)
    : std::runtime_error(iReason),
      mFile(std::move(iFile)),
      mPosition(iPosition)
{
}
