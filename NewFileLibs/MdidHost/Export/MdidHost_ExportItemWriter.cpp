#include "MdidHost/Export/MdidHost_ExportItemWriter_Private.h"

#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdi_Status.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Mdid/Mdie_SubStream.h"

#include <algorithm>
#include <span>

namespace
{

using Item = MdidHost_ExportItem;

constexpr std::size_t kNumPitches = 128;
constexpr std::size_t kNumLanes = 250;
constexpr int kUnknown = -1;

int ValueOf(const std::array<unsigned char, 2>& iData)
{
    return iData[0] << 7 | iData[1];
}

// What the notes of a member channel set, and how they find it when nobody has.
struct Expression
{
    std::size_t mLane;
    unsigned char mStatus;
    std::array<unsigned char, 2> mData;
};
constexpr std::array<Expression, 3> kExpressions = {{
    {0, Mdi_Status::kPitchBend, {0, 64}},
    {Mdi_Controller::kTimbre, Mdi_Status::kController, {Mdi_Controller::kTimbre, 64}},
    {120, Mdi_Status::kMonoPressure, {0, 0}},
}};

} // namespace

MdidHost_ExportItemWriter::MdidHost_ExportItemWriter(MdidHost_ExportTrackWriter& ioWriter,
                                                     const std::vector<std::string>& iMetaData)
    : mWriter(ioWriter),
      mMetaData(iMetaData),
      mPitchEnds(16 * kNumPitches, 0)
{
}

void MdidHost_ExportItemWriter::Write(const Item& iItem)
{
    switch (iItem.mKind)
    {
    case Item::kMeta:
    {
        const std::string& data = mMetaData[static_cast<std::size_t>(iItem.mNumber)];
        mWriter.AddMeta(iItem.GetTick(), iItem.mStatus,
                        {reinterpret_cast<const unsigned char*>(data.data()), data.size()});
        break;
    }
    case Item::kMessage:
        SetLane(iItem);
        WriteMessage(iItem);
        break;
    case Item::kProgram:
        WriteProgram(iItem);
        break;
    case Item::kSysex:
        WriteSysex(iItem);
        break;
    case Item::kMemberNoteOn:
        ResetLanes(iItem);
        [[fallthrough]];
    case Item::kNoteOn:
        WriteNoteOn(iItem);
        break;
    case Item::kNoteLane:
    case Item::kNoteLaneStart:
        WriteNoteLane(iItem);
        break;
    }
}

void MdidHost_ExportItemWriter::WriteMessage(const Item& iItem)
{
    const int kind = iItem.mStatus & 0xF0;
    const std::size_t count = kind == Mdi_Status::kProgram || kind == Mdi_Status::kMonoPressure ? 1 : 2;
    mWriter.AddMessage(iItem.GetTick(), iItem.mStatus, std::span(iItem.mData).first(count));
}

void MdidHost_ExportItemWriter::WriteController(const Item& iItem, unsigned char iController, int iValue)
{
    const std::array<unsigned char, 2> data = {iController, static_cast<unsigned char>(iValue)};
    mWriter.AddMessage(iItem.GetTick(), static_cast<unsigned char>(Mdi_Status::kController | iItem.GetChannel()), data);
}

// When one part of the bank changes both are said: a device may take the one for the beginning of a new bank.
void MdidHost_ExportItemWriter::WriteProgram(const Item& iItem)
{
    Mdid_ProgramEvent program;
    program.SetFullBank(static_cast<std::uint16_t>(iItem.mNumber));
    Bank& bank = mBanks[iItem.GetChannel()];
    const bool isMSBNew = program.IsMSBBankEnabled() && program.GetMSBBank() != bank.mMSB;
    const bool isLSBNew = program.IsLSBBankEnabled() && program.GetLSBBank() != bank.mLSB;
    if (program.IsMSBBankEnabled() && (isMSBNew || isLSBNew))
        WriteController(iItem, Mdi_Controller::kBankMSB, bank.mMSB = program.GetMSBBank());
    if (program.IsLSBBankEnabled() && (isMSBNew || isLSBNew))
        WriteController(iItem, Mdi_Controller::kBankLSB, bank.mLSB = program.GetLSBBank());
    const bool isProgramEnabled = iItem.mData[0] < 0x80;
    if (isProgramEnabled)
        WriteMessage(iItem);
}

void MdidHost_ExportItemWriter::WriteSysex(const Item& iItem)
{
    const Mdid_SysexEvent& sysex = iItem.mSysexP->AsSysex();
    std::vector<unsigned char> body(static_cast<std::size_t>(sysex.GetLength()));
    if (!body.empty())
        sysex.GetData(body.data(), 0, sysex.GetLength() - 1);
    mWriter.AddSysex(iItem.GetTick(), body);
}

void MdidHost_ExportItemWriter::WriteNoteOn(const Item& iItem)
{
    std::int64_t& pitchEnd = mPitchEnds[iItem.GetChannel() * kNumPitches + iItem.mData[0]];
    mNumNestedNotes += pitchEnd > iItem.mNumber;
    pitchEnd = std::max(pitchEnd, iItem.mNumber);
    std::int64_t& channelEnd = mChannelEnds[iItem.GetChannel()];
    channelEnd = std::max(channelEnd, iItem.mNumber);
    WriteMessage(iItem);
}

MdidHost_ExportItemWriter::Lane& MdidHost_ExportItemWriter::LaneOf(std::size_t iChannel, std::size_t iLane)
{
    if (mLanes.empty())
    {
        mLanes.assign(16 * kNumLanes, Lane{kUnknown, kUnknown, -1, false});
        for (std::size_t channel = 0; channel < 16; ++channel)
            for (const Expression& expression : kExpressions)
                mLanes[channel * kNumLanes + expression.mLane].mBase = ValueOf(expression.mData);
    }
    return mLanes[iChannel * kNumLanes + iLane];
}

// A value that the channel holds already is not repeated within one tick, nor for a note that joins others. Where a
// note begins alone it is: instruments send what a note begins with, even when nothing has changed.
void MdidHost_ExportItemWriter::WriteNoteLane(const Item& iItem)
{
    Lane& lane = LaneOf(iItem.GetChannel(), iItem.mLane);
    const bool isHeld = lane.mHeld == ValueOf(iItem.mData);
    const bool isJoining = iItem.mKind == Item::kNoteLaneStart && IsSounding(iItem);
    const bool isRepeated = isHeld && (isJoining || lane.mTick == iItem.GetTick());
    lane = {ValueOf(iItem.mData), lane.mBase, iItem.GetTick(), true};
    if (!isRepeated)
        WriteMessage(iItem);
}

// A note that begins alone on its channel does not take over what notes before it have left there.
void MdidHost_ExportItemWriter::ResetLanes(const Item& iNoteOn)
{
    if (mLanes.empty() || IsSounding(iNoteOn))
        return;
    for (const Expression& expression : kExpressions)
    {
        Lane& lane = LaneOf(iNoteOn.GetChannel(), expression.mLane);
        if (!lane.mIsSetByNote || lane.mHeld == lane.mBase || lane.mTick == iNoteOn.GetTick())
            continue;
        Item reset = iNoteOn;
        reset.mStatus = static_cast<unsigned char>(expression.mStatus | iNoteOn.GetChannel());
        reset.mData = {static_cast<unsigned char>(lane.mBase >> 7), static_cast<unsigned char>(lane.mBase & 0x7F)};
        WriteMessage(reset);
        lane = {lane.mBase, lane.mBase, iNoteOn.GetTick(), false};
    }
}

void MdidHost_ExportItemWriter::SetLane(const Item& iItem)
{
    if (iItem.mLane == Item::kNoLane)
        return;
    const int value = ValueOf(iItem.mData);
    LaneOf(iItem.GetChannel(), iItem.mLane) = {value, value, iItem.GetTick(), false};
}
