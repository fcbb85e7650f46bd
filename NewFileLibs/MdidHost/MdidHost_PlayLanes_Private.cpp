#include "MdidHost/MdidHost_PlayLanes_Private.h"

#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_EventTypes.h"

#include <algorithm>
#include <optional>
#include <tuple>

namespace
{

using EKind = MdidHost_PlayParameter::EKind;
using Parameter = MdidHost_PlayParameter;
using Settings = MdidHost_PlaySettings;

constexpr signed char kNothing = Settings::kNothing;
constexpr int kNoProgram = 0x80;

std::size_t FirstOf(EKind iKind)
{
    return iKind == Parameter::kRegistered ? 2 : 0;
}

// Where an event stands among those that bring an instrument to a state.
enum EPlace
{
    kProgram,   // and bank
    kParameter, // numbers and data
    kController,
    kBend,
    kPressure
};

EPlace PlaceOf(const Mdid_Event& iEvent)
{
    switch (iEvent.GetType())
    {
    case Mdid_Event::kProgram:
        return kProgram;
    case Mdid_Event::kController:
        return Settings::IsSetting(iEvent.As<Mdid_ControllerEvent>().GetController()) ? kParameter : kController;
    case Mdid_Event::kPitchBend:
        return kBend;
    default:
        return kPressure;
    }
}

// A time in each kind: times are compared with it by their counts.
class LatestCounts
{
public:
    explicit LatestCounts(Time_Typed iTime)
    {
        for (const Time_EType kind : kTime_AllKinds)
        {
            const Time_Typed nearest = Time_Convert::ToType(iTime, kind);
            mCounts[static_cast<std::size_t>(kind)] = nearest.AsInt64() - (nearest > iTime ? 1 : 0);
        }
    }

    // Whether the time is not later.
    bool Reach(Time_Typed iTime) const { return iTime.AsInt64() <= mCounts[static_cast<std::size_t>(iTime.GetType())]; }

private:
    std::array<std::int64_t, 3> mCounts{};
};

// Brings the settings of an instrument from those of one count of a history to those of another.
class SettingsMove
{
public:
    // Without iFrom the instrument may have any settings.
    SettingsMove(const MdidHost_PlayHistory& iHistory, std::optional<std::size_t> iFrom, std::size_t iTo, int iChannel,
                 MdidHost_PlayOrder& ioOrder)
        : mHistory(iHistory),
          mFrom(iFrom.value_or(0)),
          mTo(iTo),
          mHas(iHistory.GetSettings(mFrom)),
          mWants(iHistory.GetSettings(iTo)),
          mChannel(static_cast<signed char>(iChannel)),
          mOrder(ioOrder)
    {
        SetOpenNumbers(mWants);
        if (iFrom)
            SetOpenNumbers(mHas);
    }

    void SendProgram();
    void SendParameters();

private:
    using Entry = MdidHost_PlayHistory::DataEntry;
    using Entries = std::array<const Entry*, Settings::kDataControllers.size()>; // null: none
    using Numbers = std::array<signed char, 2>;                                  // LSB, MSB; kNothing: any

    static Entries EntriesBefore(const MdidHost_PlayHistory::ParameterData& iData, std::size_t iNumber);
    static bool IsOther(signed char iHas, signed char iWants) { return iWants != kNothing && iHas != iWants; }
    static bool AreOther(const Entries& iHas, const Entries& iWants);
    static bool IsOther(const Settings::Bank& iHas, const Settings::Bank& iWants);

    void SetOpenNumbers(Settings& ioSettings) const;
    void SendBank(int iProgram, const Settings::Bank& iBank);
    bool AreNumbersOther() const;
    void CollectData();
    void AddData(const Parameter& iParameter, const Entries& iEntries);
    void Select(const Parameter& iParameter);
    void SendNumbers(EKind iKind, const Numbers& iNumbers, bool iIsSelection);
    void Send(int iController, signed char iValue);

    const MdidHost_PlayHistory& mHistory;
    std::size_t mFrom;
    std::size_t mTo;
    Settings mHas; // as the instrument is
    Settings mWants;
    signed char mChannel;
    MdidHost_PlayOrder& mOrder;
};

// Data without a number go nowhere: where there are such, a number that has not come yet is made null.
void SettingsMove::SetOpenNumbers(Settings& ioSettings) const
{
    if (!mHistory.IsNullNeeded())
        return;
    const Settings last = mHistory.GetSettings(mHistory.GetCount());
    for (std::size_t i = 0; i < last.mNumbers.size(); ++i)
        if (ioSettings.mNumbers[i] == kNothing && last.mNumbers[i] != kNothing)
            ioSettings.mNumbers[i] = Parameter::kNullNumber;
    if (ioSettings.mSelected != Parameter::kNone)
        return;
    ioSettings.mSelected = Parameter::kRegistered;
    std::fill_n(ioSettings.mNumbers.begin() + FirstOf(Parameter::kRegistered), 2, Parameter::kNullNumber);
}

// The program in the bank in which it was selected, and behind it the bank that waits for the next one.
void SettingsMove::SendProgram()
{
    if (IsOther(mHas.mProgram, mWants.mProgram) ||
        (mWants.mProgram != kNothing && IsOther(mHas.mProgramBank, mWants.mProgramBank)))
        SendBank(mWants.mProgram, mWants.mProgramBank);
    if (IsOther(mHas.mBank, mWants.mBank))
        SendBank(kNoProgram, mWants.mBank);
}

void SettingsMove::SendBank(int iProgram, const Settings::Bank& iBank)
{
    const int msb = iBank.mMSB == kNothing ? 0x8000 : iBank.mMSB << 7;
    const int lsb = iBank.mLSB == kNothing ? 0x4000 : iBank.mLSB;
    mOrder.ReceiveEvent(
        Mdid_ProgramEvent(mChannel, static_cast<signed char>(iProgram), static_cast<std::uint16_t>(msb | lsb)));
    mHas.mBank.mMSB = iBank.mMSB == kNothing ? mHas.mBank.mMSB : iBank.mMSB;
    mHas.mBank.mLSB = iBank.mLSB == kNothing ? mHas.mBank.mLSB : iBank.mLSB;
}

// Data go to the parameter that they are played to; the number selected last is the last one. Numbers and data go
// together: where one of them differs, all numbers are sent.
void SettingsMove::SendParameters()
{
    CollectData();
    if (mOrder.GetData().empty() && !AreNumbersOther())
        return;
    mHas.mSelected = Parameter::kNone;
    mHas.mNumbers.fill(kNothing);
    const auto numbersOf = [this](EKind iKind) {
        return Numbers{mWants.mNumbers[FirstOf(iKind)], mWants.mNumbers[FirstOf(iKind) + 1]};
    };
    const EKind other = mWants.mSelected == Parameter::kRegistered ? Parameter::kNonRegistered : Parameter::kRegistered;
    SendNumbers(other, numbersOf(other), false);
    for (const auto& data : mOrder.GetData())
    {
        Select(data.mParameter);
        Send(data.mController, data.mValue);
    }
    SendNumbers(other, numbersOf(other), false);
    if (mWants.mSelected != Parameter::kNone)
        SendNumbers(mWants.mSelected, numbersOf(mWants.mSelected), true);
}

bool SettingsMove::AreNumbersOther() const
{
    const auto isSame = [](signed char iHas, signed char iWants) { return !IsOther(iHas, iWants); };
    return mWants.mSelected != Parameter::kNone &&
           (mHas.mSelected != mWants.mSelected ||
            !std::equal(mHas.mNumbers.begin(), mHas.mNumbers.end(), mWants.mNumbers.begin(), isSame));
}

bool SettingsMove::IsOther(const Settings::Bank& iHas, const Settings::Bank& iWants)
{
    return IsOther(iHas.mMSB, iWants.mMSB) || IsOther(iHas.mLSB, iWants.mLSB);
}

SettingsMove::Entries SettingsMove::EntriesBefore(const MdidHost_PlayHistory::ParameterData& iData, std::size_t iNumber)
{
    Entries entries{};
    std::ranges::transform(iData, entries.begin(),
                           [iNumber](const std::vector<Entry>& iEntries)
                           {
                               const auto next = std::ranges::lower_bound(iEntries, iNumber, {}, &Entry::mNumber);
                               return next == iEntries.begin() ? nullptr : &*(next - 1);
                           });
    return entries;
}

// Each step leads elsewhere, whatever its value.
bool SettingsMove::AreOther(const Entries& iHas, const Entries& iWants)
{
    const auto isSame = [](const Entry* iHasP, const Entry* iWantsP)
    { return iWantsP == nullptr || (iHasP != nullptr && iHasP->mValue == iWantsP->mValue); };
    return !std::equal(iHas.begin(), iHas.begin() + Settings::kFirstStep, iWants.begin(), isSame) ||
           !std::equal(iHas.begin() + Settings::kFirstStep, iHas.end(), iWants.begin() + Settings::kFirstStep);
}

// Those of parameters that differ. What came last of each controller is also the last that is sent.
void SettingsMove::CollectData()
{
    std::vector<MdidHost_PlayOrder::Data>& data = mOrder.GetData();
    data.clear();
    struct Latest
    {
        const Entry* mEntryP = nullptr;
        const Parameter* mParameterP = nullptr;
    };
    std::array<Latest, Settings::kDataControllers.size()> latest;
    for (const auto& [parameter, all] : mHistory.GetData())
    {
        const Entries wanted = EntriesBefore(all, mTo);
        for (std::size_t i = 0; i < wanted.size(); ++i)
            if (wanted[i] != nullptr &&
                (latest[i].mEntryP == nullptr || latest[i].mEntryP->mNumber < wanted[i]->mNumber))
                latest[i] = {wanted[i], &parameter};
        if (parameter.mKind != Parameter::kNone && AreOther(EntriesBefore(all, mFrom), wanted))
            AddData(parameter, wanted);
    }
    const auto isSame = [](signed char iHas, signed char iWants) { return !IsOther(iHas, iWants); };
    if (data.empty() && std::equal(mHas.mData.begin(), mHas.mData.end(), mWants.mData.begin(), isSame))
        return;
    for (const Latest& i : latest)
        if (i.mEntryP != nullptr &&
            std::ranges::find(data, i.mEntryP->mNumber, &MdidHost_PlayOrder::Data::mNumber) == data.end())
            AddData(*i.mParameterP, EntriesBefore(mHistory.GetData().find(*i.mParameterP)->second, mTo));
    std::ranges::sort(data, {}, &MdidHost_PlayOrder::Data::mNumber);
}

void SettingsMove::AddData(const Parameter& iParameter, const Entries& iEntries)
{
    for (std::size_t i = 0; i < iEntries.size(); ++i)
        if (iEntries[i] != nullptr)
            mOrder.GetData().push_back(
                {iEntries[i]->mNumber, iParameter, Settings::kDataControllers[i], iEntries[i]->mValue});
}

void SettingsMove::Select(const Parameter& iParameter)
{
    if (iParameter.mKind != Parameter::kNone)
        return SendNumbers(iParameter.mKind, iParameter.mNumber, true);
    const bool isNowhere = mHas.mSelected != Parameter::kNone && mHas.GetParameter() == Parameter();
    if (mHistory.IsNullNeeded() && !isNowhere)
        SendNumbers(Parameter::kRegistered, Parameter().mNumber, true);
}

void SettingsMove::SendNumbers(EKind iKind, const Numbers& iNumbers, bool iIsSelection)
{
    const std::size_t first = FirstOf(iKind);
    if (!(iIsSelection && mHas.mSelected != iKind) && !IsOther(mHas.mNumbers[first], iNumbers[0]) &&
        !IsOther(mHas.mNumbers[first + 1], iNumbers[1]))
        return;
    for (std::size_t i = 0; i < iNumbers.size(); ++i)
        if (iNumbers[i] != kNothing)
            Send(Settings::kFirstNumber + static_cast<int>(first + i), iNumbers[i]);
}

void SettingsMove::Send(int iController, signed char iValue)
{
    mOrder.ReceiveEvent(Mdid_ControllerEvent(mChannel, static_cast<signed char>(iController), iValue));
    mHas.Add(iController, iValue);
}

} // namespace

MdidHost_PlayMaps::MdidHost_PlayMaps()
{
    for (int pitch = 0; pitch < 128; ++pitch)
        mMap.AppendEntry(Mdie_SubStream::PolyPressure(pitch), true);
    mMap.DoneAddingChasingEntries();

    // On a member channel other lanes than those of expression may be played, too.
    mMPEMap.Clear();
    for (int i = 0; i < mMap.GetNumIndices(); ++i)
        if (mMap.GetEntryIsReleasing(i))
            mMPEMap.AppendReleasingEntry(mMap.GetEntrySubStream(i), mMap.GetEntryReleaseValue(i), true);
        else
            mMPEMap.AppendEntry(mMap.GetEntrySubStream(i), true);
    mMPEMap.DoneAddingChasingEntries();
}

MdidHost_PlayOrder::MdidHost_PlayOrder(std::size_t iMaxSettings)
{
    constexpr std::size_t kValuesAndReleases = 2;
    constexpr std::size_t kNumChannels = 16;
    mSent.resize(kValuesAndReleases * Mdie_SubStream::GetNumIndices() * kNumChannels + iMaxSettings); // touched, too
    mSent.clear();
    mData.resize(iMaxSettings);
    mData.clear();
}

void MdidHost_PlayOrder::ReceiveEvent(const Mdid_Event& iEvent)
{
    mSent.push_back({PlaceOf(iEvent), mSent.size(), iEvent});
}

const std::vector<MdidHost_PlayOrder::Sent>& MdidHost_PlayOrder::Sort()
{
    std::ranges::sort(mSent, {}, [](const Sent& iSent) { return std::tuple(iSent.mPlace, iSent.mNumber); });
    return mSent;
}

MdidHost_PlayLanes::MdidHost_PlayLanes(const MdidHost_PlayMaps& iMaps, bool iIsMPE)
    : mTracker(&iMaps.GetMap(iIsMPE), iIsMPE ? kNumChannels : 1, false),
      mIsMPE(iIsMPE)
{
}

void MdidHost_PlayLanes::Clear()
{
    mTracker.Clear();
    mCounts.fill(0);
}

// A chunk's queries do not know the lanes of notes by their channels.
void MdidHost_PlayLanes::Chase(const TrackLanes& iLanes, std::int64_t iSample)
{
    Clear();
    mLanesP = &iLanes;
    std::ranges::transform(iLanes.mHistories, mCounts.begin(),
                           [iSample](const MdidHost_PlayHistory& iHistory) { return iHistory.CountBefore(iSample); });
    const LatestCounts latest({iSample - 1, Time_EType::kSample});
    for (const MdidHost_PlaySchedule::ChaseLane& lane : iLanes.mLanes)
    {
        const auto isInForce = [&latest](const auto& iSegment) { return latest.Reach(iSegment.mTime); };
        const auto next = std::ranges::partition_point(*lane.mSegmentsP, isInForce);
        if (next == lane.mSegmentsP->begin())
            continue;
        const auto& segment = *(next - 1);
        const Mdie_SubStream_ValueRange range = lane.mKey.GetValueRange();
        mTracker.SetActiveValueIfLater(lane.mKey, std::clamp(segment.mValue, range.mMinimum, range.mMaximum),
                                       segment.mTime, SlotOf(lane.mChannel));
    }
}

void MdidHost_PlayLanes::Track(const Mdie_SubStream& iKey, int iValue, signed char iChannel)
{
    const int slot = SlotOf(iChannel);
    if (!Settings::IsSetting(iKey.GetDataTypeIndex()))
        return mTracker.TrackValue(iKey, iValue, slot);
    const auto history = static_cast<std::size_t>(slot);
    if (history < GetNumHistories())
        mCounts[history] = std::min(mCounts[history] + 1, mLanesP->mHistories[history].GetCount());
}

void MdidHost_PlayLanes::MoveFrom(MdidHost_PlayLanes& ioFrom, MdidHost_PlayOrder& ioOrder)
{
    SendSettings(ioFrom.mLanesP == mLanesP ? &ioFrom.mCounts : nullptr, ioOrder);
    mTracker.ChaseAndRelease(&ioFrom.mTracker, &ioOrder);
}

void MdidHost_PlayLanes::TakeOver(const MdidHost_PlayLanes& iOther)
{
    Clear();
    mTracker.DoMutedUpdate(&iOther.mTracker);
    mLanesP = iOther.mLanesP;
    mCounts = iOther.mCounts;
}

void MdidHost_PlayLanes::Prepare(MdidHost_PlayOrder& ioOrder)
{
    SendSettings(nullptr, ioOrder);
    mTracker.DoUnMute(&ioOrder);
}

bool MdidHost_PlayLanes::IsAtRest(const Mdid_Event& iEvent) const
{
    const Mdie_SubStream key(iEvent, Mdie_SubStream::kOrdinary);
    return mTracker.IsReleasing(nullptr, key) && !mTracker.IsActive(key, SlotOf(iEvent.GetChannel()));
}

void MdidHost_PlayLanes::SendSettings(const Counts* iFromP, MdidHost_PlayOrder& ioOrder) const
{
    for (std::size_t i = 0; i < GetNumHistories(); ++i)
    {
        if (iFromP != nullptr && (*iFromP)[i] == mCounts[i])
            continue;
        SettingsMove move(mLanesP->mHistories[i], iFromP == nullptr ? std::nullopt : std::optional((*iFromP)[i]),
                          mCounts[i], static_cast<int>(i), ioOrder);
        move.SendProgram();
        move.SendParameters();
    }
}
