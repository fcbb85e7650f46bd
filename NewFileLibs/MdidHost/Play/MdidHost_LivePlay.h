#pragma once

#include "MdidHost/Play/MdidHost_Player.h"

#include <atomic>
#include <span>

// Where messages go as they are due, such as a port.
class MdidHost_MessageSink
{
public:
    virtual ~MdidHost_MessageSink() = default;

    // One whole message; the bytes are valid during the call. Playback thread.
    virtual void Send(std::span<const unsigned char> iMessage) = 0;

protected:
    MdidHost_MessageSink() = default;
    MdidHost_MessageSink(const MdidHost_MessageSink&) = default;
    MdidHost_MessageSink& operator=(const MdidHost_MessageSink&) = default;
};

// The longest block with which play is live: a hundredth of a second, in samples, and never none.
std::int64_t MdidHost_LiveBlockSize(std::int32_t iSampleRate);

// Plays in real time, from where the player stands to its end. The calling thread is the playback thread meanwhile, and
// sleeps until each message is due; the first goes out at once. When iIsToStop becomes true, which a signal handler may
// do, what is left of the block goes out at once, and play stops. Either way nothing sounds when the function returns,
// nor when ioMessages throws, as far as it takes the messages for that; the exception then goes on.
//
// Takes memory for a system-exclusive message of over 64 KiB. std::invalid_argument: the player's blocks are longer
// than MdidHost_LiveBlockSize.
void MdidHost_PlayLive(MdidHost_Player& ioPlayer, MdidHost_MessageSink& ioMessages, const std::atomic<bool>& iIsToStop);
