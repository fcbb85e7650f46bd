#pragma once

#include "Mdid/Mdi_Controller.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

class Mdid_ProgramEvent;

// What data entry goes to. Without a kind: nowhere, as before the first number, and with the null number.
struct MdidHost_PlayParameter
{
    enum EKind : signed char
    {
        kNone,
        kNonRegistered, // controllers 98, 99
        kRegistered     // controllers 100, 101
    };
    static constexpr signed char kNullNumber = 127; // also of a half that has not come

    EKind mKind = kNone;
    std::array<signed char, 2> mNumber = {kNullNumber, kNullNumber}; // LSB, MSB

    auto operator<=>(const MdidHost_PlayParameter&) const = default;
};

// What the values that mean something together have set on a channel so far: program and bank, parameter numbers and
// their data.
struct MdidHost_PlaySettings
{
    using Parameter = MdidHost_PlayParameter;

    struct Bank
    {
        signed char mMSB = kNothing;
        signed char mLSB = kNothing;
        bool operator==(const Bank&) const = default;
    };

    static constexpr signed char kNothing = -1; // has come
    static constexpr int kFirstNumber = Mdi_Controller::kOtherParameterLSB;
    static constexpr std::array<int, 4> kDataControllers = {
        Mdi_Controller::kDataEntryMSB, Mdi_Controller::kDataEntryLSB, Mdi_Controller::kDataIncrement,
        Mdi_Controller::kDataDecrement};
    static constexpr std::size_t kFirstStep = 2; // of these: up or down from the data

    // iLane: by Mdie_SubStream::GetDataTypeIndex, which a controller's number is, too.
    static bool IsSetting(int iLane) { return IsOfProgram(iLane) || IsNumber(iLane) || PlaceOfData(iLane) >= 0; }
    static bool IsOfProgram(int iLane); // it or its bank
    static bool IsNumber(int iLane) { return iLane >= kFirstNumber && iLane <= Mdi_Controller::kParameterMSB; }
    static int PlaceOfData(int iLane); // among the data controllers; of another lane -1

    void Add(int iLane, int iValue);
    void AddProgram(const Mdid_ProgramEvent& iProgram);
    Parameter GetParameter() const; // that data go to

    signed char mProgram = kNothing;
    Bank mProgramBank; // in force when the program came
    Bank mBank;        // for the next program
    Parameter::EKind mSelected = Parameter::kNone;
    std::array<signed char, 4> mNumbers = {kNothing, kNothing, kNothing, kNothing};
    std::array<signed char, 4> mData = {kNothing, kNothing, kNothing, kNothing}; // for whatever parameter
};

// The settings of a channel after each value of theirs that is played.
class MdidHost_PlayHistory
{
public:
    using Parameter = MdidHost_PlayParameter;
    using Settings = MdidHost_PlaySettings;

    struct DataEntry
    {
        std::size_t mNumber; // of values before it
        signed char mValue;
    };
    using ParameterData = std::array<std::vector<DataEntry>, Settings::kDataControllers.size()>; // ascending

    void Add(std::int64_t iSample, int iLane, int iValue); // in the order of play

    std::size_t GetCount() const { return mValues.size(); }
    std::size_t CountBefore(std::int64_t iSample) const;
    Settings GetSettings(std::size_t iCount) const { return iCount == 0 ? Settings() : mValues[iCount - 1].mSettings; }
    const std::map<Parameter, ParameterData>& GetData() const { return mData; }

    // Whether there are data that a number left over from elsewhere would turn to a parameter that they are not for.
    bool IsNullNeeded() const { return mHasNumbers && mHasLooseData; }

    std::size_t GetMaxEvents() const; // that make all settings

private:
    struct Value
    {
        std::int64_t mSample;
        Settings mSettings;
    };

    std::vector<Value> mValues;
    std::map<Parameter, ParameterData> mData;
    bool mHasNumbers = false;
    bool mHasLooseData = false;
};
