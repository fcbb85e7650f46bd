#include "MdidHost/Session/MdidHost_RecordDump.h"

#include "CFnd/Cmn_InStream.h"
#include "CFnd/Sys_FileStream.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "CFnd/Sys_StreamException.h"
#include "CFnd/Sys_Umid.h"
#include "Mdid/Mdie_SubStream.h"
#include "MdidHost/File/MdidHost_FileErrors_Private.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"
#include "MdidHost/Text/MdidHost_Text.h"

#include <algorithm>
#include <ostream>
#include <string_view>

namespace
{

// Bytes of one element.
constexpr std::int64_t kNoteSize = 35;
constexpr std::int64_t kNoteSizeWithoutDeltas = 19;
constexpr std::int64_t kBreakpointSize = 12;

// Walks the records of one chunk in the order in which they are saved. They nest no deeper than this code does.
class RecordWalk
{
public:
    RecordWalk(std::ostream& ioStream, Sys_TypedInStream& ioFile) : mStream(ioStream), mFile(ioFile) {}

    void WriteChunk();

private:
    // A record while it is read. Its line is written at the latest when it is left.
    class Record
    {
    public:
        Record(RecordWalk& ioWalk, std::string_view iTag, std::int16_t iMaxVersion, std::int16_t iMinVersion = 1)
            : mWalk(ioWalk),
              mOffset(ioWalk.mFile.GetPosition()),
              mTag(iTag),
              mHeader(ioWalk.mFile, iTag),
              mIsKnown(mHeader.GetVersion() >= iMinVersion && mHeader.GetVersion() <= iMaxVersion),
              mSize(ioWalk.mFile.GetBytesLeft())
        {
            if (!mIsKnown)
                Say("a version that is not known");
        }
        ~Record()
        {
            Say({});
            --mWalk.mDepth;
        }
        Record(const Record&) = delete;
        Record& operator=(const Record&) = delete;

        std::int16_t GetVersion() const { return mHeader.GetVersion(); }
        bool IsKnown() const { return mIsKnown; }

        // The line, and what can be said of the record; once.
        void Say(const std::string& iText)
        {
            if (mIsSaid)
                return;
            mIsSaid = true;
            mWalk.WriteLine((mTag.empty() ? "\"\"" : std::string(mTag)) + " version " + std::to_string(GetVersion()) +
                            ", offset " + std::to_string(mOffset) + ", " + MdidHost_Counted(mSize, "byte") +
                            (iText.empty() ? "" : ": ") + iText);
            ++mWalk.mDepth;
        }

        // What is left is of a newer writer, but of a record that has not been looked into.
        void Complete()
        {
            Say({});
            if (mIsKnown && mHeader.IsMoreLeft())
                mWalk.WriteLine(MdidHost_Counted(mWalk.mFile.GetBytesLeft(), "more byte"));
            mHeader.SkipTheRest();
        }

    private:
        RecordWalk& mWalk;
        const std::int64_t mOffset;
        const std::string_view mTag;
        Sys_StdStreamHeaderReader mHeader;
        const bool mIsKnown;
        const std::int64_t mSize;
        bool mIsSaid = false;
    };

    void WriteLine(const std::string& iText) { mStream << std::string(2 * mDepth, ' ') << iText << '\n'; }
    bool IsMoreLeft() const { return mFile.GetBytesLeft() > 0; }
    void Skip(std::int64_t iCount) { mFile.GetStream().Skip(iCount); }

    std::int32_t ReadCount()
    {
        const auto count = mFile.Read<std::int32_t>();
        if (count < 0)
            mFile.GetStream().Fail("negative count");
        return count;
    }

    void WriteNotes();
    void WriteLanes();
    bool WriteLane();
    bool WriteKey();
    void WriteBreakpoints();
    void WriteEventStream();
    void WriteEventList();
    void WriteEvent();
    void WriteIdentity();

    std::ostream& mStream;
    Sys_TypedInStream& mFile;
    std::size_t mDepth = 0;
};

std::string NameOfKind(int iKind)
{
    static constexpr const char* kNames[] = {"nothing", "pitch bend",    "controller",
                                             "program", "mono pressure", "poly pressure"};
    return iKind >= 0 && iKind < std::ssize(kNames) ? kNames[iKind] : "kind " + std::to_string(iKind);
}

void RecordWalk::WriteChunk()
{
    Record record(*this, "MdChun", 1);
    if (record.IsKnown())
    {
        record.Say({});
        WriteNotes();
        const std::int32_t count = ReadCount();
        WriteLine(MdidHost_Counted(count, "record of lanes", "records of lanes"));
        for (std::int32_t i = 0; i < count; ++i)
            WriteLanes();
        if (IsMoreLeft())
            WriteEventStream();
        if (IsMoreLeft())
            WriteIdentity();
    }
    record.Complete();
}

void RecordWalk::WriteNotes()
{
    Record record(*this, "MdNLB", 3);
    if (record.IsKnown())
    {
        const std::int32_t count = ReadCount();
        record.Say(MdidHost_Counted(count, "note"));
        Skip(count * (record.GetVersion() == 1 ? kNoteSizeWithoutDeltas : kNoteSize));
        Skip(mFile.GetBytesLeft()); // what else is known of each
    }
    record.Complete();
}

void RecordWalk::WriteLanes()
{
    Record record(*this, "MdCDS", 2, 2);
    if (record.IsKnown())
    {
        record.Say({});
        if (WriteLane())
        {
            const std::int32_t count = ReadCount();
            WriteLine(MdidHost_Counted(count, "more lane"));
            for (std::int32_t i = 0; i < count; ++i)
                WriteLane();
        }
    }
    record.Complete();
}

// Whether others follow it.
bool RecordWalk::WriteLane()
{
    const bool isGroupHead = WriteKey();
    WriteBreakpoints();
    return isGroupHead;
}

bool RecordWalk::WriteKey()
{
    Record record(*this, "Mdss", 1);
    bool isGroupHead = false;
    if (record.IsKnown())
    {
        const int kind = mFile.Read<signed char>();
        std::string text = NameOfKind(kind);
        const auto subType = mFile.Read<std::int32_t>();
        if (kind == Mdie_SubStreamDataType::kController || kind == Mdie_SubStreamDataType::kPolyPressure)
            text += ' ' + std::to_string(subType);
        if (IsMoreLeft())
        {
            const auto streamType = mFile.Read<unsigned char>();
            isGroupHead = streamType == Mdie_SubStream::kGroupHead;
            text += ", stream type " + std::to_string(streamType);
            text += ", channel " + std::to_string(mFile.Read<signed char>());
            text += ", pitch " + std::to_string(mFile.Read<signed char>());
            text += ", velocity " + std::to_string(mFile.Read<signed char>());
            Skip(sizeof(std::int64_t)); // the start of its note
        }
        record.Say(text);
    }
    record.Complete();
    return isGroupHead;
}

void RecordWalk::WriteBreakpoints()
{
    Record record(*this, "MdCD", 1);
    if (record.IsKnown())
    {
        const std::int32_t count = ReadCount();
        record.Say(MdidHost_Counted(count, "breakpoint"));
        Skip(count * kBreakpointSize);
    }
    record.Complete();
}

void RecordWalk::WriteEventStream()
{
    Record record(*this, "MdES", 1);
    if (record.IsKnown())
    {
        record.Say({});
        WriteEventList();
    }
    record.Complete();
}

void RecordWalk::WriteEventList()
{
    Record record(*this, "MdTEL", 1);
    if (record.IsKnown())
    {
        const std::int32_t count = ReadCount();
        record.Say(MdidHost_Counted(count, "event"));
        for (std::int32_t i = 0; i < count; ++i)
        {
            Skip(sizeof(std::int64_t)); // its time
            WriteEvent();
        }
    }
    record.Complete();
}

void RecordWalk::WriteEvent()
{
    Record record(*this, "", 1);
    if (record.IsKnown() && IsMoreLeft() && mFile.Read<std::int8_t>() == 0)
    {
        const std::int32_t count = ReadCount();
        record.Say(MdidHost_Counted(count, "byte") + " of system-exclusive data");
        Skip(count);
    }
    else if (record.IsKnown())
    {
        record.Say("no event");
        Skip(mFile.GetBytesLeft());
    }
    record.Complete();
}

void RecordWalk::WriteIdentity()
{
    Sys_Umid::Bytes bytes;
    mFile.ReadBlock(bytes.data(), bytes.size());
    WriteLine("identity " + Sys_Umid(bytes).AsHexString());
    WriteLine(mFile.Read<bool>() ? "local" : "not local");
}

} // namespace

void MdidHost_WriteRecords(std::ostream& ioStream, Cmn_InStream& ioFile, const std::string& iFile)
{
    try
    {
        Sys_TypedInStream typed(ioFile);
        RecordWalk(ioStream, typed).WriteChunk();
        if (typed.GetBytesLeft() > 0)
            ioStream << MdidHost_Counted(typed.GetBytesLeft(), "byte") << " behind the record\n";
    }
    catch (const Sys_StreamException& error)
    {
        const std::string record = error.GetTag().empty() ? "" : " in record \"" + error.GetTag() + '"';
        throw MdidHost_FileError(iFile, error.GetReason() + record, error.GetPosition());
    }
}

void MdidHost_WriteRecords(std::ostream& ioStream, const std::string& iFile)
{
    MdidHost_WithErrorsOf(iFile,
                          [&]
                          {
                              Sys_FileInStream file(iFile);
                              MdidHost_WriteRecords(ioStream, file, iFile);
                          });
}
