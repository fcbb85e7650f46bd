#pragma once

#include "CFnd/Sys_StreamException.h"

#include <cstdint>
#include <stdexcept>
#include <string>

// A file that is not as it should be: which one, where, and what is wrong.
class MdidHost_FileError : public std::runtime_error
{
public:
    // what() is iReason.
    MdidHost_FileError(std::string iFile, const std::string& iReason,
                       std::int64_t iPosition = Sys_StreamException::kNoPosition);

    const std::string& GetFile() const { return mFile; }
    std::int64_t GetPosition() const { return mPosition; } // bytes, or kNoPosition

private:
    std::string mFile;
    std::int64_t mPosition;
};
