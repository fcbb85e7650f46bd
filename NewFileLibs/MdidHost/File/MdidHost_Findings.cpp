#include "MdidHost/File/MdidHost_Findings.h"

#include "CFnd/Cmn_Assert.h"

#include <algorithm>

const char* MdidHost_NameOf(MdidHost_Severity iSeverity)
{
    switch (iSeverity)
    {
    case MdidHost_Severity::kNote:
        return "note";
    case MdidHost_Severity::kWarning:
        return "warning";
    case MdidHost_Severity::kError:
        return "error";
    }
    CMN_VERIFY(false);
    return "";
}

const char* MdidHost_NameOf(MdidHost_Grade iGrade)
{
    switch (iGrade)
    {
    case MdidHost_Grade::kComplete:
        return "complete";
    case MdidHost_Grade::kRepaired:
        return "repaired";
    case MdidHost_Grade::kIncomplete:
        return "incomplete";
    case MdidHost_Grade::kUnreadable:
        return "unreadable";
    }
    CMN_VERIFY(false);
    return "";
}

void MdidHost_AddLoss(std::vector<MdidHost_Loss>& ioLosses, const char* iWhat, std::int64_t iCount)
{
    const auto found = std::ranges::find(ioLosses, iWhat, &MdidHost_Loss::mWhat);
    if (found != ioLosses.end())
        found->mCount += iCount;
    else
        ioLosses.push_back({iWhat, iCount});
}

void MdidHost_FindingList::Add(std::int64_t iOffset, MdidHost_Severity iSeverity, std::string_view iText)
{
    mWorst = std::max(mWorst, iSeverity);
    if (mFindings.size() < mMax)
    {
        mFindings.push_back({iOffset, iSeverity, mContext});
        mFindings.back().mText += iText;
        return;
    }
    ++mNumLeftOut;
    mLastOffset = std::max(mLastOffset, iOffset);
}

std::vector<MdidHost_Finding> MdidHost_FindingList::GetSorted() const
{
    std::vector<MdidHost_Finding> findings = mFindings;
    std::ranges::stable_sort(findings, {}, &MdidHost_Finding::mOffset);
    if (mNumLeftOut > 0 && !findings.empty())
        findings.back() = {std::max(mLastOffset, findings.back().mOffset), mWorst,
                           std::to_string(mNumLeftOut + 1) + " more findings"};
    return findings;
}

MdidHost_Grade MdidHost_FindingList::GetGrade() const
{
    switch (mWorst)
    {
    case MdidHost_Severity::kNote:
        return MdidHost_Grade::kComplete;
    case MdidHost_Severity::kWarning:
        return MdidHost_Grade::kRepaired;
    default:
        return MdidHost_Grade::kIncomplete;
    }
}
