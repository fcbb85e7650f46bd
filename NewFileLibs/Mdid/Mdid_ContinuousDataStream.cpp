#include "Mdid/Mdid_ContinuousDataStream.h"

#include "MFnd/Ndo_SavedVector.h"
#include "Mdid/Mdid_Messages.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <algorithm>

namespace
{

using TrackedPtr = Mdid_ContinuousDataStream::TrackedPtr;

// Where the trace says that a state of another class was met.
constexpr char kWrongStateFile[] = "NewFileLibs/Mdid/Mdid_ContinuousDataStream";
constexpr int kWrongStateLine = 162;

} // namespace

class Mdid_ContinuousDataStream::NdoState : public Ndo_State
{
public:
    explicit NdoState(const Mdid_ContinuousDataStream& iStream)
        : mSubStream(iStream.mSubStream),
          mSnapToCoarseTicks(iStream.mSnapToCoarseTicks),
          mSegments(iStream.mSegments)
    {
    }

    std::unique_ptr<Ndo_Object> NdoRecreate() const override
    {
        return std::unique_ptr<Ndo_Object>(new Mdid_ContinuousDataStream(ReCreate()));
    }

    std::size_t NdoGetSize() const override
    {
        return sizeof(*this) + mSegments.GetElements().capacity() * sizeof(Segment);
    }

    void NdoShrink(const Ndo_Object& iObject) override
    {
        if (const auto* const streamP = dynamic_cast<const Mdid_ContinuousDataStream*>(&iObject))
            mSegments.Shrink(streamP->mSegments,
                             [](const Segment& iA, const Segment& iB) { return iA.IsIdenticalTo(iB); });
    }

    void RestoreInto(Mdid_ContinuousDataStream& ioStream) const
    {
        mSegments.RestoreInto(ioStream.mSegments);
        ioStream.mSubStream = mSubStream;
        ioStream.mSnapToCoarseTicks = mSnapToCoarseTicks;
    }

private:
    Mdie_SubStream mSubStream;
    bool mSnapToCoarseTicks;
    Ndo_SavedVector<Segment> mSegments;
};

Mdid_ContinuousDataStream::Mdid_ContinuousDataStream(EUndoFlag iUndoFlag) : Ndo_Object(iUndoFlag) {}

Mdid_ContinuousDataStream::Mdid_ContinuousDataStream(const Mdie_SubStream& iSubStream, EUndoFlag iUndoFlag,
                                                     bool iSnapToCoarseTicks)
    : Ndo_Object(iUndoFlag),
      Mdid_ContinuousDataStreamCore(iSnapToCoarseTicks)
{
    SetSubStream(iSubStream);
}

Mdid_ContinuousDataStream::Mdid_ContinuousDataStream(ReCreate) : Ndo_Object(kNotUndoable) {}

Mdid_ContinuousDataStream::~Mdid_ContinuousDataStream() = default;

std::string Mdid_ContinuousDataStream::PrintContents() const
{
    return mSubStream.Describe() + "\n" + DescribeSegments();
}

std::unique_ptr<Ndo_State> Mdid_ContinuousDataStream::NdoGetState() const
{
    return std::make_unique<NdoState>(*this);
}

void Mdid_ContinuousDataStream::NdoRestoreState(Ndo_State* iStateP)
{
    if (const auto* const stateP = dynamic_cast<const NdoState*>(iStateP))
        stateP->RestoreInto(*this);
    else
        PSUTIL_TRACE(kTraceDiagnostics, "CMN_TRACEASSERT %s line %d", kWrongStateFile, kWrongStateLine);
}

void Mdid_ContinuousDataStream::AboutToModify()
{
    NdoAboutToModify();
}

TrackedPtr* Mdid_ContinuousDataStreamList::FindStream(const Mdie_SubStream& iSubStream)
{
    TrackedPtr* const last = data() + size();
    bool hasMetNull = false;
    TrackedPtr* const found = std::partition_point(data(), last,
                                                   [&](const TrackedPtr& iStreamP)
                                                   {
                                                       hasMetNull |= !iStreamP;
                                                       return iStreamP && iStreamP->GetSubStream() < iSubStream;
                                                   });
    if (!hasMetNull)
        return found;
    return std::find_if(
        data(), last, [&](const TrackedPtr& iStreamP) { return iStreamP && !(iStreamP->GetSubStream() < iSubStream); });
}

// Mostly it would be found at its place. Where ordinary lanes and lanes of a channel share an index, which the order
// does not provide for, it may be anywhere among those of its index.
bool Mdid_ContinuousDataStreamList::HoldsEqual(const TrackedPtr* iPlace, const Mdie_SubStream& iKey) const
{
    const TrackedPtr* const endP = data() + size();
    if (iPlace != endP && *iPlace && (*iPlace)->GetSubStream() == iKey)
        return true;
    if (iKey.GetStreamType() != Mdie_SubStream::kOrdinary && iKey.GetStreamType() != Mdie_SubStream::kPerChannel)
        return false;
    const auto hasItsIndex = [index = iKey.GetDataTypeIndex()](const TrackedPtr& iLane)
    { return iLane && iLane->GetSubStream().GetDataTypeIndex() == index; };
    const TrackedPtr* firstP = iPlace;
    while (firstP != data() && hasItsIndex(firstP[-1]))
        --firstP;
    const TrackedPtr* const lastP = std::find_if_not(iPlace, endP, hasItsIndex);
    return std::any_of(firstP, lastP, [&iKey](const TrackedPtr& iLane) { return iLane->GetSubStream() == iKey; });
}

void Mdid_ContinuousDataStreamList::InsertStream(Mdid_ContinuousDataStream* iStreamP)
{
    if (!iStreamP->GetSubStream().IsLane())
        Mdid_ThrowMessage(201); // "bad subtype encountered"
    const TrackedPtr* const place = FindStream(iStreamP->GetSubStream());
    if (HoldsEqual(place, iStreamP->GetSubStream()))
        Mdid_ThrowMessage(101); // "bad data encountered: stream not unique"
    insert(begin() + (place - data()), iStreamP);
}

bool operator==(const Mdid_ContinuousDataStreamList& iLeft, const Mdid_ContinuousDataStreamList& iRight)
{
    const auto haveEqualData = [](const TrackedPtr& iA, const TrackedPtr& iB)
    {
        if (!iA || !iB)
            return !iA && !iB;
        const Mdid_ContinuousDataStreamCore& coreA = *iA;
        return coreA == *iB;
    };
    // Kept: what the right list has more does not count.
    return iLeft.size() <= iRight.size() && std::equal(iLeft.begin(), iLeft.end(), iRight.begin(), haveEqualData);
}
