#include "MdidHost/Import/MdidHost_ImportTracks_Private.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_EventTypes.h"

#include <algorithm>

namespace
{

using Losses = MdidHost_ImportLosses;
using Expression = MdidHost_ImportExpression;

// Slots are numbered as lanes are: bends, controllers by number, channel pressure, programs, pressure by pitch.
constexpr int kBendSlot = 0;
constexpr int kPressureSlot = 120;
constexpr int kProgramSlot = 121;
constexpr int kFirstPolyPressureSlot = 122;

// Those of parameter numbers keep their order across lanes.
int SlotOfController(signed char iController)
{
    return Mdi_Controller::IsOfParameterNumber(iController) ? Mdi_Controller::kDataEntryMSB : iController;
}

constexpr std::int64_t kBeforeAll = -1;
constexpr int kLowerMaster = 0;
constexpr int kUpperMaster = 15;

} // namespace

MdidHost_ImportTracks::MdidHost_ImportTracks(Ndo_Object::EUndoFlag iUndoFlag, MdidHost_RepairingStream::MPEZones iZones,
                                             const MdidHost_ImportClock& iClock, std::vector<MdidHost_Track>& ioTracks,
                                             MdidHost_ImportLosses& ioLosses)
    : mUndoFlag(iUndoFlag),
      mClock(iClock),
      mSession(ioTracks),
      mLosses(ioLosses)
{
    for (int channel = 0; channel < std::ssize(mChannels); ++channel)
    {
        const auto index = static_cast<std::size_t>(channel);
        mOwnTracks[index].Set(channel, 0);
        mChannels[index].mVoiceP = mChannels[index].mOtherP = &mOwnTracks[index];
    }
    SetZone(mLowerZone, kLowerMaster, iZones.mLower);
    SetZone(mUpperZone, kUpperMaster, iZones.mUpper);
}

// Members go up from master channel 0, or down from 15.
void MdidHost_ImportTracks::SetZone(Track& oZone, int iMasterChannel, int iMembers)
{
    if (iMembers <= 0)
        return;
    oZone.Set(iMasterChannel, iMembers);
    Channel& master = mChannels[static_cast<std::size_t>(iMasterChannel)];
    master.mVoiceP = master.mOtherP = &oZone;
    for (int i = 1; i <= iMembers; ++i)
    {
        const int channel = iMasterChannel == kLowerMaster ? i : iMasterChannel - i;
        Channel& member = mChannels[static_cast<std::size_t>(channel)];
        member.mVoiceP = &oZone;
        member.mVoiceChannel = static_cast<signed char>(channel);
    }
}

void MdidHost_ImportTracks::SetText(std::string& oText, const std::string& iText)
{
    if (oText.empty())
        oText = iText;
    else
        mLosses.Add(Losses::kFurtherNames);
}

inline MdidHost_ImportTracks::Channel& MdidHost_ImportTracks::UsedChannel(int iChannel)
{
    Channel& channel = mChannels[static_cast<std::size_t>(iChannel & 15)];
    if (!channel.mIsUsed)
    {
        channel.mLatest.fill(kBeforeAll);
        channel.mIsUsed = true;
    }
    return channel;
}

inline MdidHost_ImportTracks::Track& MdidHost_ImportTracks::Opened(Track& ioTrack)
{
    if (!ioTrack.IsOpen()) [[unlikely]]
    {
        mOpenTracks.push_back(&ioTrack);
        ioTrack.Open(mClock.GetKind(), mUndoFlag);
    }
    return ioTrack;
}

// Within a file tick there is room for many; what does not fit pushes on what follows, so that the order stays.
inline std::int64_t MdidHost_ImportTracks::SetApart(std::int64_t& ioLatest, const MdidHost_ImportClock::Moment& iMoment)
{
    ioLatest = std::max(iMoment.mTime, ioLatest + 1);
    if (ioLatest != iMoment.mTime && mClock.IsOfAnotherTick(ioLatest, iMoment))
        mLosses.Add(Losses::kCrowdedEvents);
    return ioLatest;
}

void MdidHost_ImportTracks::AddChannelEvent(const Mdid_Event& iEvent, int iChannel)
{
    Channel& channel = UsedChannel(iChannel);
    switch (iEvent.GetType())
    {
    case Mdid_Event::kNoteOn:
    {
        const auto& note = iEvent.As<Mdid_NoteOnEvent>();
        return AddNoteOn(channel, note.GetPitch(), note.GetVelocity());
    }
    case Mdid_Event::kNoteOff:
    {
        const auto& note = iEvent.As<Mdid_NoteOffEvent>();
        return AddNoteOff(channel, note.GetPitch(), note.GetVelocity());
    }
    case Mdid_Event::kPitchBend:
        return AddVoiceEvent(channel, iEvent, kBendSlot, Expression::kBend);
    case Mdid_Event::kController:
        return AddController(channel, iEvent.As<Mdid_ControllerEvent>());
    case Mdid_Event::kProgram:
        return AddProgram(channel, iEvent.As<Mdid_ProgramEvent>());
    case Mdid_Event::kMonoPressure:
        return AddVoiceEvent(channel, iEvent, kPressureSlot, Expression::kPressure);
    case Mdid_Event::kPolyPressure:
        return AddOtherEvent(channel, iEvent, kFirstPolyPressureSlot + iEvent.As<Mdid_PolyPressureEvent>().GetPitch());
    default:
        CMN_VERIFY(false);
    }
}

inline void MdidHost_ImportTracks::AddNoteOn(Channel& ioChannel, signed char iPitch, signed char iVelocity)
{
    Opened(*ioChannel.mVoiceP).GetNotes().NoteOn(mClock.Now().mTime, ioChannel.mVoiceChannel, iPitch, iVelocity);
}

inline void MdidHost_ImportTracks::AddNoteOff(Channel& ioChannel, signed char iPitch, signed char iVelocity)
{
    const std::int64_t now = mClock.Now().mTime;
    auto* const noteP = ioChannel.mVoiceP->IsOpen()
                            ? ioChannel.mVoiceP->GetNotes().NoteOff(now, ioChannel.mVoiceChannel, iPitch, iVelocity)
                            : nullptr;
    if (noteP == nullptr)
        return mLosses.Add(Losses::kLoneNoteOffs);
    if (noteP->mStart == now)
    {
        noteP->mEnd = mClock.OneTickLater();
        mLosses.Add(Losses::kNotesOfNoLength);
    }
}

void MdidHost_ImportTracks::AddController(Channel& ioChannel, const Mdid_ControllerEvent& iEvent)
{
    const signed char controller = iEvent.GetController();
    if (controller == Mdi_Controller::kBankMSB || controller == Mdi_Controller::kBankLSB)
    {
        BankPart& part = ioChannel.mBank[controller == Mdi_Controller::kBankMSB ? 0 : 1];
        mLosses.Add(Losses::kLoneBankSelects, part.mIsWaiting ? 1 : 0);
        part = {iEvent.GetValue(), true};
    }
    else if (controller == Mdi_Controller::kTimbre)
        AddVoiceEvent(ioChannel, iEvent, controller, Expression::kTimbre);
    else
        AddOtherEvent(ioChannel, iEvent, SlotOfController(controller));
}

void MdidHost_ImportTracks::AddProgram(Channel& ioChannel, const Mdid_ProgramEvent& iEvent)
{
    Mdid_ProgramEvent program = iEvent;
    auto& [msb, lsb] = ioChannel.mBank;
    if (msb.mValue >= 0)
    {
        program.SetMSBBank(static_cast<signed char>(msb.mValue));
        program.SetMSBBankEnable(true);
    }
    if (lsb.mValue >= 0)
    {
        program.SetLSBBank(static_cast<signed char>(lsb.mValue));
        program.SetLSBBankEnable(true);
    }
    msb.mIsWaiting = lsb.mIsWaiting = false;
    AddOtherEvent(ioChannel, program, kProgramSlot);
}

void MdidHost_ImportTracks::AddVoiceEvent(Channel& ioChannel, const Mdid_Event& iEvent, int iSlot,
                                          Expression::ELane iLane)
{
    if (ioChannel.mVoiceChannel == 0)
        return AddOtherEvent(ioChannel, iEvent, iSlot);
    const std::int64_t time = SetApart(ioChannel.mLatest[static_cast<std::size_t>(iSlot)], mClock.Now());
    Opened(*ioChannel.mVoiceP).AddExpression(time, iEvent, ioChannel.mVoiceChannel, iLane);
}

void MdidHost_ImportTracks::AddOtherEvent(Channel& ioChannel, const Mdid_Event& iEvent, int iSlot)
{
    const std::int64_t time = SetApart(ioChannel.mLatest[static_cast<std::size_t>(iSlot)], mClock.Now());
    Opened(*ioChannel.mOtherP).AddEvent(time, iEvent, 0);
}

void MdidHost_ImportTracks::AddSysex(const MdidHost_ImportClock::Moment& iMoment, const Mdid_Event& iEvent)
{
    mSysex.push_back({iMoment, iEvent});
}

// They go with the channel that appears first.
void MdidHost_ImportTracks::FileSysex()
{
    std::int64_t latest = kBeforeAll;
    for (const Sysex& sysex : mSysex)
        mOpenTracks.front()->AddEvent(SetApart(latest, sysex.mMoment), sysex.mEvent, 0);
}

void MdidHost_ImportTracks::CloseTracks(std::int64_t iLastOther)
{
    const std::size_t first = mSession.size();
    std::int64_t end = iLastOther;
    for (std::size_t i = 0; i < mOpenTracks.size(); ++i)
    {
        MdidHost_Track track = mOpenTracks[i]->Close(mClock.Now().mTime, mClock.OneTickLater(), mLosses);
        track.mName = mName;
        track.mInstrument = mInstrument;
        if (i == 0)
            track.mComments = std::move(mComments);
        track.mFileTrack = mFileTrack;
        end = std::max(end, mOpenTracks[i]->GetEnd());
        mSession.push_back(std::move(track));
    }
    if (first < mSession.size() && end < mClock.Now().mTime)
        mSession[first].mFileTrackEnd = mClock.NowTyped();
}

void MdidHost_ImportTracks::EndChannels()
{
    for (Channel& channel : mChannels)
    {
        for (const BankPart& part : channel.mBank)
            mLosses.Add(Losses::kLoneBankSelects, part.mIsWaiting ? 1 : 0);
        channel.mBank = {};
        channel.mIsUsed = false;
    }
}

bool MdidHost_ImportTracks::HasContents() const
{
    return !(mOpenTracks.empty() && mSysex.empty() && mName.empty() && mInstrument.empty() && mComments.empty());
}

void MdidHost_ImportTracks::EndTrack(std::int64_t iLastOther)
{
    mEmptyTracks = HasContents() ? 0 : mEmptyTracks + 1;
    if (HasContents() && mOpenTracks.empty())
        Opened(mNoChannel);
    if (mClock.Now().mTime >= MdidHost_ImportClock::kLatestTime)
        mLosses.Add(Losses::kLateTracks);
    FileSysex();
    CloseTracks(iLastOther);
    EndChannels();
    mOpenTracks.clear();
    mSysex.clear();
    mName.clear();
    mInstrument.clear();
    mComments.clear();
}

// Empty tracks between others come back by the numbers of these, and there is a first track for tempo and meter.
void MdidHost_ImportTracks::Complete()
{
    mLosses.Add(Losses::kEmptyTracks, mEmptyTracks < mFileTrack ? mEmptyTracks : std::max(mEmptyTracks - 1, 0));
}
