#include "Mdid/Mdid_LongNoteIndex_Private.h"

#include "MFnd/Time_Convert.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace
{

using Note = Mdid_NoteListBase::Note;

constexpr std::size_t kRun = 16; // two cache lines
constexpr Time_EType kKinds[] = {Time_EType::kSample, Time_EType::kTick, Time_EType::kMicrosecond};

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

template <class Iterator>
Iterator EndOfTime(Iterator iFirst, Iterator iLast)
{
    const Time_Typed time = iFirst->GetTime();
    return std::find_if(iFirst, iLast, [time](const Note& iNote) { return iNote.GetTime() != time; });
}

} // namespace

Mdid_NoteListBase::LongNoteIndex::LongNoteIndex(const Mdid_NoteListBase& iList)
    : mRevision(iList.mRevision),
      mLongNoteListP(iList.iLongNoteListP.Get()),
      mLongNoteRevision(mLongNoteListP->mRevision)
{
    FindKinds(iList.mNotes);
    FindPositions(iList.mNotes, mLongNoteListP->mNotes);
    for (const Time_EType kind : kKinds)
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
    for (const Time_EType kind : kKinds)
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

// Both lists are in the order of times, but not always in one order within a time.
void Mdid_NoteListBase::LongNoteIndex::FindPositions(const Notes& iNotes, const Notes& iLongNotes)
{
    mPositions.reserve(iLongNotes.size());
    NotePointers notesOfTime, longNotesOfTime;
    const auto point = [](auto iFirst, auto iLast, NotePointers& oPointers)
    {
        oPointers.clear();
        std::transform(iFirst, iLast, std::back_inserter(oPointers), [](const Note& iNote) { return &iNote; });
    };
    auto note = iNotes.begin();
    for (auto longNote = iLongNotes.begin(); longNote != iLongNotes.end();)
    {
        const Time_Typed time = longNote->GetTime();
        note = std::find_if(note, iNotes.end(), [time](const Note& iNote) { return iNote.GetTime() >= time; });
        if (note == iNotes.end())
            return;
        const auto lastOfTime = EndOfTime(note, iNotes.end());
        const auto lastLongOfTime = EndOfTime(longNote, iLongNotes.end());
        if (note->GetTime() == time)
        {
            point(note, lastOfTime, notesOfTime);
            point(longNote, lastLongOfTime, longNotesOfTime);
            MatchNotesOfOneTime(iNotes, notesOfTime, longNotesOfTime);
            note = lastOfTime;
        }
        longNote = lastLongOfTime;
    }
}

// Of several identical notes the first one is that of the first identical long note, and so on.
void Mdid_NoteListBase::LongNoteIndex::MatchNotesOfOneTime(const Notes& iNotes, NotePointers& ioNotes,
                                                           NotePointers& ioLongNotes)
{
    // Notes that this order does not tell apart are all long, or none is, and stand in one order in both lists. So the
    // next one is mostly the right one, however many there are.
    const auto isLess = [](const Note* iAP, const Note* iBP)
    {
        if (PlaceLess(*iAP, *iBP) || PlaceLess(*iBP, *iAP))
            return PlaceLess(*iAP, *iBP);
        return iAP->GetDuration().GetPacked().GetRaw() < iBP->GetDuration().GetPacked().GetRaw();
    };
    std::ranges::stable_sort(ioNotes, isLess);
    std::ranges::stable_sort(ioLongNotes, isLess);
    const auto firstOfTime = std::ssize(mPositions);
    auto note = ioNotes.begin();
    for (const Note* const longNoteP : ioLongNotes)
    {
        note = std::find_if(note, ioNotes.end(), [&](const Note* iP) { return !isLess(iP, longNoteP); });
        const auto found =
            std::find_if(note, ioNotes.end(),
                         [&](const Note* iP) { return isLess(longNoteP, iP) || iP->IsIdenticalTo(*longNoteP); });
        if (found == ioNotes.end() || isLess(longNoteP, *found))
            continue;
        mPositions.push_back(static_cast<std::size_t>(*found - iNotes.data()));
        note = std::rotate(note, found, std::next(found));
    }
    std::sort(mPositions.begin() + firstOfTime, mPositions.end());
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
