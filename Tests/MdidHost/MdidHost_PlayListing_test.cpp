#include "MdidHost/MdidHost_OpenSession.h"
#include "MdidHost/MdidHost_Player.h"
#include "MdidHost/MdidHost_Scrub.h"

#include <gtest/gtest.h>
#include <map>

namespace
{

using State = std::map<std::pair<int, int>, int>; // by track and pitch, that of bends -1; at rest: 0

struct ChasedState : MdidHost_PlaySink
{
    State mState;
    void Receive(const MdidHost_PlayedEvent& i) override
    {
        if (i.mWhy == i.kChase && i.mEvent.GetType() == Mdid_Event::kNoteOn)
            ++mState[{i.mTrack, i.mEvent.As<Mdid_NoteOnEvent>().GetPitch()}];
        if (i.mWhy == i.kChase && i.mEvent.GetType() == Mdid_Event::kPitchBend)
            mState[{i.mTrack, -1}] = i.mEvent.As<Mdid_PitchBendEvent>().GetBendValue();
    }
};

TEST(MdidHost_Scrub, EndsAsPlayThatBeginsThereDoes)
{
    MdidHost_ImportReport report;
    const MdidHost_Session session = MdidHost_OpenSession(MDID_EXAMPLES "/Song/canon.mid", {}, report);
    MdidHost_Scrub scrub(session, {}, 0);
    State state;
    for (const int start : {100'000, 4'000'000, 2'345'678, 2'345'679, 214'957, 3'000'000, 24'001, 24'000, 9'999'999})
    {
        for (const auto& passed : scrub.MoveTo(start))
        {
            const auto kind = passed.mEvent.mKind;
            int& value = state[{passed.mTrack, kind % 3 == 0 ? passed.mEvent.mValue : -1}];
            value = kind % 3 != 0 ? passed.mEvent.mValue : value + ((kind == 3) == passed.mIsForward ? 1 : -1);
        }
        MdidHost_PlayOptions options;
        options.mStart = start;
        options.mEnd = start + 1;
        ChasedState chased;
        EXPECT_TRUE(MdidHost_Player(session, options).Render(chased));
        for (State* const stateP : {&state, &chased.mState})
            std::erase_if(*stateP, [](const auto& i) { return i.second == 0; });
        EXPECT_EQ(state, chased.mState) << start;
    }
}

} // namespace
