#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// By weight.
enum class MdidHost_Severity
{
    kNote,    // nothing was wrong with the data, but it had to be moved to where it is looked for
    kWarning, // corrected, nothing that sounds is lost
    kError    // something is lost
};

// What was found wrong with a file, and what was done about it.
struct MdidHost_Finding
{
    std::int64_t mOffset; // in the file, bytes
    MdidHost_Severity mSeverity;
    std::string mText; // "track 2: the length says 40 bytes, the events end after 36: corrected"

    bool operator==(const MdidHost_Finding&) const = default;
};

enum class MdidHost_Grade
{
    kComplete,   // sound, everything was read
    kRepaired,   // everything that sounds was read
    kIncomplete, // what is left was read
    kUnreadable  // no MIDI file
};

// Something that the one side holds and the other does not, or not as it is, and how often.
struct MdidHost_Loss
{
    std::string mWhat; // in the plural: "channel mode messages"
    std::int64_t mCount;

    bool operator==(const MdidHost_Loss&) const = default;
};

const char* MdidHost_NameOf(MdidHost_Severity iSeverity); // "note", "warning", "error"
const char* MdidHost_NameOf(MdidHost_Grade iGrade);       // "complete", "repaired", "incomplete", "unreadable"

// Adds to the entry of that name, made at the end if need be.
void MdidHost_AddLoss(std::vector<MdidHost_Loss>& ioLosses, const char* iWhat, std::int64_t iCount = 1);

// Gathers what is found in a file, however much that is: beyond the first iMax only the number is kept.
class MdidHost_FindingList
{
public:
    explicit MdidHost_FindingList(std::size_t iMax) : mMax(iMax) {}

    // Goes before the text of what is added from now on.
    void SetContext(std::string iContext) { mContext = std::move(iContext); }
    void Add(std::int64_t iOffset, MdidHost_Severity iSeverity, std::string_view iText);

    // In the order of the file; when there were more than iMax, the last one says how many are left out.
    std::vector<MdidHost_Finding> GetSorted() const;

    // By the worst finding, left out or not: notes leave a file complete.
    MdidHost_Grade GetGrade() const;

private:
    std::size_t mMax;
    std::string mContext;
    std::vector<MdidHost_Finding> mFindings;
    std::int64_t mNumLeftOut = 0;
    std::int64_t mLastOffset = 0;
    MdidHost_Severity mWorst = MdidHost_Severity::kNote;
};
