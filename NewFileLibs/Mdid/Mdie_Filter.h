#pragma once

#include "CFnd/Cmn_BitArray.h"
#include "Mdid/Mdid_Event.h"

#include <array>
#include <cstddef>

class Mdie_SubStream;

// The kinds of data, controllers and channels that a view or a playback pass lets through. Copied freely; takes no
// memory, so it may be used on a playback thread.
class MDID_EXPORT Mdie_Filter
{
public:
    enum EDataType
    {
        kNotes = 0,
        kOnVelocities = 1,  // clear: notes pass with a fixed on velocity
        kOffVelocities = 2, // clear: notes pass with an off velocity of 64
        kPitchBend = 3,
        kProgram = 4,
        kMonoPressure = 5,
        kPolyPressure = 6,
        kSysex = 7,
        kTransport = 8, // song position, start, continue, stop, clock
        kHostFlag1 = 9, // these two are kept for the host and not looked at here
        kHostFlag2 = 10
    };
    static constexpr std::size_t kNumDataTypes = 11;

    enum EChannelFilterMode
    {
        kAllChannels = 0,
        kDropChannel = 1,    // events on the filter channel do not pass
        kOnlyThisChannel = 2 // of the events with a channel, only those on the filter channel pass
    };

    using Controllers = Cmn_BitArray<120>; // bit n: controller n passes

    // Nothing passes but what no filter holds back; all channels, filter channel 0.
    Mdie_Filter() { ClearAll(); }

    // Every flag and controller off, no channel filtering; the filter channel stays.
    Mdie_Filter& ClearAll();

    // Every flag but kHostFlag2, and every controller. The channel settings stay, as they do in the next two.
    Mdie_Filter& SetAll();

    // kNotes, kOnVelocities, kPitchBend, kProgram, kHostFlag1, and every controller.
    Mdie_Filter& SetDefault();
    Mdie_Filter& InvertAll();

    bool Get(EDataType iDataType) const { return mFlags[iDataType]; }
    Mdie_Filter& Set(EDataType iDataType, bool iPasses);
    const Controllers& GetControllers() const { return mControllers; }
    Mdie_Filter& SetControllers(const Controllers& iControllers);
    signed char GetChannel() const { return mChannel; }
    Mdie_Filter& SetChannel(signed char iChannel);
    EChannelFilterMode GetChannelFilterMode() const { return mChannelFilterMode; }
    Mdie_Filter& SetChannelFilterMode(EChannelFilterMode iMode);

    // Whether the event, not null, passes; the velocities of a note may be changed on the way. A controller above 119
    // never passes; a null event and every type from 17 on always do. Only the types 1 to 8 have a channel to filter.
    bool FilterEvent(Mdid_Event* ioEventP) const;

    // Whether an event of the lane, at the minimum of its range, passes.
    bool FilterSubStream(const Mdie_SubStream& iSubStream) const;

    // Kept: the channel filter mode and the channel take no part.
    bool operator==(const Mdie_Filter& iOther) const;

private:
    bool FilterByType(Mdid_Event& ioEvent) const;
    bool FilterNote(Mdid_Event& ioEvent) const;
    bool FilterByChannel(const Mdid_Event& iEvent) const;

    std::array<bool, kNumDataTypes> mFlags;
    Controllers mControllers;
    EChannelFilterMode mChannelFilterMode;
    signed char mChannel = 0;
};
