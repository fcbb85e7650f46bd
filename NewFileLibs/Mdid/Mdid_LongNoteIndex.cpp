#include "Mdid/Mdid_LongNoteIndex_Private.h"

#include "MFnd/Time_Convert.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace
{

using Note = Mdid_NoteListBase::Note;

constexpr std::size_t kRun = 16; // two cache lines

// Beyond all counts, and beyond all thresholds.
constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kAlways = std::numeric_limits<std::int64_t>::max();

std::size_t IndexOf(Time_EType iKind)
{
    return static_cast<std::size_t>(iKind);
}

// When the note ends, in counts of this kind.
std::int64_t EndInKind(const Note& iNote, Time_EType iKind)
{
    if (iNote.GetTime().GetType() != iKind)
        return kNever;
    // A duration of another kind is laid out along the tempo map.
    return iNote.GetDuration().GetType() == iKind ? iNote.GetEndTime().AsInt64() : kAlways;
}

// The notes of a list whose starts are of one kind.
class NotesOfKind
{
public:
    NotesOfKind(const std::vector<Note>& iNotes, Time_EType iKind)
        : mNext(iNotes.begin()),
          mLast(iNotes.end()),
          mKind(iKind)
    {
        SkipOthers();
    }

    bool IsMore() const { return mNext != mLast; }
    std::int64_t GetTime() const { return mNext->GetTime().AsInt64(); } // only while IsMore()

    // Passes over those before the time, and delivers those at it.
    void Take(std::int64_t iTime, std::vector<const Note*>& oNotes)
    {
        oNotes.clear();
        for (; IsMore() && GetTime() <= iTime; ++mNext, SkipOthers())
            if (GetTime() == iTime)
                oNotes.push_back(&*mNext);
    }

private:
    void SkipOthers()
    {
        mNext = std::find_if(mNext, mLast, [this](const Note& iNote) { return iNote.GetTime().GetType() == mKind; });
    }

    std::vector<Note>::const_iterator mNext;
    std::vector<Note>::const_iterator mLast;
    Time_EType mKind;
};

} // namespace

Mdid_NoteListBase::LongNoteIndex::LongNoteIndex(const Mdid_NoteListBase& iList)
    : mRevision(iList.mRevision),
      mLongNoteListP(iList.iLongNoteListP.Get()),
      mLongNoteRevision(mLongNoteListP->mRevision)
{
    FindKinds(iList.mNotes);
    FindPositions(iList.mNotes, mLongNoteListP->mNotes);
    for (const Time_EType kind : kTime_AllKinds)
    {
        std::vector<std::int64_t> ends(Size());
        std::ranges::transform(mPositions, ends.begin(),
                               [&](std::size_t i) { return EndInKind(iList.mNotes[i], kind); });
        if (std::ranges::any_of(ends, [](std::int64_t i) { return i != kNever; }))
            mEnds[IndexOf(kind)] = LatestEnds(std::move(ends));
    }
}

bool Mdid_NoteListBase::LongNoteIndex::IsOf(const Mdid_NoteListBase& iList) const
{
    return mRevision == iList.mRevision && mLongNoteListP == iList.iLongNoteListP.Get() &&
           mLongNoteRevision == mLongNoteListP->mRevision;
}

Mdid_NoteListBase::LongNoteIndex::Thresholds Mdid_NoteListBase::LongNoteIndex::GetThresholds(Time_Typed iTime) const
{
    Thresholds thresholds{};
    for (const Time_EType kind : kTime_AllKinds)
    {
        // The nearest count may be behind the time, and what ends at it as well.
        if (kind == iTime.GetType())
            thresholds[IndexOf(kind)] = iTime.AsInt64();
        else if (!mEnds[IndexOf(kind)].empty())
            thresholds[IndexOf(kind)] = Time_Convert::ToType(iTime, kind).AsInt64() - 1;
    }
    return thresholds;
}

std::size_t Mdid_NoteListBase::LongNoteIndex::FindNext(std::size_t iLongNote, const Thresholds& iThresholds) const
{
    std::size_t next = Size();
    for (std::size_t kind = 0; kind < mEnds.size(); ++kind)
        if (!mEnds[kind].empty())
            next = std::min(next, mEnds[kind].FindNext(iLongNote, iThresholds[kind]));
    return next;
}

void Mdid_NoteListBase::LongNoteIndex::FindKinds(const Notes& iNotes)
{
    for (const Note& note : iNotes)
    {
        mHasKind[IndexOf(note.GetTime().GetType())] = true;
        mHasKind[IndexOf(note.GetDuration().GetType())] = true;
    }
}

// The notes of one kind are in the order of their counts in both lists, whatever the tempo map is.
void Mdid_NoteListBase::LongNoteIndex::FindPositions(const Notes& iNotes, const Notes& iLongNotes)
{
    mPositions.reserve(iLongNotes.size());
    NotePointers notes, longNotes;
    for (const Time_EType kind : kTime_AllKinds)
    {
        NotesOfKind allLongNotes(iLongNotes, kind);
        if (!allLongNotes.IsMore())
            continue;
        for (NotesOfKind allNotes(iNotes, kind); allLongNotes.IsMore();)
        {
            const std::int64_t time = allLongNotes.GetTime();
            allLongNotes.Take(time, longNotes);
            allNotes.Take(time, notes);
            MatchNotesOfOneTime(iNotes.data(), notes, longNotes);
        }
    }
    std::ranges::sort(mPositions);
}

void Mdid_NoteListBase::LongNoteIndex::MatchNotesOfOneTime(const Note* iFirstP, NotePointers& ioNotes,
                                                           NotePointers& ioLongNotes)
{
    const auto isLess = [](const Note* iAP, const Note* iBP)
    {
        if (PlaceLess(*iAP, *iBP) || PlaceLess(*iBP, *iAP))
            return PlaceLess(*iAP, *iBP);
        return iAP->GetDuration().GetPacked().GetRaw() < iBP->GetDuration().GetPacked().GetRaw();
    };
    std::ranges::stable_sort(ioNotes, isLess);
    std::ranges::stable_sort(ioLongNotes, isLess);
    auto note = ioNotes.begin();
    for (auto longNote = ioLongNotes.begin(); longNote != ioLongNotes.end();)
    {
        const auto isBehind = [&isLess, noteP = *longNote](const Note* iP) { return isLess(noteP, iP); };
        const auto isNotBefore = [&isLess, noteP = *longNote](const Note* iP) { return !isLess(iP, noteP); };
        const auto lastLongNote = std::find_if(longNote, ioLongNotes.end(), isBehind);
        note = std::find_if(note, ioNotes.end(), isNotBefore);
        const auto lastNote = std::find_if(note, ioNotes.end(), isBehind);
        MatchEqualNotes(iFirstP, {note, lastNote}, {longNote, lastLongNote});
        longNote = lastLongNote;
        note = lastNote;
    }
}

// They start and end together, and mostly every one is long. Where some are not, these are the ones that no long note
// is a copy of; should the order of the copies be another one, any others will do.
void Mdid_NoteListBase::LongNoteIndex::MatchEqualNotes(const Note* iFirstP, std::span<const Note* const> iNotes,
                                                       std::span<const Note* const> iLongNotes)
{
    std::size_t numCopied = 0;
    NotePointers others;
    for (const Note* const noteP : iNotes)
    {
        if (numCopied < iLongNotes.size() && noteP->IsIdenticalTo(*iLongNotes[numCopied]))
        {
            mPositions.push_back(static_cast<std::size_t>(noteP - iFirstP));
            ++numCopied;
        }
        else
            others.push_back(noteP);
    }
    others.resize(std::min(others.size(), iLongNotes.size() - numCopied));
    for (const Note* const noteP : others)
        mPositions.push_back(static_cast<std::size_t>(noteP - iFirstP));
}

Mdid_NoteListBase::LongNoteIndex::LatestEnds::LatestEnds(std::vector<std::int64_t> iEnds)
{
    mLevels.push_back(std::move(iEnds));
    while (mLevels.back().size() > kRun)
    {
        const std::vector<std::int64_t>& below = mLevels.back();
        std::vector<std::int64_t> latest;
        latest.reserve((below.size() + kRun - 1) / kRun);
        for (std::size_t first = 0; first < below.size(); first += kRun)
        {
            const auto run = below.begin() + static_cast<std::ptrdiff_t>(first);
            const auto size = static_cast<std::ptrdiff_t>(std::min(kRun, below.size() - first));
            latest.push_back(*std::max_element(run, run + size));
        }
        mLevels.push_back(std::move(latest));
    }
}

// Goes up through the rests of runs until one is late enough, and down to the first end that makes it so.
std::size_t Mdid_NoteListBase::LongNoteIndex::LatestEnds::FindNext(std::size_t iFirst, std::int64_t iThreshold) const
{
    std::size_t i = iFirst;
    std::size_t level = 0;
    const auto restOfRun = [&]
    {
        const std::vector<std::int64_t>& ends = mLevels[level];
        const std::size_t last = std::min(ends.size(), (i / kRun + 1) * kRun);
        while (i < last && ends[i] <= iThreshold)
            ++i;
        return i < last;
    };
    while (!restOfRun())
    {
        i = (i + kRun - 1) / kRun;
        if (++level == mLevels.size())
            return mLevels.front().size();
    }
    while (level > 0)
    {
        --level;
        i *= kRun;
        restOfRun();
    }
    return i;
}

const Mdid_NoteListBase::LongNoteIndex& Mdid_NoteListBase::GetLongNoteIndex() const
{
    if (!mLongNoteIndexP || !mLongNoteIndexP->IsOf(*this))
        mLongNoteIndexP = std::make_unique<LongNoteIndex>(*this);
    return *mLongNoteIndexP;
}
