#pragma once

#include "Mdid/Mdi_Parse.h"
#include "Mdid/Mdid_Event.h"
#include "MdidHost/Play/MdidHost_PlayHistory_Private.h"

#include <cstddef>
#include <vector>

// What brings an instrument to a state, put into the order in which it needs it. Takes memory at construction only.
class MdidHost_PlayOrder : public Mdie_EventReceiver
{
public:
    struct Sent
    {
        int mPlace = 0;
        std::size_t mNumber = 0; // as it came
        Mdid_Event mEvent;
    };

    struct Data
    {
        std::size_t mNumber = 0; // as it is played
        MdidHost_PlayParameter mParameter;
        int mController = 0;
        signed char mValue = 0;
    };

    // iMaxSettings: as the schedule has it; beside what one call of a tracker may send.
    explicit MdidHost_PlayOrder(std::size_t iMaxSettings);

    void ReceiveEvent(const Mdid_Event& iEvent) override;

    // What has come since the last time: programs and banks, numbers and data as they came, other controllers, bend,
    // pressure.
    const std::vector<Sent>& Sort();
    void Clear() { mSent.clear(); }
    std::size_t GetCapacity() const { return mSent.capacity(); }

    std::vector<Data>& GetData() { return mData; } // room for data of one channel that are to be sent

private:
    std::vector<Sent> mSent;
    std::vector<Data> mData;
};
