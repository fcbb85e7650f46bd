#pragma once

#include "MFnd/Time_KeySignature.h"
#include "Mdid/Mdi_MidiFileParser.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

// What a Standard MIDI File is about, gathered while it is read: a client that keeps figures, not events.
// Times are in ticks of the file.
class MdidHost_FileSummary : public Mdi_MidiFileParserClient
{
public:
    enum class Division
    {
        kUnknown,
        kTicksPerQuarter,
        kSMPTE
    };

    struct Tempo
    {
        std::int64_t mTime;
        int mMicrosecondsPerQuarter;
    };
    struct Meter
    {
        std::int64_t mTime;
        int mNumerator;
        int mDenominator;
    };
    struct Key
    {
        std::int64_t mTime;
        Time_KeySignature mKey;
    };
    struct Marker
    {
        std::int64_t mTime;
        std::string mText;
    };

    // What a track holds, in the order in which it is shown.
    enum ECount
    {
        kNotes,
        kControllers,
        kBends,
        kPressure,
        kPrograms,
        kSysex,
        kNumCounts
    };
    static constexpr std::array<const char*, kNumCounts> kCountNames{"notes",    "controllers", "bends",
                                                                     "pressure", "programs",    "sysex"};

    struct Track
    {
        std::string mName;
        std::string mInstrument;
        std::bitset<16> mChannels;
        std::array<std::int64_t, kNumCounts> mCounts{};
        std::optional<std::int64_t> mFirstTime; // of an event
        std::int64_t mLastTime = 0;
        std::int64_t mEndTime = 0; // of the end-of-track event, where there is one
    };

    // A position or a length along the meters; what is left behind the last whole bar is in ticks.
    struct Bars
    {
        std::int64_t mWholeBars = 0;
        std::int64_t mTicksLeft = 0;
    };

    int mFormat = 0;
    int mAnnouncedTracks = 0;
    Division mDivision = Division::kUnknown;
    int mTicksPerQuarter = 0;
    int mFramesPerSecond = 0;
    bool mIsDropFrame = false;
    int mTicksPerFrame = 0;
    std::vector<Tempo> mTempos;
    std::vector<Meter> mMeters;
    std::vector<Key> mKeys;
    std::vector<Marker> mMarkers;
    std::optional<Mdi_MidiFileParserClient_Timecode> mSMPTEOffset;
    std::vector<Track> mTracks;

    // The latest event or end of a track.
    std::int64_t GetLength() const;

    // Empty where the file's division gives none: no SMPTE file has bars, and a division of 0 has nothing.
    // Linear in the changes of meter or tempo.
    std::optional<Bars> GetBarsAt(std::int64_t iTime) const;
    std::optional<std::int64_t> GetMicrosecondsAt(std::int64_t iTime) const;

    void SetFormat(unsigned short iFormat) override;
    void SetNumTracks(unsigned short iCount) override;
    void SetTicksPerQuarterNote(short iTicks) override;
    void SetSMPTETicks(short iFramesPerSecond, bool iDropFrame, short iTicksPerFrame) override;
    void BeginTrack() override;
    void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short iChannel) override;
    void RxTrackName(const std::string& iText) override;
    void RxTrackInstrumentName(const std::string& iText) override;
    void RxEndOfTrack(int iTime) override;
    void RxTempo(int iTime, int iMicrosecondsPerQuarter) override;
    void RxMeter(int iTime, int iNumerator, int iDenominator, int iClocks, int iThirtySeconds) override;
    void RxKey(int iTime, Time_KeySignature& iKey) override;
    void RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& iTimecode) override;
    void RxMarker(int iTime, const std::string& iText) override;
};

// The summary as a person reads it. iName goes on top.
void MdidHost_WriteSummaryAsText(std::ostream& ioStream, const std::string& iName,
                                 const MdidHost_FileSummary& iSummary);

// One JSON object on one line.
void MdidHost_WriteSummaryAsJson(std::ostream& ioStream, const std::string& iName,
                                 const MdidHost_FileSummary& iSummary);
