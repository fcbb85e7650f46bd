#pragma once

#include "MdidHost/Play/MdidHost_PlayHistory_Private.h"
#include "MdidHost/Play/MdidHost_PlayOrder_Private.h"

#include <array>
#include <cstddef>
#include <optional>

// Brings the settings of an instrument from those of one count of a history to those of another.
class MdidHost_PlaySettingsMove
{
public:
    // Without iFrom the instrument may have any settings.
    MdidHost_PlaySettingsMove(const MdidHost_PlayHistory& iHistory, std::optional<std::size_t> iFrom, std::size_t iTo,
                              int iChannel, MdidHost_PlayOrder& ioOrder);

    void SendProgram();
    void SendParameters();

private:
    using Parameter = MdidHost_PlayParameter;
    using EKind = Parameter::EKind;
    using Settings = MdidHost_PlaySettings;
    using Entry = MdidHost_PlayHistory::DataEntry;
    using Entries = std::array<const Entry*, Settings::kDataControllers.size()>; // null: none
    using Numbers = std::array<signed char, 2>;                                  // LSB, MSB; kNothing: any

    struct Latest
    {
        const Entry* mEntryP = nullptr;
        const Parameter* mParameterP = nullptr;
    };
    using LatestEntries = std::array<Latest, Settings::kDataControllers.size()>;

    static Entries EntriesBefore(const MdidHost_PlayHistory::ParameterData& iData, std::size_t iNumber);
    static bool IsOther(signed char iHas, signed char iWants) { return iWants != Settings::kNothing && iHas != iWants; }
    static bool AreOther(const Entries& iHas, const Entries& iWants);
    static bool IsOther(const Settings::Bank& iHas, const Settings::Bank& iWants);

    void SetOpenNumbers(Settings& ioSettings) const;
    void SendBank(int iProgram, const Settings::Bank& iBank);
    bool AreNumbersOther() const;
    void CollectData();
    bool AddLatestData(const LatestEntries& iLatest);
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
