#pragma once

#include "CFnd/Cmn_InStream.h"
#include "MdidHost/File/MdidHost_Findings.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// A Standard MIDI File as the file reader can read it, made of whatever of one is left.
//
// The file is scanned once when the stream is made; what is wrong becomes a finding each, and what can be read is laid
// out as a sound file: RIFF unwrapped, alien chunks left out, lengths right, a lost "MTrk" found again, system messages
// and stray bytes out, events that reach into the next track out, data bytes clipped, meta events of a wrong length or
// content corrected or left out, ends of track supplied, and tempo, meter, key and marker events of later tracks
// (formats 0 and 1) moved into the first, where the reader looks. A sound file comes through byte for byte, without a
// finding. One track at a time is held.
class MdidHost_RepairingStream : public Cmn_InStream
{
public:
    enum class Mode
    {
        kRepair,
        kStrict // the bytes as they are; only counts
    };

    // What the reader reads, but does not deliver: channel mode messages, escapes, system-exclusive messages that do
    // not end, meta events that it does not know; and of what it delivers the times of texts, names and packets, the
    // ends of texts, the clicks of some meters.
    using Losses = std::vector<MdidHost_Loss>;

    // How far from its begin a file is searched for what is MIDI: whatever else was put in front of it is smaller.
    static constexpr std::int64_t kMaxBytesBeforeFile = std::int64_t{128} * 1024;

    // The stream is read from its begin. Throws Sys_StreamException; std::runtime_error with message 102 when there is
    // no MIDI in it to be saved (in strict mode the reader finds that out).
    MdidHost_RepairingStream(std::unique_ptr<Cmn_InStream> iFileP, Mode iMode);
    ~MdidHost_RepairingStream() override;

    // In the order of the file; at most kMaxFindings, the last of which then says how many more there are.
    static constexpr std::size_t kMaxFindings = 1000;
    const std::vector<MdidHost_Finding>& GetFindings() const;

    // By the worst finding; notes leave a file complete.
    MdidHost_Grade GetGrade() const;
    const Losses& GetLosses() const;

    // The MPE zones that the file configures: how many member channels belong to master channel 0 (from 1 up) and to
    // master channel 15 (from 14 down). Of several configuration messages of a zone, the largest counts; where both
    // zones overlap, the lower one keeps its channels. 0: no zone.
    // At most Mdi_Controller::kMaxLowerMembers and kMaxUpperMembers: channel 0 stands for itself, also when the upper
    // zone is to have it.
    struct MPEZones
    {
        int mLower = 0;
        int mUpper = 0;
    };
    MPEZones GetMPEZones() const;

    // Where the first track ended before events of later ones were moved behind its end: ticks of the file.
    std::optional<std::int64_t> GetEndOfFirstTrack() const;

private:
    class Layout;
    explicit MdidHost_RepairingStream(std::unique_ptr<Layout> iLayoutP);
    Bytes FillWindow(std::int64_t iPosition) override;

    std::unique_ptr<Layout> mLayoutP;
};
