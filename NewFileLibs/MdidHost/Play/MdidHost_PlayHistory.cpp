#include "MdidHost/Play/MdidHost_PlayHistory_Private.h"

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_SubStream.h"

#include <algorithm>

namespace
{

constexpr int kProgramLane = 121; // the index of Mdie_SubStream::Program()

} // namespace

bool MdidHost_PlaySettings::IsOfProgram(int iLane)
{
    return iLane == kProgramLane || iLane == Mdi_Controller::kBankLSB;
}

int MdidHost_PlaySettings::PlaceOfData(int iLane)
{
    const auto found = std::ranges::find(kDataControllers, iLane);
    return found == kDataControllers.end() ? -1 : static_cast<int>(found - kDataControllers.begin());
}

void MdidHost_PlaySettings::Add(int iLane, int iValue)
{
    const auto value = static_cast<signed char>(iValue & 0x7F);
    if (iLane == kProgramLane)
        AddProgram(Mdie_SubStream::Program().MakeEvent(iValue).As<Mdid_ProgramEvent>());
    else if (iLane == Mdi_Controller::kBankLSB)
        mBank.mLSB = value;
    else if (IsNumber(iLane))
    {
        mNumbers[static_cast<std::size_t>(iLane - kFirstNumber)] = value;
        mSelected = iLane < Mdi_Controller::kParameterLSB ? Parameter::kNonRegistered : Parameter::kRegistered;
    }
    else if (const int place = PlaceOfData(iLane); place >= 0)
        mData[static_cast<std::size_t>(place)] = value;
}

void MdidHost_PlaySettings::AddProgram(const Mdid_ProgramEvent& iProgram)
{
    if (iProgram.IsMSBBankEnabled())
        mBank.mMSB = static_cast<signed char>(iProgram.GetMSBBank());
    if (iProgram.IsLSBBankEnabled())
        mBank.mLSB = static_cast<signed char>(iProgram.GetLSBBank());
    if (!iProgram.IsProgramEnabled())
        return;
    mProgram = static_cast<signed char>(iProgram.GetProgram());
    mProgramBank = mBank;
}

MdidHost_PlayParameter MdidHost_PlaySettings::GetParameter() const
{
    const std::size_t first = mSelected == Parameter::kRegistered ? 2 : 0;
    const auto half = [](signed char iNumber) { return iNumber == kNothing ? Parameter::kNullNumber : iNumber; };
    const Parameter parameter{mSelected, {half(mNumbers[first]), half(mNumbers[first + 1])}};
    return mSelected == Parameter::kNone || parameter.mNumber == Parameter().mNumber ? Parameter() : parameter;
}

void MdidHost_PlayHistory::Add(std::int64_t iSample, int iLane, int iValue)
{
    const std::size_t number = mValues.size();
    Settings settings = GetSettings(number);
    settings.Add(iLane, iValue);
    mValues.push_back({iSample, settings});
    mHasNumbers = mHasNumbers || Settings::IsNumber(iLane);
    if (const int place = Settings::PlaceOfData(iLane); place >= 0)
    {
        const Parameter parameter = settings.GetParameter();
        mData[parameter][static_cast<std::size_t>(place)].push_back({number, static_cast<signed char>(iValue)});
        mHasLooseData = mHasLooseData || std::ranges::count(parameter.mNumber, Parameter::kNullNumber) > 0;
    }
}

std::size_t MdidHost_PlayHistory::CountBefore(std::int64_t iSample) const
{
    const auto found = std::ranges::lower_bound(mValues, iSample, {}, &Value::mSample);
    return static_cast<std::size_t>(found - mValues.begin());
}

// Each data entry behind its parameter's number; then bank and program, and the numbers before and behind the data.
std::size_t MdidHost_PlayHistory::GetMaxEvents() const
{
    constexpr std::size_t kEventsOfEntry = 3;
    constexpr std::size_t kOtherEvents = 10;
    return mData.size() * Settings::kDataControllers.size() * kEventsOfEntry + kOtherEvents;
}
