#include "MdidHost/Import/MdidHost_Import.h"

#include "CFnd/Sys_StreamException.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_Options.h"
#include "MdidHost/File/MdidHost_Clicks_Private.h"
#include "MdidHost/File/MdidHost_RepairingStream.h"
#include "MdidHost/Import/MdidHost_ImportTracks_Private.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace
{

using Losses = MdidHost_ImportLosses;

constexpr int kMaxFormat = 2;

// The frame rate that is next to one that a file has.
int NearestFrameRate(int iFramesPerSecond)
{
    int nearest = 24;
    for (const int rate : {25, 30})
        if (std::abs(iFramesPerSecond - rate) < std::abs(iFramesPerSecond - nearest))
            nearest = rate;
    return nearest;
}

// The tempo map of a file, in the order of the file.
class TempoReader
{
public:
    void Add(Time_Typed iTime, int iMicrosecondsPerQuarter, Losses& ioLosses)
    {
        if (iMicrosecondsPerQuarter <= 0)
            return ioLosses.Add(Losses::kTemposOfZero);
        const Time_Tick tick(TickOf(iTime));
        const auto entries = mMap.GetEntries();
        if (!entries.empty() && entries.back().mTick == tick)
            ioLosses.Add(Losses::kReplacedTempos);
        mMap.Set(tick, iMicrosecondsPerQuarter);
    }

    Time_TempoMap Take() { return std::move(mMap); }

private:
    // By the tempos so far, which are those that hold there. To the nearest, halves upward.
    std::int64_t TickOf(Time_Typed iTime) const
    {
        if (iTime.GetType() == Time_EType::kTick)
            return iTime.AsInt64();
        const Time_Int128 offset = Time_Int128{iTime.AsInt64()} * Time_Context::kTicksPerQuarter;
        const auto& entry = mMap.GetEntryAtOffset(offset);
        const Time_Int128 tempo = entry.mMicrosecondsPerQuarter;
        const Time_Int128 ticks = entry.mTick.AsInt64() + (2 * (offset - entry.mOffset) + tempo) / (2 * tempo);
        return static_cast<std::int64_t>(std::min<Time_Int128>(ticks, MdidHost_ImportClock::kLatestTime));
    }

    Time_TempoMap mMap;
};

// Makes a session of what the reader tells.
class Importer : public Mdi_MidiFileParserClient
{
public:
    Importer(const MdidHost_ImportOptions& iOptions, MdidHost_RepairingStream::MPEZones iZones,
             std::optional<std::int64_t> iEndOfFirstTrack, Losses& ioLosses)
        : mLosses(ioLosses),
          mEndOfFirstTrack(iEndOfFirstTrack),
          mTracks(iOptions.mUndoFlag, iZones, mClock, mSession.mTracks, ioLosses)
    {
        mSession.mHasPerNoteData = iZones.mLower > 0 || iZones.mUpper > 0;
    }

    MdidHost_Session Take()
    {
        mSession.mDivision = mClock.GetDivision();
        mSession.mContext.SetTempoMap(mTempos.Take());
        return std::move(mSession);
    }

    // Kept: the reader lets negative formats through, as large numbers.
    void SetFormat(unsigned short iFormat) override { mSession.mFormat = iFormat <= kMaxFormat ? iFormat : 1; }

    void SetTicksPerQuarterNote(short iTicks) override
    {
        if (iTicks > 0)
            mClock.SetDivision(MdidHost_Division::TicksPerQuarter(iTicks));
        else
            mLosses.Add(Losses::kDivisions);
    }
    void SetSMPTETicks(short iFramesPerSecond, bool iDropFrame, short iTicksPerFrame) override
    {
        const int rate = NearestFrameRate(iFramesPerSecond);
        const int ticks = std::max<int>(iTicksPerFrame, 1);
        if (rate != iFramesPerSecond || ticks != iTicksPerFrame)
            mLosses.Add(Losses::kDivisions);
        mClock.SetDivision(MdidHost_Division::SMPTE(rate, iDropFrame, ticks));
    }

    void Complete() override { mTracks.Complete(); }

    void BeginMapPass() override { mClock.StartTrack(); }
    void BeginGlobalPass() override { mClock.StartTrack(); }
    void BeginTrack() override
    {
        mClock.StartTrack();
        mTracks.BeginTrack();
        mIsInTrack = true;
    }
    void EndTrack() override
    {
        mTracks.EndTrack(mLastMapTime);
        mIsInTrack = false;
        mEndOfFirstTrack.reset();
        mLastMapTime = 0;
    }

    void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short iChannel) override
    {
        const signed char type = iEvent.GetType();
        if (type == Mdid_Event::kSysex || type == Mdid_Event::kLongSysex) [[unlikely]]
            return mTracks.AddSysex(mClock.AdvanceToSysex(iTime), iEvent);
        mClock.AdvanceTo(iTime);
        mTracks.AddChannelEvent(iEvent, iChannel);
    }

    void RxTrackComment(const std::string& iText) override { mTracks.AddComment(iText); }
    void RxTrackName(const std::string& iText) override { mTracks.SetName(iText); }
    void RxTrackInstrumentName(const std::string& iText) override { mTracks.SetInstrument(iText); }
    void RxChannel(unsigned char) override { mLosses.Add(Losses::kChannelPrefixes, mIsInTrack ? 1 : 0); }
    void RxEndOfTrack(int iTime) override
    {
        const bool wasMoved = mIsInTrack && mEndOfFirstTrack;
        mClock.AdvanceTo(wasMoved ? static_cast<int>(*mEndOfFirstTrack) : iTime);
    }
    void RxUnknownMetaEvent(int iTime, unsigned char, int) override { mClock.AdvanceTo(iTime); }

    void RxTempo(int iTime, int iMicrosecondsPerQuarter) override
    {
        mTempos.Add(TimeAt(iTime), iMicrosecondsPerQuarter, mLosses);
    }
    void RxMeter(int iTime, int iNumerator, int iDenominator, int iClocks, int iThirtySeconds) override
    {
        const Time_Typed time = TimeAt(iTime);
        if (iNumerator <= 0 || iDenominator <= 0)
            return mLosses.Add(Losses::kMeters);
        mSession.mMeters.push_back(
            {time, iNumerator, iDenominator, MdidHost_ClocksPerClick(iClocks, iThirtySeconds), iThirtySeconds});
    }
    void RxKey(int iTime, Time_KeySignature& iKey) override { mSession.mKeys.push_back({TimeAt(iTime), iKey}); }
    void RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& iTimecode) override
    {
        mSession.mSMPTEOffset = iTimecode;
    }
    void RxMarker(int iTime, const std::string& iText) override { mSession.mMarkers.push_back({TimeAt(iTime), iText}); }

private:
    Time_Typed TimeAt(int iReaderTime)
    {
        mClock.AdvanceTo(iReaderTime);
        mLastMapTime = std::max(mLastMapTime, mClock.Now().mTime);
        return mClock.NowTyped();
    }

    Losses& mLosses;
    MdidHost_Session mSession;
    MdidHost_ImportClock mClock;
    TempoReader mTempos;
    std::int64_t mLastMapTime = 0; // of the first track, before it is over
    std::optional<std::int64_t> mEndOfFirstTrack;
    MdidHost_ImportTracks mTracks;
    bool mIsInTrack = false;
};

// What the file configures, or, when that is nothing, what is asked for.
MdidHost_RepairingStream::MPEZones ZonesOf(const MdidHost_RepairingStream& iStream, bool iIsMPE)
{
    MdidHost_RepairingStream::MPEZones zones = iStream.GetMPEZones();
    if (iIsMPE && zones.mLower == 0 && zones.mUpper == 0)
        zones.mLower = Mdi_Controller::kMaxLowerMembers;
    return zones;
}

// The reader's failure, with the place where it stopped.
[[noreturn]] void RethrowAt(std::int64_t iPosition)
{
    try
    {
        throw;
    }
    catch (const std::bad_alloc&)
    {
        throw;
    }
    catch (const Sys_StreamException&)
    {
        throw;
    }
    catch (const std::exception& exception)
    {
        throw Sys_StreamException(exception.what(), {}, iPosition);
    }
    catch (const std::string& text) // a bad SMPTE offset
    {
        throw Sys_StreamException(text, {}, iPosition);
    }
}

} // namespace

MdidHost_Session MdidHost_ImportMidiFile(std::unique_ptr<Cmn_InStream> iFileP, const MdidHost_ImportOptions& iOptions,
                                         MdidHost_ImportReport& oReport)
{
    oReport = {};
    using Mode = MdidHost_RepairingStream::Mode;
    MdidHost_RepairingStream stream(std::move(iFileP), iOptions.mIsStrict ? Mode::kStrict : Mode::kRepair);
    Losses losses;
    const auto fillReport = [&](MdidHost_Grade iGrade)
    {
        oReport.mGrade = iGrade;
        oReport.mFindings = stream.GetFindings();
        losses.AppendTo(oReport.mLosses);
        for (const MdidHost_Loss& loss : stream.GetLosses())
            MdidHost_AddLoss(oReport.mLosses, loss.mWhat.c_str(), loss.mCount);
    };

    const auto zones = ZonesOf(stream, iOptions.mIsMPE);
    // Before the parser is made, which keeps the option.
    if (zones.mLower > 0 || zones.mUpper > 0)
        Mdid_AllowMPE().Set(true);
    // What is set apart must not be put on a grid again.
    const TickTimesMatter::Scoped exactTimes(false);
    try
    {
        Importer importer(iOptions, zones, stream.GetEndOfFirstTrack(), losses);
        Mdi_MidiFileParser parser(stream, importer);
        parser.SetCanImportMarkers(true);
        parser.Parse();
        fillReport(stream.GetGrade());
        return importer.Take();
    }
    catch (...)
    {
        fillReport(MdidHost_Grade::kUnreadable);
        RethrowAt(stream.GetPosition());
    }
}
