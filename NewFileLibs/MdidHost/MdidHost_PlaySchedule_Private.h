#pragma once

#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_ContinuousDataStreamCore.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdie_Filter.h"
#include "MdidHost/MdidHost_NoteLaneTimes_Private.h"
#include "MdidHost/MdidHost_Session.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

// Something that is played: a note or an event where the session has it, or a value of a lane.
struct MdidHost_PlayItem
{
    enum EKind : unsigned char
    {
        kNote,
        kEvent,
        kLane
    };

    std::int64_t mSample = 0;
    Time_Typed mTime;
    const Mdie_TimedEvent* mSourceP = nullptr; // null for a value; of a note, an Mdid_NoteListBase::Note
    std::int32_t mValue = 0;
    std::int32_t mTrack = 0;
    std::int16_t mPriority = 0;
    EKind mKind = kLane;
    unsigned char mLane = 0; // by Mdie_SubStream::GetDataTypeIndex
    signed char mChannel = 0;
};

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

// Everything that a session plays, in the order in which it is played, and what there is to chase. Reads the session,
// which must outlive it, in the current context of time.
class MdidHost_PlaySchedule
{
public:
    using Item = MdidHost_PlayItem;
    using Note = Mdid_NoteListBase::Note;
    using Segment = Mdid_ContinuousDataStreamCore::Segment;
    using Segments = std::vector<Segment>;

    // A lane that is played on a channel. Of several for one lane and channel the later value is in force, and at equal
    // times that of the later one.
    struct ChaseLane
    {
        Mdie_SubStream mKey;
        signed char mChannel;
        const Segments* mSegmentsP; // values may be beyond the range of the lane
    };

    // What there is to chase of a track.
    struct TrackLanes
    {
        std::vector<ChaseLane> mLanes;                // other than those of settings
        std::vector<MdidHost_PlayHistory> mHistories; // of settings: by channel in MPE tracks, otherwise one
    };

    MdidHost_PlaySchedule(const MdidHost_Session& iSession, const Mdie_Filter& iFilter);
    MdidHost_PlaySchedule(const MdidHost_PlaySchedule&) = delete;
    MdidHost_PlaySchedule& operator=(const MdidHost_PlaySchedule&) = delete;

    const std::vector<Item>& GetItems() const { return mItems; }
    const Item* FindFirst(std::int64_t iSample) const; // not before the sample; behind the last, when there is none
    const TrackLanes& GetChaseLanes(std::size_t iTrack) const { return mChaseLanes[iTrack]; }
    std::size_t GetMaxSettings() const; // events that make all settings of a track
    const Mdie_SubStream& GetKey(int iLane) const { return mKeys[static_cast<std::size_t>(iLane)]; }

    std::size_t GetMaxNotes() const { return mMaxNotes; } // that sound at one sample
    std::int64_t GetEnd() const { return mEnd; }          // the first sample behind everything

    // As it is played: on its channel, with what the filter makes of its velocities. None for a note that is not heard.
    std::optional<Mdid_NoteWithDurationEvent> MakeNote(std::size_t iTrack, const Note& iNote) const;

    static std::int64_t SampleOf(Time_Typed iTime);

private:
    using OwnLaneKey = std::tuple<std::size_t, int, int>; // track, lane, channel

    std::optional<signed char> FindChannel(std::size_t iTrack, signed char iEventChannel) const;
    Item& Add(std::size_t iTrack, Time_Typed iTime, const Mdid_Event& iEvent, Item::EKind iKind);
    void AddTrack(std::size_t iTrack);
    void AddLane(std::size_t iTrack, const Mdid_ContinuousDataStreamCore& iLane);
    void AddValue(std::size_t iTrack, Time_Typed iTime, const Mdie_SubStream& iKey, int iValue, signed char iChannel);
    void AddStreamEvent(std::size_t iTrack, const Mdie_TimedEvent& iEvent);
    void AddNote(std::size_t iTrack, const Note& iNote);
    void AddNoteLane(std::size_t iTrack, const MdidHost_NoteLaneTimes& iTimes, signed char iChannel,
                     const Mdid_ContinuousDataStreamCore& iLane);
    void AddOwnLanes();
    void AddHistories();
    void CountNotes();

    const MdidHost_Session& mSession;
    Mdie_Filter mFilter;
    std::vector<Mdie_SubStream> mKeys; // of all lanes
    std::vector<Item> mItems;
    std::vector<TrackLanes> mChaseLanes;      // by track
    std::map<OwnLaneKey, Segments> mOwnLanes; // of notes
    std::vector<std::int64_t> mStarts;        // of notes, until they are counted
    std::vector<std::int64_t> mEnds;          // behind their last samples
    std::size_t mMaxNotes = 0;
    std::int64_t mEnd = 0;
};
