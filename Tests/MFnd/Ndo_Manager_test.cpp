#include "MFnd/Ndo_Manager.h"

#include "MFnd/Ndo_Pointers.h"
#include "MFnd/Ndo_SavedVector.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <functional>
#include <map>

namespace
{

// Numbers, and perhaps a list that belongs to them.
struct List : Ndo_Object
{
    explicit List(EUndoFlag iUndoFlag = kUndoable) : Ndo_Object(iUndoFlag) { sLists.push_back(this); }
    ~List() override { std::erase(sLists, this); }

    List& Edit() { return NdoAboutToModify(), *this; }
    void Push(int iNumber) { Edit().mNumbers.push_back(iNumber); }
    void Own(List* iPartP) { Edit().mPartP.Reset(iPartP); }
    List* LetGo() { return Edit().mPartP.Release(); }

    struct State : Ndo_State
    {
        explicit State(const List& iList) : mNumbers(iList.mNumbers), mPart(iList.mPartP.Get()) {}
        std::unique_ptr<Ndo_Object> NdoRecreate() const override { return std::make_unique<List>(kNotUndoable); }
        std::size_t NdoGetSize() const override { return mNumbers.GetElements().size(); }
        static const auto& NumbersOf(const Ndo_Object& i) { return dynamic_cast<const List&>(i).mNumbers; }
        void NdoShrink(const Ndo_Object& i) override { mNumbers.Shrink(NumbersOf(i), std::equal_to<>()); }
        Ndo_SavedVector<int> mNumbers;
        Ndo_StateRef<List> mPart;
    };
    std::unique_ptr<Ndo_State> NdoGetState() const override { return std::make_unique<State>(*this); }
    void NdoRestoreState(Ndo_State* iStateP) override
    {
        dynamic_cast<State&>(*iStateP).mNumbers.RestoreInto(mNumbers);
        mPartP.Restore(dynamic_cast<State&>(*iStateP).mPart);
    }
    void NdoCleanup() override { mIsRecreated = NdoIsBeingRecreated(); }

    std::vector<int> mNumbers;
    Ndo_AutoPtr<List> mPartP;
    bool mIsRecreated = false;
    static inline std::vector<List*> sLists;
};

// Numbers and part of all lists, by id.
using World = std::map<Ndo_ObjectID, std::pair<std::vector<int>, Ndo_ObjectID>>;

World Look()
{
    World world;
    for (const List* const listP : List::sLists)
        world[listP->NdoGetID()] = {listP->mNumbers, Ndo_StateRef<List>(listP->mPartP.Get()).GetID()};
    return world;
}

// Every test ends without history and without lists.
struct Ndo_History : testing::Test
{
    ~Ndo_History() override
    {
        while (Ndo_gManager.IsInStep())
            Ndo_gManager.CancelStep();
        Ndo_gManager.DropHistory();
        Ndo_gManager.SetMaxSteps(Ndo_Manager::kNoBound);
        Ndo_gManager.SetMaxBytes(Ndo_Manager::kNoBound);
        while (!List::sLists.empty())
            List::sLists.front()->NdoDelete();
    }
};

RC_GTEST_FIXTURE_PROP(Ndo_History, UndoAndRedoReachEveryStopAgain,
                      (const std::vector<std::pair<unsigned char, unsigned char>>& iProgram))
{
    List& first = *new List;
    std::vector<World> stops{Look()};
    std::size_t now = 0;
    std::string name;
    const auto go = [&](bool iBack)
    {
        if (iBack ? Ndo_gManager.Undo() : Ndo_gManager.Redo())
            iBack ? --now : ++now;
        RC_ASSERT(now < stops.size() && Look() == stops[now] && Ndo_gManager.CanUndo() == (now > 0));
    };
    const auto end = [&](bool iCancel)
    {
        iCancel ? Ndo_gManager.CancelStep() : void(Ndo_gManager.EndStep());
        if (!Ndo_gManager.IsInStep() && Ndo_gManager.GetUndoName() == name)
            stops.resize(++now), stops.push_back(Look());
        RC_ASSERT(Ndo_gManager.IsInStep() || Look() == stops[now]);
    };
    for (const auto& [byte, place] : iProgram)
    {
        const int action = byte % 16;
        if (action == 0 || (action < 9 && !Ndo_gManager.IsInStep()))
            Ndo_gManager.BeginStep(Ndo_gManager.IsInStep() ? "Nested" : name += '.');
        List& list = *List::sLists[place % List::sLists.size()];
        const auto numberP = list.mNumbers.begin() + byte / 16 % (std::ssize(list.mNumbers) + 1);
        if (action < 4) // few numbers, so that what both ends have in common would overlap
            list.Edit().mNumbers.insert(numberP, place % 3);
        else if (action == 4)
            list.Edit().mNumbers.erase(list.mNumbers.begin(), numberP);
        else if (action <= 6)
            list.Own(action == 5 ? new List : nullptr);
        else if (action <= 8)
            (action == 7 ? *new List : first).Own(list.LetGo());
        else if (Ndo_gManager.IsInStep())
            end(action == 9);
        else
            go(action < 13);
    }
    while (Ndo_gManager.IsInStep())
        end(false);
    for (std::size_t i = 0; i < 2 * stops.size(); ++i)
        go(i < stops.size());
    RC_ASSERT(now + 1 == stops.size());
}

TEST_F(Ndo_History, PartsDeletedWithTheirOwnerComeBackWhicheverWasMadeFirst)
{
    for (const bool isOwnerFirst : {true, false})
    {
        List* const listsP[] = {new List, new List};
        const Ndo_ExternalRefBase owner(listsP[isOwnerFirst ? 0 : 1]), part(listsP[isOwnerFirst ? 1 : 0]);
        const auto ownerNow = [&] { return dynamic_cast<List*>(owner.GetObjPtr()); };
        ownerNow()->Own(dynamic_cast<List*>(part.GetObjPtr()));
        const World before = Look();
        Ndo_Step step("Delete");
        ownerNow()->Push(6); // the state from before this is the one that comes back
        ownerNow()->NdoDelete();
        EXPECT_TRUE(step.Commit() && !owner.GetObjPtr() && !part.GetObjPtr());
        EXPECT_TRUE(Ndo_gManager.Undo());
        EXPECT_EQ(Look(), before);
        EXPECT_EQ(ownerNow()->mPartP.Get(), part.GetObjPtr());
        EXPECT_TRUE(ownerNow()->mIsRecreated);
        (Ndo_Step("Change"), ownerNow()->Push(7)); // as undoable as before
        EXPECT_EQ(Look(), before);
    }
}

TEST_F(Ndo_History, AnExceptionInANestedStepRollsTheWholeBack)
{
    List& list = *new List;
    const World before = Look();
    Ndo_Step outer("Outer");
    list.Push(2);
    EXPECT_THROW((Ndo_Step("Inner"), list.Own(new List), throw 42), int);
    EXPECT_FALSE(outer.Commit());
    EXPECT_EQ(Look(), before);
    EXPECT_EQ(Ndo_gManager.GetStepCount(), 0u);
}

TEST_F(Ndo_History, HistoryCostsWhatWasEditedAndStaysInItsBounds)
{
    List& list = *new List;
    list.mNumbers.resize(20);
    constexpr std::size_t kBytesOfStep = Ndo_Manager::kBytesOfRecord + 1;
    const auto stepsAfterAnEdit = [&]
    {
        Ndo_Step step("Edit");
        ++list.Edit().mNumbers[10];
        EXPECT_EQ(Ndo_gManager.GetBytesHeld(), Ndo_gManager.GetStepCount() * kBytesOfStep + kBytesOfStep + 19);
        EXPECT_TRUE(step.Commit());
        EXPECT_EQ(Ndo_gManager.GetBytesHeld(), Ndo_gManager.GetStepCount() * kBytesOfStep);
        return Ndo_gManager.GetStepCount();
    };
    for (std::size_t steps = 1; steps <= 5; ++steps)
        EXPECT_EQ(stepsAfterAnEdit(), steps);
    Ndo_gManager.SetMaxBytes(4 * kBytesOfStep);
    EXPECT_EQ(stepsAfterAnEdit(), 4u);
    Ndo_gManager.SetMaxSteps(2);
    EXPECT_EQ(stepsAfterAnEdit(), 2u);
    Ndo_gManager.SetMaxBytes(0);
    EXPECT_EQ(stepsAfterAnEdit(), 1u); // the newest stays
    Ndo_gManager.Undo();
    Ndo_Step("Empty").Commit();
    EXPECT_TRUE(Ndo_gManager.CanRedo());
}

TEST_F(Ndo_History, WhatAStepKnowsMayChangeInStepsOnly)
{
    const std::pair<std::function<void(List*)>, std::size_t> kCases[] = {
        {[](List* iListP) { iListP->Push(1), iListP->Push(2); }, 1}, // reported once
        {[](List* iListP) { iListP->NdoDelete(); }, 0},
        {[](List* iListP) { delete iListP; }, 0},
    };
    for (const auto& [act, reports] : kCases)
    {
        RecordingAssertHandler asserts;
        List *const knownP = new List, *const unknownP = new List;
        Ndo_gManager.BeginStep("Change");
        knownP->Push(1);
        List().Push(1); // made and gone again: as if it had not been
        Ndo_gManager.EndStep();
        act(unknownP);
        EXPECT_TRUE(Ndo_gManager.CanUndo());
        act(knownP);
        EXPECT_FALSE(Ndo_gManager.CanUndo());
        EXPECT_EQ(asserts.Take().size(), reports);
    }
}

TEST_F(Ndo_History, WithoutMemoryUndoLeavesEverythingAsItWas)
{
    List &changed = *new List, &deleted = *new List;
    deleted.Own(new List), deleted.Push(1);
    Ndo_Step step("Step");
    changed.Push(2);
    changed.Own(deleted.LetGo());
    deleted.NdoDelete();
    (new List)->Own(new List);
    EXPECT_TRUE(step.Commit());
    const World after = Look();

    const auto undoWithout = [](int iAllocation)
    {
        const FailingAllocation failing(iAllocation);
        try
        {
            return Ndo_gManager.Undo();
        }
        catch (const std::bad_alloc&)
        {
            return false;
        }
    };
    int failures = 0;
    while (!undoWithout(failures + 1))
    {
        EXPECT_EQ(Look(), after);
        ++failures;
    }
    EXPECT_GT(failures, 5);
    EXPECT_TRUE(Ndo_gManager.Redo());

    RecordingAssertHandler asserts;
    Ndo_Step deletion("Delete");
    const FailingAllocation failing(1);
    changed.NdoDelete(); // takes place, and can be neither undone nor rolled back
    EXPECT_EQ(asserts.Take().size(), 1u);
    EXPECT_TRUE(deletion.Commit());
    EXPECT_FALSE(Ndo_gManager.CanUndo());
}

} // namespace
