#include "MdidHost/Listing/MdidHost_NoteListing.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "MdidHost/Listing/MdidHost_ListingLines_Private.h"

#include <stdexcept>

using namespace MdidHost_ListingLines;

namespace
{

using Listing = MdidHost_NoteListing;
using Note = Mdid_NoteListBase::Note;

constexpr std::array kFields{kPitch, kName,  kVelocity,    kOffVelocity, kDuration,
                             kEnd,   kMuted, kTrimmedLeft, kTrimmedRight};

template <class Lines>
class Lister
{
public:
    Lister(std::ostream& ioStream, const MdidHost_Session& iSession, const Listing& iListing)
        : mWriter(ioStream, iSession, kFields),
          mSession(iSession),
          mListing(iListing)
    {
    }

    std::int64_t Run()
    {
        std::int64_t count = 0;
        for (int number = 1; number <= std::ssize(mSession.mTracks); ++number)
        {
            const MdidHost_Track& track = mSession.mTracks[static_cast<std::size_t>(number - 1)];
            if (track.mChunk && (!mListing.mTrack || *mListing.mTrack == number))
                count += ListTrack(track, number);
        }
        mWriter.Flush();
        return count;
    }

private:
    std::int64_t ListTrack(const MdidHost_Track& iTrack, int iNumber)
    {
        const Mdid_NoteListBase& notes = *iTrack.mChunk->GetNoteList();
        const Time_Typed start = mListing.mStart;
        const Time_Typed end = mListing.mEnd;
        switch (mListing.mWhich)
        {
        case Listing::Which::kSounding:
            return List(notes.GetSustainingNotes(start), iTrack, iNumber);
        case Listing::Which::kOverlapping:
            return List(notes.GetOverlappingNotesInRange(start, end), iTrack, iNumber);
        default:
            using InRange = Mdid_NoteListBase::NotesInRangeIter;
            return List(InRange::Range(InRange(notes, start, end)), iTrack, iNumber);
        }
    }

    template <class Notes>
    std::int64_t List(const Notes& iNotes, const MdidHost_Track& iTrack, int iNumber)
    {
        std::int64_t count = 0;
        for (const Note& note : iNotes)
        {
            if (!mWriter.IsGood())
                return count;
            mWriter.Begin(iTrack, iNumber, note.GetTime(), MdidHost_EventListing::kNotes, note.GetNote().GetChannel());
            AddFields(note);
            mWriter.End();
            ++count;
        }
        return count;
    }

    void AddFields(const Note& iNote)
    {
        const MdidHost_MusicalTime& times = mWriter.GetTimes();
        const Time_Typed end = iNote.GetEndTime();
        mWriter.AddNote(iNote.GetNote(), end);
        mLines.AddEnd(times.ToFileTick(end), times.FormatBar(end));
        mLines.AddFlag(kMuted, iNote.IsMuted());
        AddCut(kTrimmedLeft, iNote.GetUntrimmedStart(), iNote.GetTime());
        AddCut(kTrimmedRight, end, end + iNote.GetUntrimmedRightDelta(nullptr));
    }

    void AddCut(EField iField, Time_Typed iFrom, Time_Typed iTo)
    {
        const MdidHost_MusicalTime& times = mWriter.GetTimes();
        if (const std::int64_t ticks = times.ToFileTick(iTo) - times.ToFileTick(iFrom); ticks != 0)
            mLines.Add(iField, ticks);
    }

    Writer<Lines> mWriter;
    Lines& mLines = mWriter.GetLines();
    const MdidHost_Session& mSession;
    const Listing& mListing;
};

} // namespace

std::int64_t MdidHost_ListNotes(std::ostream& ioStream, const MdidHost_Session& iSession, const Listing& iListing)
{
    if (iListing.mTrack && (*iListing.mTrack < 1 || *iListing.mTrack > std::ssize(iSession.mTracks)))
        throw std::invalid_argument("there is no track " + std::to_string(*iListing.mTrack));
    return InFormat(iListing.mFormat, [&]<class Lines>() { return Lister<Lines>(ioStream, iSession, iListing).Run(); });
}
