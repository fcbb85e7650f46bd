#include "Mdid/Mdie_Filter.h"

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_SubStream.h"

#include <algorithm>
#include <functional>

namespace
{

constexpr signed char kFixedVelocity = 64;

} // namespace

Mdie_Filter& Mdie_Filter::ClearAll()
{
    mFlags.fill(false);
    mControllers.ClearAll();
    mChannelFilterMode = kAllChannels;
    return *this;
}

Mdie_Filter& Mdie_Filter::SetAll()
{
    mFlags.fill(true);
    mFlags[kHostFlag2] = false;
    mControllers.SetAll();
    return *this;
}

Mdie_Filter& Mdie_Filter::SetDefault()
{
    mFlags.fill(false);
    for (const EDataType dataType : {kNotes, kOnVelocities, kPitchBend, kProgram, kHostFlag1})
        mFlags[dataType] = true;
    mControllers.SetAll();
    return *this;
}

Mdie_Filter& Mdie_Filter::InvertAll()
{
    std::ranges::transform(mFlags, mFlags.begin(), std::logical_not<>());
    mControllers.Invert();
    return *this;
}

Mdie_Filter& Mdie_Filter::Set(EDataType iDataType, bool iPasses)
{
    mFlags[iDataType] = iPasses;
    return *this;
}

Mdie_Filter& Mdie_Filter::SetControllers(const Controllers& iControllers)
{
    mControllers = iControllers;
    return *this;
}

Mdie_Filter& Mdie_Filter::SetChannel(signed char iChannel)
{
    mChannel = iChannel;
    return *this;
}

Mdie_Filter& Mdie_Filter::SetChannelFilterMode(EChannelFilterMode iMode)
{
    mChannelFilterMode = iMode;
    return *this;
}

bool Mdie_Filter::FilterEvent(Mdid_Event* ioEventP) const
{
    return FilterByType(*ioEventP) && FilterByChannel(*ioEventP);
}

bool Mdie_Filter::FilterSubStream(const Mdie_SubStream& iSubStream) const
{
    Mdid_Event event = iSubStream.MakeEvent(iSubStream.GetValueRange().mMinimum);
    return FilterEvent(&event);
}

bool Mdie_Filter::operator==(const Mdie_Filter& iOther) const
{
    return mFlags == iOther.mFlags && mControllers == iOther.mControllers;
}

bool Mdie_Filter::FilterByType(Mdid_Event& ioEvent) const
{
    switch (ioEvent.GetType())
    {
    case Mdid_Event::kNoteOn:
    case Mdid_Event::kNoteOff:
    case Mdid_Event::kNoteWithDuration:
        return FilterNote(ioEvent);
    case Mdid_Event::kPitchBend:
        return mFlags[kPitchBend];
    case Mdid_Event::kController:
    {
        const int controller = ioEvent.As<Mdid_ControllerEvent>().GetController();
        return controller >= 0 && mControllers.Get(static_cast<std::size_t>(controller));
    }
    case Mdid_Event::kProgram:
        return mFlags[kProgram];
    case Mdid_Event::kMonoPressure:
        return mFlags[kMonoPressure];
    case Mdid_Event::kPolyPressure:
        return mFlags[kPolyPressure];
    case Mdid_Event::kSongPosition:
    case Mdid_Event::kStart:
    case Mdid_Event::kContinue:
    case Mdid_Event::kStop:
    case Mdid_Event::kTimingClock:
        return mFlags[kTransport];
    case Mdid_Event::kSysex:
    case Mdid_Event::kLongSysex:
    case Mdid_Event::kSysexPacket:
        return mFlags[kSysex];
    default: // Kept: pitch-to-MIDI notes (22) are among those that always pass.
        return true;
    }
}

// Kept: a note-on takes the default velocity, a note with a duration 64.
bool Mdie_Filter::FilterNote(Mdid_Event& ioEvent) const
{
    if (!mFlags[kNotes])
        return false;
    switch (ioEvent.GetType())
    {
    case Mdid_Event::kNoteOn:
        if (!mFlags[kOnVelocities])
            ioEvent.As<Mdid_NoteOnEvent>().SetVelocity(Mdid_NoteOnEvent::GetDefaultVelocity());
        break;
    case Mdid_Event::kNoteOff:
        if (!mFlags[kOffVelocities])
            ioEvent.As<Mdid_NoteOffEvent>().SetVelocity(kFixedVelocity);
        break;
    default:
        if (!mFlags[kOnVelocities])
            ioEvent.As<Mdid_NoteWithDurationEvent>().SetVelocity(kFixedVelocity);
        if (!mFlags[kOffVelocities])
            ioEvent.As<Mdid_NoteWithDurationEvent>().SetOffVelocity(kFixedVelocity);
        break;
    }
    return true;
}

bool Mdie_Filter::FilterByChannel(const Mdid_Event& iEvent) const
{
    const bool isOfChannel = iEvent.GetType() >= Mdid_Event::kNoteOn && iEvent.GetType() <= Mdid_Event::kPolyPressure;
    if (!isOfChannel || iEvent.GetChannel() == Mdid_Event::kNoChannel)
        return true;
    switch (mChannelFilterMode)
    {
    case kDropChannel:
        return iEvent.GetChannel() != mChannel;
    case kOnlyThisChannel:
        return iEvent.GetChannel() == mChannel;
    default:
        return true;
    }
}
