#pragma once

#include "CFnd/Sys_TypedStream.h"

#include <string>
#include <string_view>

// The frame of every record:
//   uint8  length of the tag
//   tag
//   int16  version
//   int64  size of the body in bytes
//   body

// Writes the header of a record at once; PatchSize, after the body, fills in the size.
class CFND_EXPORT Sys_StdStreamHeaderWriter
{
public:
    // iTag: at most 255 characters.
    Sys_StdStreamHeaderWriter(Sys_TypedOutStream& iStream, std::string_view iTag, std::int16_t iVersion);

    void PatchSize();

private:
    Sys_TypedOutStream& mStream;
    std::int64_t mSizePosition;
};

// Opens a record and bounds all reading to its body until the reader is destroyed: reading past the end of the body
// fails, and so does, already at its header, a nested record that claims to reach past its parent.
// All failures are Sys_StreamException. Readers nest like the records: the inner one goes first.
class CFND_EXPORT Sys_StdStreamHeaderReader
{
public:
    // The record must carry this tag.
    Sys_StdStreamHeaderReader(Sys_TypedInStream& iStream, std::string_view iTag);
    ~Sys_StdStreamHeaderReader();
    Sys_StdStreamHeaderReader(const Sys_StdStreamHeaderReader&) = delete;
    Sys_StdStreamHeaderReader& operator=(const Sys_StdStreamHeaderReader&) = delete;

    std::int16_t GetVersion() const { return mVersion; }

    // Fails unless iMinimum <= version <= iMaximum.
    void CheckVersion(std::int16_t iMinimum, std::int16_t iMaximum) const;

    // Whether the body goes on: fields that later versions append are read only while it does.
    bool IsMoreLeft() const { return mStream.GetBytesLeft() > 0; }

    // Moves to the end of the body, whatever a newer writer put there.
    void SkipTheRest() { mStream.GetStream().Skip(mStream.GetBytesLeft()); }

private:
    Sys_TypedInStream& mStream;
    Cmn_InStream::Scope mParent;
    std::string mTag;
    std::int16_t mVersion = 0;
};
