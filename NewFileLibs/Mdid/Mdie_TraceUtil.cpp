#include "Mdid/Mdie_TraceUtil.h"

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Mdid/Mdie_TimedEvent.h"
#include "Mdid/Mdie_TrackState.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <ostream>
#include <string>

namespace
{

constexpr int kPrintBufferSize = 200;

std::atomic<Mdi_AppCallback*> sCallbackP{nullptr};

// Appends to a buffer of fixed size; counts what does not fit, too.
class BoundedText
{
public:
    BoundedText(char* oBuffer, int iSize) : mBufferP(oBuffer), mSize(std::max(iSize, 0))
    {
        if (mSize > 0)
            mBufferP[0] = mBufferP[mSize - 1] = '\0';
    }

    __attribute__((format(printf, 2, 3))) void Append(const char* iFormat, ...)
    {
        const int used = std::min(mLength, mSize);
        std::va_list arguments;
        va_start(arguments, iFormat);
        mLength +=
            std::max(std::vsnprintf(mBufferP + used, static_cast<std::size_t>(mSize - used), iFormat, arguments), 0);
        va_end(arguments);
    }

    int GetSize() const { return mSize; }
    int GetLength() const { return mLength; }

private:
    char* mBufferP;
    int mSize;
    int mLength = 0;
};

void AppendByte(BoundedText& ioText, const Mdid_SysexPacketEvent& iEvent, int iIndex)
{
    unsigned char byte = 0;
    iEvent.GetData(&byte, iIndex, iIndex);
    ioText.Append(" %02x", byte);
}

// True when the last byte was reached before the budget was.
bool AppendHead(BoundedText& ioText, const Mdid_SysexPacketEvent& iEvent, int iBudget)
{
    const int length = iEvent.GetLength();
    for (int i = 0; i < length; ++i)
    {
        AppendByte(ioText, iEvent, i);
        if (ioText.GetLength() > iBudget - 26)
            return false;
    }
    return true;
}

// Kept: bytes of the head may come again at the end, and a message that ends just past the budget gets " ..." too.
void AppendSysex(BoundedText& ioText, const Mdid_SysexPacketEvent& iEvent)
{
    int budget = ioText.GetSize();
    ioText.Append("Sysex -");
    if (!iEvent.IsComplete())
    {
        ioText.Append(" INCOMPLETE");
        budget -= 11;
    }
    const int length = iEvent.GetLength();
    if (length < 1 || AppendHead(ioText, iEvent, budget))
        return;
    if (ioText.GetLength() < budget - 5)
        ioText.Append(" ...");
    if (ioText.GetLength() >= budget - 14)
        return;
    for (int i = std::max(0, length - 4); i < length; ++i)
        AppendByte(ioText, iEvent, i);
}

void AppendProgram(BoundedText& ioText, const Mdid_ProgramEvent& iEvent)
{
    ioText.Append("Program(%d, bank %d%s%s)", iEvent.GetProgram(), iEvent.GetBank(),
                  iEvent.IsMSBBankEnabled() ? " MSB" : "", iEvent.IsLSBBankEnabled() ? " LSB" : "");
}

void AppendNote(BoundedText& ioText, const Mdid_NoteWithDurationEvent& iEvent)
{
    const Time_TypedLength duration = iEvent.GetDuration();
    ioText.Append("NoteWithDuration(p: %d, d: %" PRId64 "%s, on: %d, off: %d)", iEvent.GetPitch(), duration.AsInt64(),
                  duration.GetType() != Time_EType::kSample ? "t" : "s", iEvent.GetVelocity(), iEvent.GetOffVelocity());
}

void AppendEvent(BoundedText& ioText, const Mdid_Event& iEvent)
{
    switch (iEvent.GetType())
    {
    case Mdid_Event::kNoteOn:
    case Mdid_Event::kNoteOff:
    {
        const auto& note = iEvent.As<Mdid_NoteOnEvent>();
        const char* const name = iEvent.GetType() == Mdid_Event::kNoteOn ? "NoteOn" : "NoteOff";
        return ioText.Append("%s(%d, %d)", name, note.GetPitch(), note.GetVelocity());
    }
    case Mdid_Event::kNoteWithDuration:
        return AppendNote(ioText, iEvent.As<Mdid_NoteWithDurationEvent>());
    case Mdid_Event::kPitchBend:
        return ioText.Append("PitchBend(%d)", iEvent.As<Mdid_PitchBendEvent>().GetBendValue());
    case Mdid_Event::kController:
    {
        const auto& controller = iEvent.As<Mdid_ControllerEvent>();
        return ioText.Append("Controller(%d: %d)", controller.GetController(), controller.GetValue());
    }
    case Mdid_Event::kProgram:
        return AppendProgram(ioText, iEvent.As<Mdid_ProgramEvent>());
    case Mdid_Event::kMonoPressure:
        return ioText.Append("MonoPressure(%d)", iEvent.As<Mdid_MonoPressureEvent>().GetValue());
    case Mdid_Event::kPolyPressure:
    {
        const auto& pressure = iEvent.As<Mdid_PolyPressureEvent>();
        return ioText.Append("PolyPressure(%d: %d)", pressure.GetPitch(), pressure.GetValue());
    }
    case Mdid_Event::kSongPosition:
        return ioText.Append("Song Position(%d)", iEvent.As<Mdid_SongPositionEvent>().GetPosition());
    case Mdid_Event::kStart:
        return ioText.Append("Start");
    case Mdid_Event::kContinue:
        return ioText.Append("Continue");
    case Mdid_Event::kStop:
        return ioText.Append("Stop");
    case Mdid_Event::kTimingClock:
        return ioText.Append("TimingClock");
    case Mdid_Event::kSysex:
    case Mdid_Event::kLongSysex:
    case Mdid_Event::kSysexPacket:
        return AppendSysex(ioText, iEvent.AsSysexPacket());
    default:
        return ioText.Append("UnknownEvent(%d)", iEvent.GetType());
    }
}

} // namespace

void Mdie_TraceUtil::FormatMidiEvent(char* oBuffer, int iSize, const Mdid_Event& iEvent)
{
    if (iSize <= 0)
        return;
    BoundedText text(oBuffer, iSize);
    AppendEvent(text, iEvent);
}

void Mdie_TraceUtil::FormatMidiTimestamp(char* oBuffer, int iSize, std::int64_t iMicroseconds, Time_Sample iSample)
{
    if (iSize <= 0)
        return;
    BoundedText(oBuffer, iSize)
        .Append("[%d.%d.%d, %" PRId64 "]", static_cast<int>(iMicroseconds / 1000000 % 10),
                static_cast<int>(iMicroseconds / 1000 % 1000), static_cast<int>(iMicroseconds / 100 % 10),
                iSample.AsInt64());
}

void Mdie_TraceUtil::FormatTimedMidiEvent(char* oBuffer, int iSize, const Mdie_TimedEvent& iEvent)
{
    if (iSize <= 0)
        return;
    BoundedText prefix(oBuffer, iSize);
    prefix.Append("<sample: %" PRId64 "> ", iEvent.GetTime().AsInt64());
    const int used = std::min(prefix.GetLength(), iSize);
    FormatMidiEvent(oBuffer + used, iSize - used, iEvent.GetEvent());
}

void Mdie_TraceUtil::PrintMidiEvent(const Mdid_Event& iEvent, std::ostream& ioStream)
{
    if (!ioStream.good())
        return;
    char text[kPrintBufferSize];
    FormatMidiEvent(text, kPrintBufferSize, iEvent);
    ioStream << text;
}

void Mdie_TraceUtil::PrintTimedEventList(const Mdie_TimedEventList* iListP, std::ostream& ioStream)
{
    if (!ioStream.good())
        return;
    for (const Mdie_TimedEvent& event : *iListP)
    {
        const Time_Typed time = event.GetTime();
        ioStream << std::to_string(time.AsInt64()) << (time.GetType() != Time_EType::kSample ? "t  " : "s  ");
        PrintMidiEvent(event.GetEvent(), ioStream);
        ioStream << "\n";
    }
}

void Mdie_TraceUtil::PrintTrackState(const Mdie_TrackState* iStateP, std::ostream& ioStream)
{
    ioStream << "Begin Mdie_TrackState:\n";
    for (const Mdie_NoteInProgress* noteP = iStateP->NextNoteOff(); noteP != nullptr; noteP = noteP->GetNext())
        ioStream << "\t(" << noteP->mChannel << ", " << noteP->mPitch << ", " << noteP->mVelocity << ", "
                 << std::to_string(noteP->mReleaseTime.AsInt64()) << ")\n";
}

void Mdie_TraceUtil::TraceMidiEventList(const Mdie_TimedEventList* iListP)
{
    char text[kPrintBufferSize];
    for (const Mdie_TimedEvent& event : *iListP)
        FormatMidiEvent(text, kPrintBufferSize, event.GetEvent());
}

void Mdie_TraceUtil::SetCallback(Mdi_AppCallback* iCallbackP)
{
    sCallbackP.store(iCallbackP, std::memory_order_relaxed);
}
