#include "MdidHost/Play/MdidHost_PlaySettingsMove_Private.h"

#include "Mdid/Mdid_EventTypes.h"

#include <algorithm>

namespace
{

constexpr signed char kNothing = MdidHost_PlaySettings::kNothing;
constexpr int kNoProgram = 0x80;

std::size_t FirstOf(MdidHost_PlayParameter::EKind iKind)
{
    return iKind == MdidHost_PlayParameter::kRegistered ? 2 : 0;
}

} // namespace

MdidHost_PlaySettingsMove::MdidHost_PlaySettingsMove(const MdidHost_PlayHistory& iHistory,
                                                     std::optional<std::size_t> iFrom, std::size_t iTo, int iChannel,
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

// Data without a number go nowhere: where there are such, a number that has not come yet is made null.
void MdidHost_PlaySettingsMove::SetOpenNumbers(Settings& ioSettings) const
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
void MdidHost_PlaySettingsMove::SendProgram()
{
    if (IsOther(mHas.mProgram, mWants.mProgram) ||
        (mWants.mProgram != kNothing && IsOther(mHas.mProgramBank, mWants.mProgramBank)))
        SendBank(mWants.mProgram, mWants.mProgramBank);
    if (IsOther(mHas.mBank, mWants.mBank))
        SendBank(kNoProgram, mWants.mBank);
}

void MdidHost_PlaySettingsMove::SendBank(int iProgram, const Settings::Bank& iBank)
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
void MdidHost_PlaySettingsMove::SendParameters()
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

bool MdidHost_PlaySettingsMove::AreNumbersOther() const
{
    const auto isSame = [](signed char iHas, signed char iWants) { return !IsOther(iHas, iWants); };
    return mWants.mSelected != Parameter::kNone &&
           (mHas.mSelected != mWants.mSelected ||
            !std::equal(mHas.mNumbers.begin(), mHas.mNumbers.end(), mWants.mNumbers.begin(), isSame));
}

bool MdidHost_PlaySettingsMove::IsOther(const Settings::Bank& iHas, const Settings::Bank& iWants)
{
    return IsOther(iHas.mMSB, iWants.mMSB) || IsOther(iHas.mLSB, iWants.mLSB);
}

MdidHost_PlaySettingsMove::Entries
MdidHost_PlaySettingsMove::EntriesBefore(const MdidHost_PlayHistory::ParameterData& iData, std::size_t iNumber)
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

// Each step leads elsewhere, whatever its value, and data before it to elsewhere than data behind it.
bool MdidHost_PlaySettingsMove::AreOther(const Entries& iHas, const Entries& iWants)
{
    const auto hasStep = [](const Entries& iEntries)
    { return std::any_of(iEntries.begin() + Settings::kFirstStep, iEntries.end(), [](const Entry* i) { return i; }); };
    const auto isSame = [](const Entry* iHasP, const Entry* iWantsP)
    { return iWantsP == nullptr || (iHasP != nullptr && iHasP->mValue == iWantsP->mValue); };
    return hasStep(iHas) || hasStep(iWants) ? iHas != iWants
                                            : !std::equal(iHas.begin(), iHas.end(), iWants.begin(), isSame);
}

// Those of parameters that differ, and with them what has to be sent last.
void MdidHost_PlaySettingsMove::CollectData()
{
    mOrder.GetData().clear();
    LatestEntries latest;
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
    while (AddLatestData(latest))
        continue;
    std::ranges::sort(mOrder.GetData(), {}, &MdidHost_PlayOrder::Data::mNumber);
}

// What came last of a controller that is sent is also the last that is sent of it. With it come the other data of its
// parameter: false when there is nothing more.
bool MdidHost_PlaySettingsMove::AddLatestData(const LatestEntries& iLatest)
{
    using Data = MdidHost_PlayOrder::Data;
    const std::vector<Data>& data = mOrder.GetData();
    for (std::size_t i = 0; i < iLatest.size(); ++i)
    {
        const auto [entryP, parameterP] = iLatest[i];
        const bool isSent = IsOther(mHas.mData[i], mWants.mData[i]) ||
                            std::ranges::find(data, Settings::kDataControllers[i], &Data::mController) != data.end();
        if (entryP == nullptr || !isSent || std::ranges::find(data, entryP->mNumber, &Data::mNumber) != data.end())
            continue;
        AddData(*parameterP, EntriesBefore(mHistory.GetData().find(*parameterP)->second, mTo));
        return true;
    }
    return false;
}

void MdidHost_PlaySettingsMove::AddData(const Parameter& iParameter, const Entries& iEntries)
{
    for (std::size_t i = 0; i < iEntries.size(); ++i)
        if (iEntries[i] != nullptr)
            mOrder.GetData().push_back(
                {iEntries[i]->mNumber, iParameter, Settings::kDataControllers[i], iEntries[i]->mValue});
}

void MdidHost_PlaySettingsMove::Select(const Parameter& iParameter)
{
    if (iParameter.mKind != Parameter::kNone)
        return SendNumbers(iParameter.mKind, iParameter.mNumber, true);
    const bool isNowhere = mHas.mSelected != Parameter::kNone && mHas.GetParameter() == Parameter();
    if (mHistory.IsNullNeeded() && !isNowhere)
        SendNumbers(Parameter::kRegistered, Parameter().mNumber, true);
}

void MdidHost_PlaySettingsMove::SendNumbers(EKind iKind, const Numbers& iNumbers, bool iIsSelection)
{
    const std::size_t first = FirstOf(iKind);
    if (!(iIsSelection && mHas.mSelected != iKind) && !IsOther(mHas.mNumbers[first], iNumbers[0]) &&
        !IsOther(mHas.mNumbers[first + 1], iNumbers[1]))
        return;
    for (std::size_t i = 0; i < iNumbers.size(); ++i)
        if (iNumbers[i] != kNothing)
            Send(Settings::kFirstNumber + static_cast<int>(first + i), iNumbers[i]);
}

void MdidHost_PlaySettingsMove::Send(int iController, signed char iValue)
{
    mOrder.ReceiveEvent(Mdid_ControllerEvent(mChannel, static_cast<signed char>(iController), iValue));
    mHas.Add(iController, iValue);
}
