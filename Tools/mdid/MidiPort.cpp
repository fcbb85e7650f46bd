#include "MidiPort.h"

#include <RtMidi.h>
#include <algorithm>
#include <fcntl.h>
#include <optional>
#include <stdexcept>
#include <unistd.h>
#include <vector>

// This program says in one line what MIDI systems say in several.
class QuietStandardError
{
public:
    QuietStandardError()
    {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nowhere < 0)
            return;
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
    ~QuietStandardError()
    {
        if (mBefore < 0)
            return;
        dup2(mBefore, STDERR_FILENO);
        close(mBefore);
    }
    QuietStandardError(const QuietStandardError&) = delete;
    QuietStandardError& operator=(const QuietStandardError&) = delete;

private:
    int mBefore = dup(STDERR_FILENO);
};

namespace
{

constexpr std::size_t kMaxSure = 4096; // bytes, of a message through JACK, which drops what its buffers do not hold

// Another one for each process, by which its own port is known.
std::string ClientName()
{
    return "mdid-" + std::to_string(getpid());
}

struct Output
{
    RtMidi::Api mSystem;
    unsigned mNumber;
    std::string mName;
};

// Of all systems; none when no system answers.
std::optional<std::vector<Output>> FindOutputs()
{
    std::vector<RtMidi::Api> systems;
    RtMidi::getCompiledApi(systems);
    std::optional<std::vector<Output>> outputs;
    for (const RtMidi::Api system : systems)
        try
        {
            RtMidiOut client(system, ClientName());
            const unsigned count = client.getPortCount();
            if (!outputs)
                outputs.emplace();
            for (unsigned i = 0; i < count; ++i)
                outputs->push_back({system, i, client.getPortName(i)});
        }
        catch (const RtMidiError&) // another system may answer
        {
        }
    return outputs;
}

std::string ListOf(const std::vector<Output>& iOutputs)
{
    std::string text;
    for (const Output& output : iOutputs)
        ((text += text.empty() ? "\"" : ", \"") += output.mName) += '"';
    return text.empty() ? "there is none" : "there are: " + text;
}

const Output& Choose(const std::vector<Output>& iOutputs, const std::string& iName)
{
    const auto isNamed = [&](const Output& iOutput) { return iOutput.mName == iName; };
    const auto fits = [&](const Output& iOutput) { return iOutput.mName.find(iName) != std::string::npos; };
    if (const auto named = std::ranges::find_if(iOutputs, isNamed); named != iOutputs.end())
        return *named;
    switch (std::ranges::count_if(iOutputs, fits))
    {
    case 0:
        throw std::runtime_error("no MIDI output is called \"" + iName + "\"; " + ListOf(iOutputs));
    case 1:
        return *std::ranges::find_if(iOutputs, fits);
    default:
        throw std::runtime_error("several MIDI outputs are called \"" + iName + "\"; " + ListOf(iOutputs));
    }
}

} // namespace

MidiPort::MidiPort(const std::string& iName) : mQuietP(std::make_unique<QuietStandardError>())
{
    const auto outputs = FindOutputs();
    if (!outputs)
        throw std::runtime_error("no MIDI system answers on this machine");
    const Output& output = Choose(*outputs, iName);
    mName = output.mName;
    try
    {
        mOutputP = std::make_unique<RtMidiOut>(output.mSystem, ClientName());
        mOutputP->openPort(output.mNumber, "out");
    }
    catch (const RtMidiError& error)
    {
        throw std::runtime_error("the MIDI output \"" + output.mName + "\" does not open: " + error.getMessage());
    }
}

MidiPort::~MidiPort() = default;

void MidiPort::Send(std::span<const unsigned char> iMessage)
{
    mOutputP->sendMessage(iMessage.data(), iMessage.size());
    if (iMessage.size() > kMaxSure && mOutputP->getCurrentApi() == RtMidi::UNIX_JACK)
        ++mNumDoubtful;
}

void MidiPort::Verify()
{
    if (IsConnected())
        return;
    static_cast<void>(mOutputP.release()); // JACK's client crashes when it is closed behind the end of its system
    throw std::runtime_error("the MIDI output \"" + mName + "\" is gone");
}

// A JACK that was started anew has an output of that name, too, but not the port of this process.
bool MidiPort::IsConnected() const
{
    const auto outputs = FindOutputs();
    if (!outputs || std::ranges::find(*outputs, mName, &Output::mName) == outputs->end())
        return false;
    if (mOutputP->getCurrentApi() != RtMidi::UNIX_JACK)
        return true;
    RtMidiIn sources(RtMidi::UNIX_JACK, ClientName());
    for (unsigned i = 0; i < sources.getPortCount(); ++i)
        if (sources.getPortName(i).starts_with(ClientName() + ":"))
            return true;
    return false;
}
