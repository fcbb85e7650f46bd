#pragma once

#include "CFnd/CFnd_Export.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

// Every failure of a stream or of a record in it: what is wrong, in which record, and where.
class CFND_EXPORT Sys_StreamException : public std::runtime_error
{
public:
    static constexpr std::int64_t kNoPosition = -1;

    // iReason: a few words, such as kEndOfStream. iTag: the innermost open record, empty outside of records.
    Sys_StreamException(std::string_view iReason, std::string_view iTag, std::int64_t iPosition);
    ~Sys_StreamException() override;

    // The bare words, while what() also names record and position.
    const std::string& GetReason() const { return mReason; }
    const std::string& GetTag() const { return mTag; }

    // Byte offset in the stream at which the failed operation began, or kNoPosition.
    std::int64_t GetPosition() const { return mPosition; }

    static constexpr std::string_view kEndOfStream = "end of stream";
    static constexpr std::string_view kEndOfRecord = "end of record";
    static constexpr std::string_view kBadPosition = "position outside of the stream";
    static constexpr std::string_view kBadBool = "neither true nor false";
    static constexpr std::string_view kWrongTag = "wrong record tag";
    static constexpr std::string_view kUnknownVersion = "unknown record version";
    static constexpr std::string_view kBadRecordSize = "record reaches past its end";
    static constexpr std::string_view kWriteFailed = "write failed";
    static constexpr std::string_view kReadFailed = "read failed";
    static constexpr std::string_view kOpenFailed = "cannot open";

private:
    std::string mReason;
    std::string mTag;
    std::int64_t mPosition;
};
