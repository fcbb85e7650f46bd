#include "MdidHost/Play/MdidHost_PlayOrder_Private.h"

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_SubStream.h"

#include <algorithm>
#include <tuple>

namespace
{

// Where an event stands among those that bring an instrument to a state.
enum EPlace
{
    kProgram,   // and bank
    kParameter, // numbers and data
    kController,
    kBend,
    kPressure
};

EPlace PlaceOf(const Mdid_Event& iEvent)
{
    switch (iEvent.GetType())
    {
    case Mdid_Event::kProgram:
        return kProgram;
    case Mdid_Event::kController:
        return MdidHost_PlaySettings::IsSetting(iEvent.As<Mdid_ControllerEvent>().GetController()) ? kParameter
                                                                                                   : kController;
    case Mdid_Event::kPitchBend:
        return kBend;
    default:
        return kPressure;
    }
}

} // namespace

MdidHost_PlayOrder::MdidHost_PlayOrder(std::size_t iMaxSettings)
{
    constexpr std::size_t kValuesAndReleases = 2;
    constexpr std::size_t kNumChannels = 16;
    mSent.resize(kValuesAndReleases * Mdie_SubStream::GetNumIndices() * kNumChannels + iMaxSettings); // touched, too
    mSent.clear();
    mData.resize(iMaxSettings);
    mData.clear();
}

void MdidHost_PlayOrder::ReceiveEvent(const Mdid_Event& iEvent)
{
    mSent.push_back({PlaceOf(iEvent), mSent.size(), iEvent});
}

const std::vector<MdidHost_PlayOrder::Sent>& MdidHost_PlayOrder::Sort()
{
    std::ranges::sort(mSent, {}, [](const Sent& iSent) { return std::tuple(iSent.mPlace, iSent.mNumber); });
    return mSent;
}
