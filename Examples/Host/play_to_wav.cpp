// Plays a MIDI file or a session through an instrument of plain tones, block by block as an audio engine does, and
// writes what is heard:
//     play_to_wav song.mid song.wav [FROM_SECOND [LOOP_SECONDS]]

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_Init.h"
#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/Play/MdidHost_Player.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

constexpr std::int64_t kBlockSize = 512;
constexpr int kNumPitches = 128;
constexpr signed char kVolume = 7;
constexpr signed char kSustain = 64;
constexpr double kPi = 3.14159265358979;

// The instrument of one track, which plays on one channel.
class Tones
{
public:
    void Receive(const Mdid_Event& iEvent)
    {
        switch (iEvent.GetType())
        {
        case Mdid_Event::kNoteOn:
            Strike(iEvent.As<Mdid_NoteOnEvent>());
            break;
        case Mdid_Event::kNoteOff:
            Get(iEvent.As<Mdid_NoteOffEvent>().GetPitch()).mIsDown = false;
            break;
        case Mdid_Event::kPitchBend:
            mBend = 2.0 * iEvent.As<Mdid_PitchBendEvent>().GetBendValue() / 8192;
            break;
        case Mdid_Event::kController:
            Control(iEvent.As<Mdid_ControllerEvent>());
            break;
        default:
            break;
        }
    }

    void AddTo(std::vector<float>& ioSamples, std::size_t iBegin, std::size_t iEnd, double iSampleRate)
    {
        for (int pitch = 0; pitch < kNumPitches; ++pitch)
            if (Tone& tone = mTones[static_cast<std::size_t>(pitch)]; tone.mLevel > 0.0001)
            {
                const double step = 880 * kPi * std::exp2((pitch - 69 + mBend) / 12) / iSampleRate;
                const double fade = std::exp(-(tone.mIsDown || mIsPedalDown ? 1 : 20) / iSampleRate);
                for (std::size_t i = iBegin; i < iEnd; ++i, tone.mPhase += step, tone.mLevel *= fade)
                    ioSamples[i] += static_cast<float>(mVolume * tone.mLevel * std::sin(tone.mPhase));
            }
    }

private:
    struct Tone
    {
        bool mIsDown = false;
        double mLevel = 0;
        double mPhase = 0;
    };

    Tone& Get(int iPitch) { return mTones[static_cast<std::size_t>(iPitch) % kNumPitches]; }
    void Strike(const Mdid_NoteOnEvent& iNote) { Get(iNote.GetPitch()) = {true, iNote.GetVelocity() / 1500.0, 0}; }
    void Control(const Mdid_ControllerEvent& iEvent)
    {
        if (iEvent.GetController() == kSustain)
            mIsPedalDown = iEvent.GetValue() >= 64;
        else if (iEvent.GetController() == kVolume)
            mVolume = iEvent.GetValue() / 127.0;
    }

    std::array<Tone, kNumPitches> mTones;
    double mBend = 0; // in semitones
    double mVolume = 1;
    bool mIsPedalDown = false;
};

// Turns each block of events into a block of sound. The events of a block come in order.
class Band : public MdidHost_PlaySink
{
public:
    Band(std::size_t iNumTracks, int iSampleRate) : mTones(iNumTracks), mSampleRate(iSampleRate) {}

    void Receive(const MdidHost_PlayedEvent& iEvent) override
    {
        SoundUntil(iEvent.mElapsed);
        mTones[static_cast<std::size_t>(iEvent.mTrack)].Receive(iEvent.mEvent);
    }

    const std::vector<float>& FinishBlock(std::int64_t iElapsed)
    {
        SoundUntil(iElapsed);
        mBlockStart = iElapsed;
        return mBlock;
    }

    void StartBlock() { mBlock.clear(); }

private:
    void SoundUntil(std::int64_t iElapsed)
    {
        const std::size_t begin = mBlock.size();
        mBlock.resize(static_cast<std::size_t>(iElapsed - mBlockStart));
        for (Tones& tones : mTones)
            tones.AddTo(mBlock, begin, mBlock.size(), mSampleRate);
    }

    std::vector<Tones> mTones;
    std::vector<float> mBlock;
    std::int64_t mBlockStart = 0;
    int mSampleRate;
};

class WavFile
{
public:
    WavFile(const char* iPath, int iSampleRate) : mStream(iPath, std::ios::binary), mSampleRate(iSampleRate)
    {
        WriteHeader();
        Verify();
    }

    void Write(const std::vector<float>& iSamples)
    {
        if (iSamples.size() > kMaxNumSamples - mNumSamples)
            throw std::runtime_error("the sound is longer than a file of this kind can be");
        for (const float sample : iSamples)
            WriteNumber(static_cast<std::uint16_t>(std::lround(std::clamp(sample, -1.0F, 1.0F) * 32767)), 2);
        mNumSamples += static_cast<std::uint32_t>(iSamples.size());
        Verify();
    }

    void Finish()
    {
        mStream.seekp(0);
        WriteHeader();
        Verify();
    }

private:
    static constexpr std::uint32_t kMaxNumSamples = 0x7FFFFF00;

    void Verify()
    {
        if (!mStream.flush())
            throw std::runtime_error("the sound cannot be written");
    }

    void WriteNumber(std::uint32_t iNumber, int iNumBytes)
    {
        for (int i = 0; i < iNumBytes; ++i)
            mStream.put(static_cast<char>(iNumber >> (8 * i) & 0xFF));
    }

    void WriteHeader()
    {
        const auto rate = static_cast<std::uint32_t>(mSampleRate);
        mStream << "RIFF";
        WriteNumber(36 + 2 * mNumSamples, 4);
        mStream << "WAVEfmt ";
        WriteNumber(16, 4);
        WriteNumber(1, 2); // whole numbers
        WriteNumber(1, 2); // one channel
        WriteNumber(rate, 4);
        WriteNumber(2 * rate, 4);
        WriteNumber(2, 2);
        WriteNumber(16, 2);
        mStream << "data";
        WriteNumber(2 * mNumSamples, 4);
    }

    std::ofstream mStream;
    int mSampleRate;
    std::uint32_t mNumSamples = 0;
};

double ParseSeconds(const std::string& iText)
{
    constexpr double kDay = 24 * 60 * 60;
    std::size_t length = 0;
    double seconds = -1;
    try
    {
        seconds = std::stod(iText, &length);
    }
    catch (const std::logic_error&) // no number
    {
    }
    if (length != iText.size() || !(seconds >= 0 && seconds <= kDay))
        throw std::runtime_error("not a number of seconds: " + iText);
    return seconds;
}

void Run(int iArgc, char** iArgv)
{
    MdidHost_ImportReport report;
    const MdidHost_Session session = MdidHost_OpenSession(iArgv[1], {}, report);
    const int sampleRate = session.mContext.GetSampleRate();
    const std::vector<std::string> arguments(iArgv, iArgv + iArgc);
    const auto samplesAt = [&](std::size_t i)
    { return i < arguments.size() ? std::llround(ParseSeconds(arguments[i]) * sampleRate) : 0; };

    MdidHost_PlayOptions options;
    options.mBlockSize = kBlockSize;
    options.mStart = samplesAt(3);
    if (const std::int64_t length = samplesAt(4); length > 0)
        options.mLoops = {{options.mStart, options.mStart + length, 2}};
    MdidHost_Player player(session, options);
    Band band(session.mTracks.size(), sampleRate);
    WavFile file(iArgv[2], sampleRate);
    for (;;)
    {
        band.StartBlock();
        if (!player.Render(band))
            break;
        file.Write(band.FinishBlock(player.GetElapsed()));
    }
    file.Finish();
    std::cout << player.GetElapsed() / sampleRate << " s played\n";
}

} // namespace

int main(int iArgc, char** iArgv)
{
    if (iArgc < 3 || iArgc > 5)
    {
        std::cerr << "play_to_wav song.mid song.wav [FROM_SECOND [LOOP_SECONDS]]\n";
        return 2;
    }
    Mdid_Init::Init();
    int result = 0;
    try
    {
        Run(iArgc, iArgv);
    }
    catch (const std::exception& exception)
    {
        std::cerr << "play_to_wav: " << exception.what() << '\n';
        result = 1;
    }
    Mdid_Init::Free();
    return result;
}
