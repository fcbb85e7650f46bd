#pragma once

#include "Support/Hex.h"

#include <cstdint>
#include <optional>
#include <vector>

// Puts a Standard MIDI File together from readable pieces: SmfBuilder().Track("00 903c40  60 803c40").Build().
// All numbers may be wrong on purpose.
class SmfBuilder
{
public:
    using Bytes = std::vector<unsigned char>;

    // What the header has beyond its six bytes is Raw.
    explicit SmfBuilder(int iFormat = 1, int iDivision = 96, std::int64_t iHeaderLength = 6)
        : mFormat(iFormat),
          mDivision(iDivision),
          mHeaderLength(iHeaderLength)
    {
    }

    // The count of tracks in the header, which otherwise says how many there are.
    SmfBuilder& Announce(int iNumTracks)
    {
        mAnnounced = iNumTracks;
        return *this;
    }

    // A track that says iLength, whatever it has.
    SmfBuilder& Track(std::string_view iEvents, std::optional<std::int64_t> iLength = {})
    {
        const Bytes events = FromHex(iEvents);
        ++mNumTracks;
        Append(mChunks, {'M', 'T', 'r', 'k'});
        Append(mChunks, BigEndian(iLength.value_or(std::ssize(events)), 4));
        Append(mChunks, events);
        return *this;
    }

    // Bytes as they are; no track.
    SmfBuilder& Raw(std::string_view iHex)
    {
        Append(mChunks, FromHex(iHex));
        return *this;
    }

    Bytes Build() const
    {
        Bytes file{'M', 'T', 'h', 'd'};
        Append(file, BigEndian(mHeaderLength, 4));
        for (const int number : {mFormat, mAnnounced.value_or(mNumTracks), mDivision})
            Append(file, BigEndian(number, 2));
        Append(file, mChunks);
        return file;
    }

    static Bytes BigEndian(std::int64_t iValue, int iNumBytes)
    {
        Bytes bytes;
        while (iNumBytes-- > 0)
            bytes.push_back(static_cast<unsigned char>(iValue >> (8 * iNumBytes)));
        return bytes;
    }

    static void Append(Bytes& io, const Bytes& i) { io.insert(io.end(), i.begin(), i.end()); }

private:
    int mFormat, mDivision;
    std::int64_t mHeaderLength;
    std::optional<int> mAnnounced;
    int mNumTracks = 0;
    Bytes mChunks;
};
