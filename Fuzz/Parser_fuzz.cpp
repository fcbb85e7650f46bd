// The byte parser: whatever the bytes, the operations are the same in one piece and in pieces.

#include "FuzzSupport.h"

#include "Mdid/Mdi_Parse.h"

namespace
{

class DigestParser : public Mdi_Parse
{
public:
    Digest mDigest;

    bool ParseRealTime(const unsigned char* iBytes) override { return Tell(1, iBytes, 1); }
    bool ParseSysEx(const unsigned char* iBytes, short iLength) override { return Tell(2, iBytes, iLength); }
    bool ParseNoteOff(const unsigned char* iBytes) override { return Tell(3, iBytes, 3); }
    bool ParseNoteOn(const unsigned char* iBytes) override { return Tell(4, iBytes, 3); }
    bool ParsePolyPressure(const unsigned char* iBytes) override { return Tell(5, iBytes, 3); }
    bool ParseChannelMode(const unsigned char* iBytes) override { return Tell(6, iBytes, 3); }
    bool ParseController(const unsigned char* iBytes) override { return Tell(7, iBytes, 3); }
    bool ParseProgramChange(const unsigned char* iBytes) override { return Tell(8, iBytes, 2); }
    bool ParseChannelPressure(const unsigned char* iBytes) override { return Tell(9, iBytes, 2); }
    bool ParsePitchBend(const unsigned char* iBytes) override { return Tell(10, iBytes, 3); }
    bool ParseTimecode(const unsigned char* iBytes) override { return Tell(11, iBytes, 2); }
    bool ParseSongPointer(const unsigned char* iBytes) override { return Tell(12, iBytes, 3); }
    bool ParseSongSelect(const unsigned char* iBytes) override { return Tell(13, iBytes, 2); }
    bool ParseTuneRequest(const unsigned char* iBytes) override { return Tell(14, iBytes, 1); }

private:
    bool Tell(std::uint64_t iOperation, const unsigned char* iBytes, int iLength)
    {
        mDigest.Add(iOperation);
        mDigest.Add(std::string_view(reinterpret_cast<const char*>(iBytes), static_cast<std::size_t>(iLength)));
        mDigest.Add(static_cast<std::uint64_t>(GetChannel()));
        for (int i = 1; i < iLength; ++i)
            Require(iBytes[i] < 0x80 || (iOperation == 2 && i == iLength - 1), "a status byte inside of a message");
        return true;
    }
};

Digest ParseInPieces(const std::uint8_t* iData, std::size_t iSize, std::size_t iPiece)
{
    DigestParser parser;
    for (std::size_t start = 0; start < iSize; start += iPiece)
        parser.MidiStream(iData + start, static_cast<short>(std::min(iPiece, iSize - start)));
    return parser.mDigest;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const Digest byteByByte = ParseInPieces(iData, iSize, 1);
    for (const std::size_t piece : {2u, 3u, 5u, 4096u})
        Require(ParseInPieces(iData, iSize, piece) == byteByByte, "the operations depend on the pieces");
    return 0;
}
