// The file reader: whatever the bytes, it ends, and tells the same through any windows.

#include "FuzzSupport.h"

#include "CFnd/Sys_StreamException.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "Mdid/Mdie_TraceUtil.h"

#include <array>

namespace
{

// Hashes all callbacks, and checks that passes begin and end in pairs.
class DigestClient : public Mdi_MidiFileParserClient
{
public:
    Digest mDigest;
    int mOpenPasses = 0;

    void SetFormat(unsigned short iFormat) override { Tell(1, iFormat); }
    void SetNumTracks(unsigned short iCount) override { Tell(2, iCount); }
    void SetTicksPerQuarterNote(short iTicks) override { Tell(3, iTicks); }
    void SetSMPTETicks(short iFrames, bool iDrop, short iTicks) override { Tell(4, iFrames, iDrop, iTicks); }
    void BeginMapPass() override { Begin(5); }
    void EndMapPass() override { End(6); }
    void AbortMapPass() override { End(7); }
    void BeginGlobalPass() override { Begin(8); }
    void EndGlobalPass() override { End(9); }
    void AbortGlobalPass() override { End(10); }
    void BeginTrack() override { Begin(11); }
    void EndTrack() override { End(12); }
    void AbortTrack() override { End(13); }
    void Complete() override { Tell(14); }
    void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short iChannel) override
    {
        std::array<char, 200> text;
        Mdie_TraceUtil::FormatMidiEvent(text.data(), static_cast<int>(text.size()), iEvent);
        Tell(15, iTime, iEvent.GetType(), iEvent.GetChannel(), iChannel);
        mDigest.Add(text.data());
    }
    void RxTrackComment(const std::string& iText) override { Tell(16), mDigest.Add(iText); }
    void RxTrackName(const std::string& iText) override { Tell(17), mDigest.Add(iText); }
    void RxTrackInstrumentName(const std::string& iText) override { Tell(18), mDigest.Add(iText); }
    void RxChannel(unsigned char iChannel) override { Tell(19, iChannel); }
    void RxEndOfTrack(int iTime) override { Tell(20, iTime); }
    void RxTempo(int iTime, int iTempo) override { Tell(21, iTime, iTempo); }
    void RxMeter(int iTime, int iA, int iB, int iC, int iD) override { Tell(22, iTime, iA, iB, iC, iD); }
    void RxKey(int iTime, Time_KeySignature& iKey) override { Tell(23, iTime, iKey.GetNumAccidentals()); }
    void RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& iTimecode) override { Tell(24, iTimecode.mFrames); }
    void RxMarker(int iTime, const std::string& iText) override { Tell(25, iTime), mDigest.Add(iText); }
    void RxUnknownMetaEvent(int iTime, unsigned char iType, int iLength) override { Tell(26, iTime, iType, iLength); }

private:
    template <class... Numbers>
    void Tell(Numbers... iNumbers)
    {
        (mDigest.Add(static_cast<std::uint64_t>(iNumbers)), ...);
    }
    void Begin(int iCallback)
    {
        Tell(iCallback);
        Require(mOpenPasses++ == 0, "a pass begins inside of another");
    }
    void End(int iCallback)
    {
        Tell(iCallback);
        Require(mOpenPasses-- == 1, "a pass ends that has not begun");
    }
};

Digest Read(Cmn_InStream& ioStream)
{
    DigestClient client;
    try
    {
        Mdi_MidiFileParser parser(ioStream, client);
        parser.SetCanImportMarkers(true);
        parser.Parse();
    }
    catch (const Sys_StreamException& exception)
    {
        client.mDigest.Add(exception.GetReason());
    }
    catch (const std::runtime_error& error)
    {
        client.mDigest.Add(error.what());
    }
    catch (const std::string& text)
    {
        client.mDigest.Add(text);
    }
    Require(client.mOpenPasses == 0, "a pass stays open");
    return client.mDigest;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    Sys_MemoryInStream whole({iData, iSize});
    TinyWindowInStream tiny({iData, iSize});
    Require(Read(whole) == Read(tiny), "the callbacks depend on the windows");
    return 0;
}
