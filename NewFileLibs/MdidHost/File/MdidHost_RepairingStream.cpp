#include "MdidHost/File/MdidHost_RepairingStream.h"

#include "Mdid/Mdi_Meta.h"
#include "Mdid/Mdi_Status.h"
#include "Mdid/Mdid_Messages.h"
#include "MdidHost/File/MdidHost_FileScan_Private.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <utility>

namespace
{

using Bytes = Cmn_InStream::Bytes;
using ByteVector = std::vector<unsigned char>;
using Track = MdidHost_FileScan::Track;

constexpr std::int64_t kChunkHeaderLength = 8;
constexpr std::int64_t kMaxDelta = MdidHost_VariableLength::kMaxValue;

void AppendBigEndian(ByteVector& ioBytes, std::int64_t iValue, int iNumBytes)
{
    while (iNumBytes-- > 0)
        ioBytes.push_back(static_cast<unsigned char>(iValue >> (8 * iNumBytes)));
}

void AppendText(ByteVector& ioBytes, std::string_view iText)
{
    std::ranges::copy(iText, std::back_inserter(ioBytes));
}

// Lays out the events of a track, or only measures them.
class TrackWriter
{
public:
    // ioBytesP may be null.
    TrackWriter(MdidHost_FileBytes& ioFile, ByteVector* ioBytesP) : mFile(ioFile), mBytesP(ioBytesP) {}

    void Write(const MdidHost_TrackEvent& iEvent)
    {
        Begin(iEvent.mTime, iEvent.mStatus, iEvent.mType);
        if (!iEvent.IsChannelMessage())
            WriteVariableLength(iEvent.mLength);
        if (iEvent.mIsInFile)
            WriteFromFile(iEvent.mPayload, iEvent.mLength);
        else
            WriteBytes(Bytes(iEvent.mData.mBytes).first(static_cast<std::size_t>(iEvent.mLength)));
    }

    void Write(const MdidHost_FileScan::MapEvent& iEvent)
    {
        Begin(iEvent.mTime, Mdi_Status::kMeta, iEvent.mType);
        WriteVariableLength(iEvent.mLength);
        if (iEvent.mType == Mdi_Meta::kMarker)
            return WriteFromFile(iEvent.mPayload, iEvent.mLength);
        ByteVector content;
        AppendBigEndian(content, static_cast<std::int64_t>(iEvent.mContent), static_cast<int>(iEvent.mLength));
        WriteBytes(content);
    }

    // What does not fit into a chunk's length is left out; there is always room for the end of track.
    bool HasRoomFor(std::int64_t iLength) const { return mLength + iLength <= kMaxLength; }

    std::int64_t GetLength() const { return mLength; }

private:
    static constexpr std::int64_t kRoomForEnd = 1024;
    static constexpr std::int64_t kMaxLength = MdidHost_TrackScanner::kMaxLength - kRoomForEnd;

    void Begin(std::int64_t iTime, unsigned char iStatus, unsigned char iType)
    {
        // Times that dropped events leave behind may be longer than a delta time: empty escapes mean nothing.
        for (; iTime - mTime > kMaxDelta; mTime += kMaxDelta)
        {
            WriteVariableLength(kMaxDelta);
            WriteBytes(std::to_array<unsigned char>({Mdi_Status::kSysexEnd, 0}));
        }
        WriteVariableLength(iTime - mTime);
        mTime = iTime;
        WriteBytes(Bytes(std::array{iStatus, iType}).first(iStatus == Mdi_Status::kMeta ? 2 : 1));
    }

    void WriteVariableLength(std::int64_t iValue)
    {
        std::array<unsigned char, MdidHost_VariableLength::kMaxBytes> bytes;
        std::size_t start = bytes.size() - 1;
        bytes[start] = static_cast<unsigned char>(iValue & 0x7F);
        while ((iValue >>= 7) > 0 && start > 0)
            bytes[--start] = static_cast<unsigned char>(0x80 | (iValue & 0x7F));
        WriteBytes(Bytes(bytes).subspan(start));
    }

    void WriteBytes(Bytes iBytes)
    {
        mLength += std::ssize(iBytes);
        if (mBytesP != nullptr)
            mBytesP->insert(mBytesP->end(), iBytes.begin(), iBytes.end());
    }

    void WriteFromFile(std::int64_t iOffset, std::int64_t iLength)
    {
        mLength += iLength;
        if (mBytesP != nullptr)
            mFile.Append(*mBytesP, iOffset, iLength);
    }

    MdidHost_FileBytes& mFile;
    ByteVector* const mBytesP;
    std::int64_t mTime = 0;
    std::int64_t mLength = 0;
};

} // namespace

// Where everything lies in the stream: a header and tracks, each either as it is in the file or made anew.
class MdidHost_RepairingStream::Layout
{
public:
    Layout(std::unique_ptr<Cmn_InStream> iFileP, Mode iMode);

    std::int64_t GetLength() const { return mPieces.back().mEnd; }
    Bytes BytesAt(std::int64_t iPosition);

    std::vector<MdidHost_Finding> mFindings;
    MdidHost_Grade mGrade = MdidHost_Grade::kComplete;
    Losses mLosses;
    MPEZones mZones;
    std::optional<std::int64_t> mEndOfFirstTrack;

private:
    static constexpr int kNone = -2;
    static constexpr int kHeader = -1;

    struct Piece
    {
        std::int64_t mEnd = 0;    // in the stream; it begins where the one before ends
        std::int64_t mInFile = 0; // where a copy begins
        bool mIsCopy = true;
        int mTrack = kHeader;
    };

    void Add(std::int64_t iLength, std::int64_t iInFile, bool iIsCopy, int iTrack);
    void AddHeader();
    void AddTrack(std::size_t iIndex);
    void Make(int iTrack);
    void MakeHeader();
    // Returns the length.
    std::int64_t WriteTrack(std::size_t iIndex, ByteVector* ioBytesP, bool& oIsWhole);

    std::unique_ptr<Cmn_InStream> mFileP;
    MdidHost_FileScan mScan;
    std::vector<Piece> mPieces;
    ByteVector mMade;
    int mMadeTrack = kNone; // what mMade holds
};

MdidHost_RepairingStream::Layout::Layout(std::unique_ptr<Cmn_InStream> iFileP, Mode iMode)
    : mFileP(std::move(iFileP)),
      mScan(*mFileP, iMode)
{
    mLosses = mScan.GetCensus().GetLosses();
    mZones = mScan.GetCensus().GetZones();
    if (iMode == Mode::kStrict)
    {
        mScan.GetBytes().SetEnd(mFileP->GetLength());
        Add(mFileP->GetLength(), 0, true, kHeader);
        return;
    }
    if (!mScan.HasMidi())
        Mdid_ThrowMessage(102); // "bad header type encountered"
    AddHeader();
    for (std::size_t i = 0; i < mScan.GetTracks().size(); ++i)
        AddTrack(i);
    mFindings = mScan.GetFindings().GetSorted();
    mGrade = mScan.GetFindings().GetGrade();
}

void MdidHost_RepairingStream::Layout::Add(std::int64_t iLength, std::int64_t iInFile, bool iIsCopy, int iTrack)
{
    const std::int64_t start = mPieces.empty() ? 0 : mPieces.back().mEnd;
    mPieces.push_back({start + iLength, iInFile, iIsCopy, iTrack});
}

void MdidHost_RepairingStream::Layout::AddHeader()
{
    const MdidHost_FileScan::Header& header = mScan.GetHeader();
    if (header.mIsSound)
        return Add(header.mEnd - header.mOffset, header.mOffset, true, kHeader);
    MakeHeader();
    Add(std::ssize(mMade), 0, false, kHeader);
}

void MdidHost_RepairingStream::Layout::AddTrack(std::size_t iIndex)
{
    const Track& track = mScan.GetTracks()[iIndex];
    if (track.mMayCopy && (iIndex > 0 || mScan.GetLifted().empty()))
        return Add(track.mEnd - track.mHeader, track.mHeader, true, static_cast<int>(iIndex));
    bool isWhole = true;
    const std::int64_t length = WriteTrack(iIndex, nullptr, isWhole);
    if (!isWhole)
        mScan.AddFinding(iIndex, track.mHeader, "more events than a track can hold: the rest is dropped");
    Add(kChunkHeaderLength + length, 0, false, static_cast<int>(iIndex));
}

Bytes MdidHost_RepairingStream::Layout::BytesAt(std::int64_t iPosition)
{
    const auto piece = std::ranges::upper_bound(mPieces, iPosition, {}, &Piece::mEnd);
    const std::int64_t start = piece == mPieces.begin() ? 0 : std::prev(piece)->mEnd;
    const std::int64_t offset = iPosition - start;
    if (piece->mIsCopy)
    {
        const Bytes window = mScan.GetBytes().WindowAt(piece->mInFile + offset);
        return window.first(std::min(window.size(), static_cast<std::size_t>(piece->mEnd - iPosition)));
    }
    if (mMadeTrack != piece->mTrack)
        Make(piece->mTrack);
    return Bytes(mMade).subspan(std::min(static_cast<std::size_t>(offset), mMade.size()));
}

void MdidHost_RepairingStream::Layout::Make(int iTrack)
{
    mMadeTrack = kNone;
    mMade = {};
    if (iTrack == kHeader)
        MakeHeader();
    else
    {
        AppendText(mMade, "MTrk");
        AppendBigEndian(mMade, 0, 4);
        bool isWhole = true;
        const std::int64_t length = WriteTrack(static_cast<std::size_t>(iTrack), &mMade, isWhole);
        for (std::size_t i = 4; i < 8; ++i)
            mMade[i] = static_cast<unsigned char>(length >> (8 * (7 - i)));
    }
    mMadeTrack = iTrack;
}

void MdidHost_RepairingStream::Layout::MakeHeader()
{
    mMade = {};
    AppendText(mMade, "MThd");
    AppendBigEndian(mMade, 6, 4);
    AppendBigEndian(mMade, mScan.GetHeader().mFormat, 2);
    AppendBigEndian(mMade, std::ssize(mScan.GetTracks()), 2);
    AppendBigEndian(mMade, mScan.GetHeader().mDivision, 2);
    mMadeTrack = kHeader;
}

// What was lifted goes into the first track, behind what that has at the same time, but before its end.
std::int64_t MdidHost_RepairingStream::Layout::WriteTrack(std::size_t iIndex, ByteVector* ioBytesP, bool& oIsWhole)
{
    std::span<const MdidHost_FileScan::MapEvent> lifted;
    if (iIndex == 0)
        lifted = mScan.GetLifted();
    TrackWriter writer(mScan.GetBytes(), ioBytesP);
    const auto write = [&](const auto& iEvent)
    {
        static constexpr std::int64_t kMaxHead = 64;
        const bool hasRoom = writer.HasRoomFor(iEvent.mLength + kMaxHead);
        oIsWhole = oIsWhole && hasRoom;
        if (hasRoom)
            writer.Write(iEvent);
    };
    MdidHost_TrackScanner scanner = mScan.MakeScanner(mScan.GetTracks()[iIndex]);
    for (MdidHost_TrackEvent event; scanner.Next(event);)
    {
        if (event.IsEndOfTrack() && !lifted.empty() && lifted.back().mTime > event.mTime)
        {
            mEndOfFirstTrack = event.mTime;
            event.mTime = lifted.back().mTime;
        }
        for (; !lifted.empty() && (event.IsEndOfTrack() || lifted.front().mTime < event.mTime);
             lifted = lifted.subspan(1))
            write(lifted.front());
        if (event.IsEndOfTrack())
            writer.Write(event);
        else
            write(event);
    }
    return writer.GetLength();
}

MdidHost_RepairingStream::MdidHost_RepairingStream(std::unique_ptr<Cmn_InStream> iFileP, Mode iMode)
    : MdidHost_RepairingStream(std::make_unique<Layout>(std::move(iFileP), iMode))
{
}

MdidHost_RepairingStream::MdidHost_RepairingStream(std::unique_ptr<Layout> iLayoutP)
    : Cmn_InStream(iLayoutP->GetLength()),
      mLayoutP(std::move(iLayoutP))
{
}

MdidHost_RepairingStream::~MdidHost_RepairingStream() = default;

const std::vector<MdidHost_Finding>& MdidHost_RepairingStream::GetFindings() const
{
    return mLayoutP->mFindings;
}

MdidHost_Grade MdidHost_RepairingStream::GetGrade() const
{
    return mLayoutP->mGrade;
}

const MdidHost_RepairingStream::Losses& MdidHost_RepairingStream::GetLosses() const
{
    return mLayoutP->mLosses;
}

std::optional<std::int64_t> MdidHost_RepairingStream::GetEndOfFirstTrack() const
{
    return mLayoutP->mEndOfFirstTrack;
}

MdidHost_RepairingStream::MPEZones MdidHost_RepairingStream::GetMPEZones() const
{
    return mLayoutP->mZones;
}

Cmn_InStream::Bytes MdidHost_RepairingStream::FillWindow(std::int64_t iPosition)
{
    return mLayoutP->BytesAt(iPosition);
}
