#include "MdidHost/Play/MdidHost_Player.h"

#include "MdidHost/Play/MdidHost_PlayEngine_Private.h"

#include <atomic>
#include <stdexcept>

namespace
{

std::atomic<bool> sHasPlayer = false;

} // namespace

MdidHost_Player::Place::Place()
{
    if (sHasPlayer.exchange(true))
        throw std::logic_error("there is another player");
}

MdidHost_Player::Place::~Place()
{
    sHasPlayer = false;
}

MdidHost_Player::MdidHost_Player(const MdidHost_Session& iSession, const Options& iOptions)
    : mScope(iSession),
      mEngineP(std::make_unique<MdidHost_PlayEngine>(iSession, iOptions))
{
}

MdidHost_Player::~MdidHost_Player() = default;

bool MdidHost_Player::Render(MdidHost_PlaySink& ioSink)
{
    return mEngineP->Render(ioSink);
}

void MdidHost_Player::Jump(std::int64_t iSample)
{
    mEngineP->Jump(iSample);
}

void MdidHost_Player::SetMuted(std::size_t iTrack, bool iIsMuted)
{
    mEngineP->SetMuted(iTrack, iIsMuted);
}

void MdidHost_Player::SetSolo(std::size_t iTrack, bool iIsSolo)
{
    mEngineP->SetSolo(iTrack, iIsSolo);
}

void MdidHost_Player::Stop(MdidHost_PlaySink& ioSink)
{
    mEngineP->Stop(ioSink);
}

bool MdidHost_Player::IsPlaying() const
{
    return mEngineP->IsPlaying();
}

std::int64_t MdidHost_Player::GetPosition() const
{
    return mEngineP->GetPosition();
}

std::int64_t MdidHost_Player::GetEnd() const
{
    return mEngineP->GetEnd();
}

std::int64_t MdidHost_Player::GetElapsed() const
{
    return mEngineP->GetElapsed();
}

std::int64_t MdidHost_Player::GetBlockSize() const
{
    return mEngineP->GetBlockSize();
}

std::int32_t MdidHost_Player::GetSampleRate() const
{
    return mEngineP->GetSampleRate();
}
