#include "Command.h"
#include "MFnd/Ndo_Manager.h"
#include "Mdid/Mdid_Chunk.h"
#include "MdidHost/Edit/MdidHost_Edit.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Text/MdidHost_Text.h"

#include <algorithm>
#include <iostream>

namespace
{

using Kind = MdidHost_EditRequest::Kind;

// What the chunks of a session held at some moment.
class Contents
{
public:
    explicit Contents(const MdidHost_Session& iSession)
    {
        for (const MdidHost_Track& track : iSession.mTracks)
            mChunks.push_back(track.mChunk->Clone());
    }

    bool AreThoseOf(const MdidHost_Session& iSession) const
    {
        return std::ranges::equal(mChunks, iSession.mTracks,
                                  [](const auto& chunk, const auto& track) { return *chunk == *track.mChunk; });
    }

private:
    std::vector<Ndo_unique_ptr<Mdid_Chunk>> mChunks;
};

class EditCommand : public SessionCommand
{
public:
    explicit EditCommand(CLI::App& ioProgram)
        : SessionCommand(ioProgram, "edit", "Edit a session in one undo step, and save it",
                         "edit song.mdid --copy 3..5 --to 9 --track 2")
    {
        AddSession(mSession);
        CLI::App& edits = *mApp.add_option_group("What to do, one of");
        edits.add_option("--transpose", mSemitones, "Move notes by semitones")->check(CLI::Range(-127, 127));
        AddText(edits, "--shift", mShift,
                "Move all notes and events, but no tempo, meter, key or marker: 0:1:0 (a beat), -480t, 48000s, 1.5sec");
        AddText(edits, "--quantize", mGrid, "Move notes to a grid: 1/16, 0:1:0, 120t");
        CLI::Option& copy = AddText(edits, "--copy", mCopy, "Copy a range, 3:1:0..5:1:0, to --to");
        AddText(edits, "--erase", mErase, "Erase a range");
        edits.require_option(1);
        CLI::Option& target = AddText(mApp, "--to", mTarget, "Where to copy to");
        target.needs(&copy);
        copy.needs(&target);
        AddTrack(mRequest.mTrack);
        CLI::Option& output =
            AddText(mApp, "-o,--output", mOutput, "Another session folder to save to (needed for files)");
        mApp.add_flag("--undo", mProvesUndo, "Prove the way back and forth instead of saving")->excludes(&output);
    }

    int Run() override
    {
        if (!mProvesUndo)
            mOutput = FolderToSaveIn(mSession, mOutput);
        MdidHost_Session session = Open(mSession, Ndo_Object::kUndoable);
        const MdidHost_Session::Scope scope(session);
        VerifyTrack(session, mRequest.mTrack);
        ParseRequest(session);
        const int result = mProvesUndo ? ProveUndo(session) : EditAndSave(session);
        Ndo_gManager.DropHistory(); // before the chunks go that it knows
        return result;
    }

private:
    template <class Value>
    static Value Need(std::optional<Value> iValue, const char* iWhat, const std::string& iText)
    {
        if (!iValue)
            throw WrongUsage(std::string("edit: not a ") + iWhat + ": " + iText);
        return *iValue;
    }

    void ParseRequest(const MdidHost_Session& iSession)
    {
        const MdidHost_MusicalTime times(iSession);
        mRequest.mKind = mShift   ? Kind::kShift
                         : mGrid  ? Kind::kQuantize
                         : mCopy  ? Kind::kCopy
                         : mErase ? Kind::kErase
                                  : Kind::kTranspose;
        mRequest.mSemitones = mSemitones.value_or(0);
        if (const auto& length = mShift ? mShift : mGrid)
            mRequest.mLength = Need(times.ParseLength(*length), "length", *length);
        if (mGrid && mRequest.mLength.AsInt64() <= 0)
            throw WrongUsage("edit: not a grid: " + *mGrid);
        if (const auto& text = mCopy ? mCopy : mErase)
        {
            const auto range = Need(times.ParseRange(*text), "range", *text);
            mRequest.mStart = range.mStart;
            mRequest.mEnd = range.mEnd;
        }
        if (mTarget)
            mRequest.mTarget = Need(times.Parse(*mTarget), "time", *mTarget);
    }

    void Apply(MdidHost_Session& ioSession) const
    {
        try
        {
            const std::int64_t count = MdidHost_ApplyEdit(ioSession, mRequest);
            std::cout << MdidHost_NameOf(mRequest) << ": " << MdidHost_Counted(count, "event") << '\n';
        }
        catch (const std::invalid_argument& refusal)
        {
            throw WrongUsage(std::string("edit: ") + refusal.what());
        }
    }

    int EditAndSave(MdidHost_Session& ioSession) const
    {
        Apply(ioSession);
        MdidHost_SaveSession(ioSession, *mOutput);
        return kDone;
    }

    int ProveUndo(MdidHost_Session& ioSession) const
    {
        const Contents original(ioSession);
        Apply(ioSession);
        const Contents edited(ioSession);
        if (!Ndo_gManager.CanUndo())
        {
            std::cout << "nothing has changed\n";
            return original.AreThoseOf(ioSession) ? kDone : kBadInput;
        }
        const bool isUndone = Ndo_gManager.Undo() && original.AreThoseOf(ioSession);
        std::cout << (isUndone ? "undone: equal to the original\n" : "undone: NOT equal to the original\n");
        const bool isRedone = Ndo_gManager.Redo() && edited.AreThoseOf(ioSession);
        std::cout << (isRedone ? "redone: equal to the edited session\n" : "redone: NOT equal to the edited session\n");
        return isUndone && isRedone ? kDone : kBadInput;
    }

    std::string mSession;
    std::optional<int> mSemitones;
    std::optional<std::string> mShift;
    std::optional<std::string> mGrid;
    std::optional<std::string> mCopy;
    std::optional<std::string> mErase;
    std::optional<std::string> mTarget;
    std::optional<std::string> mOutput;
    bool mProvesUndo = false;
    MdidHost_EditRequest mRequest;
};

} // namespace

void AddEditCommand(CLI::App& ioProgram, Commands& ioCommands)
{
    ioCommands.push_back(std::make_unique<EditCommand>(ioProgram));
}
