#include "Mdid/Mdi_Parse.h"

Mdid_Event Mdi_ParseSingleEvent(signed char* oChannelP, int* oCountP, const unsigned char* iBytes, int iLength)
{
    struct FirstEvent : Mdie_EventReceiver
    {
        explicit FirstEvent(const Mdi_Parse& iParser) : mParser(iParser) {}
        void ReceiveEvent(const Mdid_Event& iEvent) override
        {
            mEvent = iEvent;
            mChannel = static_cast<signed char>(mParser.GetChannel());
        }

        const Mdi_Parse& mParser;
        Mdid_Event mEvent;
        signed char mChannel = Mdid_Event::kNoChannel;
    };

    Mdi_ParseToEventReceiver parser;
    FirstEvent first(parser);
    parser.SetEventReceiver(&first);

    int count = 0;
    bool done = false;
    while (count < iLength && !done)
        done = parser.MidiStream(iBytes + count++, 1);
    if (oCountP != nullptr)
        *oCountP = count;
    if (oChannelP != nullptr)
        *oChannelP = first.mChannel;
    return first.mEvent;
}
