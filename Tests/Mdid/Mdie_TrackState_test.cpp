#include "Mdid/Mdie_TrackState.h"

#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdi_Parse.h"
#include "Mdid/Mdie_ChaseSpec.h"
#include "Mdid/Mdie_TimedEvent.h"
#include "Mdid/Mdie_TraceUtil.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <map>
#include <random>

namespace
{

constexpr auto Samples = [](int i) { return Time_Typed(i, Time_EType::kSample); };
auto Any = [random = std::mt19937(1)](unsigned i) mutable { return std::int8_t(random() % i); };
Mem2_MasterAllocator sPool(std::array{Mem2_MasterAllocator::SizeClass{sizeof(Mdie_NoteInProgress), 450}});

struct Note
{
    signed char mChannel, mPitch, mVelocity, mOffVelocity;
    Time_Typed mStart, mRelease;
    bool operator==(const Note&) const = default;
};

std::vector<Note> NotesOf(const Mdie_TrackState& iState)
{
    std::vector<Note> notes;
    for (const auto* i = iState.NextNoteOff(); i; i = i->GetNext())
        notes.push_back({i->mChannel, i->mPitch, i->mVelocity, i->mOffVelocity, i->mStartTime, i->mReleaseTime});
    return notes;
}

template <class Event, class... More>
Mdid_Event Make(const Note& i, Time_Typed iTime, More... iMore)
{
    return Event(i.mChannel, i.mPitch, i.mRelease - iTime, i.mVelocity, i.mOffVelocity, iMore...);
}

std::vector<Mdid_Event> Transition(const std::vector<Note> (&iNotes)[2], int iMode, Time_Typed iTime)
{
    std::vector<Mdid_Event> events;
    const auto off = [&](Note i) { events.push_back(Mdid_NoteOffEvent(i.mChannel, i.mPitch, i.mOffVelocity)); };
    const auto on = [&](Note i) { events.push_back(Mdid_NoteOnEvent(i.mChannel, i.mPitch, i.mVelocity)); };
    std::map<std::pair<int, int>, std::vector<Note>[2]> sounds; // by channel and pitch, in the order of release
    for (const int side : {0, 1})
        for (const Note& i : iNotes[side])
            if (&i - iNotes[side].data() < 200)
                sounds[{i.mChannel, i.mPitch}][side].push_back(i);
            else
                side == 0 ? off(i) : on(i);
    for (const auto& [key, both] : sounds)
        for (std::size_t i = 0; i < std::max(both[0].size(), both[1].size()); ++i)
            if (i >= both[1].size())
                off(both[0][i]);
            else if (iMode == 0 && i < both[0].size())
                events.insert(events.end(), {Make<Mdid_ClearNoteInProgressEvent>(both[0][i], iTime),
                                             Make<Mdid_AddNoteInProgressEvent>(both[1][i], iTime, nullptr)});
            else if (iMode == 0 && both[1][i].mRelease > iTime)
                events.push_back(Make<Mdid_NoteWithDurationEvent>(both[1][i], iTime));
            else if (iMode == 1 && i >= both[0].size())
                on(both[1][i]);
    return events;
}

struct Filter : Mdie_TrackState::NoteInProgressFilter
{
    bool Keep(const Mdie_NoteInProgress& i) const override { return i.mPitch + i.mVelocity != 20; }
};

TEST(Mdie_TrackState, DoesInARandomProgramWhatPlainListsOfNotesWould)
{
    Mdie_NoteInProgress::SetAllocator(&sPool);
    struct : Mdie_EventReceiver
    {
        void ReceiveEvent(const Mdid_Event& i) override { mEvents.push_back(i); }
        std::vector<Mdid_Event> mEvents{1000};
    } output;
    Mdie_TrackState states[2];
    std::vector<Note> models[2];
    for (int step = 0; step < 6'000; ++step)
    {
        const auto which = static_cast<std::size_t>(Any(2));
        const Time_Typed start = Samples(Any(4));
        const Note note{Any(2), std::int8_t(Any(4) * 60 - 100), Any(9), Any(2), start, Samples(Any(20))};
        const int kind = step / 1000 % 2 == 0 ? std::min(Any(4), Any(4)) : std::max(Any(4), Any(4));
        const auto makeFeed = [&](const Note& i)
        {
            const Mdid_Event feeds[] = {
                Make<Mdid_NoteWithDurationEvent>(i, start), Make<Mdid_AddNoteInProgressEvent>(i, start, nullptr),
                Make<Mdid_ClearNoteInProgressEvent>(i, start), Mdid_NoteOffEvent(i.mChannel, i.mPitch, 1)};
            return feeds[kind];
        };
        const Mdie_ChaseSpec spec{1, Mdie_TrackState::ETransitionMode(step % 4), start};
        const auto expected = Transition(models, spec.mMode, start);
        output.mEvents.clear();

        const AllocationCounter counter;
        states[0] = *&states[0];
        states[0].ComputeTransitionToNewState(&states[1], &output, spec, step % 50 == 0);
        states[0].PopNoteOff();
        states[which].FilterNotesInProgress(Filter());
        states[which].OffsetTimes(start - Samples(2));
        states[which].ReceiveEvent({start, makeFeed(note)}, nullptr);
        EXPECT_EQ(counter.GetCount(), 0);

        if (step % 50 == 0) // those that end last are left out where the pool is exhausted
            (models[0] = models[1]).resize(std::min(models[1].size(), 450 - models[1].size()));
        models[0].erase(models[0].begin(), models[0].begin() + !models[0].empty());
        std::vector<Note>& model = models[which];
        std::erase_if(model, [](const Note& i) { return i.mPitch + i.mVelocity == 20; });
        std::ranges::for_each(model, [&](Note& i) { i.mRelease += start - Samples(2); }); // kept: start times stay
        const auto isEnded = [&](const Note& i) { return kind > 1 && makeFeed(i).IsIdenticalTo(makeFeed(note)); };
        const auto ended = std::ranges::find_if(model, isEnded);
        model.erase(ended, ended + (ended != model.end()));
        if (kind < 2 && models[0].size() + models[1].size() < 450) // kept: beyond that not tracked, and no message
            model.insert(std::ranges::lower_bound(model, note.mRelease, {}, &Note::mRelease), note);
        EXPECT_TRUE(std::ranges::equal(output.mEvents, expected, std::mem_fn(&Mdid_Event::IsIdenticalTo))) << step;
        ASSERT_TRUE(NotesOf(states[0]) == models[0] && NotesOf(states[1]) == models[1]) << step;
    }
}

TEST(Mdie_TrackState, TakesNotesWithAndWithoutATime)
{
    Mdie_TrackState state;
    Mdie_NoteInProgress::SetAllocator(&sPool);
    const auto* const listP = reinterpret_cast<const Mdid_PerNoteControllerList*>(&sPool); // nobody looks into it
    const Note added{1, 65, 90, 64, Samples(0), Samples(3)}; // one tick behind the other, and 19 ticks later before it
    state.ReceiveEvent({{0, Time_EType::kTick}, Mdid_NoteWithDurationEvent(1, 64, {119, Time_EType::kTick}, 70, 1)},
                       listP);
    state.ReceiveEvent({added.mStart, Make<Mdid_AddNoteInProgressEvent>(added, added.mStart, nullptr)}, listP);
    const auto* const firstP = state.NextNoteOff(); // kept: of the second the list is not used
    EXPECT_TRUE(firstP->mPerNoteControllersP == listP && !firstP->GetNext()->mPerNoteControllersP);
    state.OffsetTimes({19, Time_EType::kTick});
    state.ReceiveEvent(Mdid_NoteOnEvent(1, 60, 90));
    EXPECT_EQ(NotesOf(state)[0], (Note{1, 60, 90, 64, Samples(0), Samples(1)}));
    std::ostringstream text;
    Mdie_TraceUtil::PrintTrackState(&state, text);
    EXPECT_EQ(text.str(), "Begin Mdie_TrackState:\n\t(\1, <, Z, 1)\n\t(\1, A, Z, 3)\n\t(\1, @, F, 138)\n");
    RecordingAssertHandler asserts;
    state.ComputeTransitionToNewState(nullptr, nullptr, {1, {}, {}}, true); // nothing to adopt
    state.ComputeNoteTransitions(nullptr, nullptr, {}, {});
    EXPECT_TRUE(asserts.Take()[0].starts_with("iOutputP@"));
    state.ReceiveEvent(Mdid_NoteOffEvent(1, 60, 0));
    EXPECT_EQ(NotesOf(Mdie_TrackState(state)), NotesOf(state));
    state.Clear();
    EXPECT_EQ(state.NextNoteOff(), nullptr);
}

TEST(Mdie_TrackState, ATimedTransitionReplacesNotesOfAnotherKindOfTime)
{
    struct : Mdie_EventReceiver
    {
        void ReceiveEvent(const Mdid_Event& i) override { mStateP->ReceiveEvent({Samples(1'000), i}, nullptr); }
        Mdie_TrackState* mStateP = nullptr;
    } output;
    Mdie_NoteInProgress::SetAllocator(&sPool);
    for (int pitch = 0; pitch < 100; ++pitch)
    {
        Mdie_TrackState state;
        const Mdid_NoteWithDurationEvent note(1, 64, {50'000 + pitch, Time_EType::kTick}, 70, 1);
        state.ReceiveEvent({{7, Time_EType::kTick}, note}, nullptr);
        const Mdie_TrackState next(state);
        output.mStateP = &state;
        state.ComputeNoteTransitions(&next, &output, Mdie_TrackState::kTimedEvents, Samples(1'000));
        EXPECT_EQ(NotesOf(state).size(), 1U) << pitch;
    }
}

} // namespace
