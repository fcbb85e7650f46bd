#pragma once

#include "MdidHost/Play/MdidHost_LivePlay.h"

#include <memory>
#include <string>

class QuietStandardError;
class RtMidiOut;

// A MIDI output of this machine: an instrument, an interface, another program. While there is one, nothing goes to
// standard error: MIDI systems write there what they think of each other.
class MidiPort : public MdidHost_MessageSink
{
public:
    // The output of that name, else the only one whose name has the text in it. std::runtime_error, with the outputs
    // that there are: none or several fit, or no MIDI system answers.
    explicit MidiPort(const std::string& iName);
    ~MidiPort() override;
    MidiPort(const MidiPort&) = delete;
    MidiPort& operator=(const MidiPort&) = delete;

    void Send(std::span<const unsigned char> iMessage) override;

    // std::runtime_error: the output is not there any more, so that what was sent last may have gone nowhere.
    void Verify();

    int GetNumDoubtful() const { return mNumDoubtful; } // messages that are too long to be sure of

private:
    bool IsConnected() const;

    std::unique_ptr<QuietStandardError> mQuietP;
    std::string mName;
    std::unique_ptr<RtMidiOut> mOutputP;
    int mNumDoubtful = 0;
};
