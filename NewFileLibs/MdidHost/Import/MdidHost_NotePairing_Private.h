#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

// The notes of one chunk in the making: note-ons meet their note-offs, first in, first out, by channel and pitch.
//
// Times are counts of the session's kind, and ascend from call to call. Small records in one vector, with the open
// notes of a pitch chained through it, so that a note costs neither a search nor memory of its own.
class MdidHost_NotePairing
{
public:
    struct Note
    {
        std::int64_t mStart;
        std::int64_t mEnd;
        std::uint32_t mNext; // the next open note of this channel and pitch
        signed char mChannel;
        signed char mPitch;
        signed char mVelocity;
        signed char mOffVelocity;
    };

    // iChannel: 0 to 15, iPitch: 0 to 127.
    void NoteOn(std::int64_t iTime, int iChannel, signed char iPitch, signed char iVelocity);

    // The note that ends now, valid until the next note-on; null when none is open.
    Note* NoteOff(std::int64_t iTime, int iChannel, signed char iPitch, signed char iVelocity);

    // Ends what is open; what starts there or later ends at iEndOfShortest. Returns how many these were.
    std::int64_t CloseAll(std::int64_t iTime, std::int64_t iEndOfShortest);

    // Puts notes of one start into the order of note lists. All are closed.
    void SortTies();

    const std::vector<Note>& GetNotes() const { return mNotes; }
    void Clear() { mNotes.clear(); }

private:
    static constexpr std::uint32_t kNone = 0xFFFF'FFFF;
    static constexpr std::int64_t kOpen = -1;
    static constexpr signed char kDefaultOffVelocity = 64;

    struct Queue
    {
        std::uint32_t mFirst = kNone;
        std::uint32_t mLast = kNone;
    };
    Queue& QueueOf(int iChannel, signed char iPitch)
    {
        return mOpen[static_cast<std::size_t>(iChannel) << 7 | static_cast<std::size_t>(iPitch & 0x7F)];
    }

    std::vector<Note> mNotes;
    std::array<Queue, std::size_t{16} << 7> mOpen;
};
