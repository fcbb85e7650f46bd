#include "CFnd/Cmn_XMLNode.h"
#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdid_Notifications.h"
#include "Mdid/TestNotes.h"
#include "Support/AllocationCounter.h"
#include "Support/FailureOf.h"
#include "Support/ScopedAllowMPE.h"

#include <sstream>

namespace
{

constexpr const char* kHead = "05 4d 64 4e 4c 42 03 00"; // "MdNLB", version
const std::string kCount = "02 00 00 00";
const std::string kFirst = "01983a0000000000 3c 014c1d0000000000 64 40";           // 960,000 ticks, 480,000 ticks
const std::string kSecond = "0130750000000000 40 0077010000000000 01 00";          // 1,920,000 ticks, 24,000 samples
const std::string kNotes = kCount + kFirst + "fdffffffffffffff 81c7feffffffffff" + // deltas of -1 and -20,000 ticks
                           kSecond + "0100000000000000 0000000000000000";
const std::string kOriginals = kCount + "0b000000 3e 81841e0000000000 5a 41 40 0077010000000000 01 00"; // 500,000 ticks
const std::string kFlags = kCount + "0300 12000000 01 09 fbffffffffffffff 0700000000000000" // muted, channel, -5 and 7
                                    "00 00 0000000000000000 0000000000000000";

// The notes of a record, and the bytes that they are written as.
struct SavedNotes : ChunkNotes
{
    SavedNotes() = default;
    explicit SavedNotes(const std::string& i, const char* iHead = kHead) { Load(*this, Record(iHead, FromHex(i))); }
    void StreamOut(Sys_TypedOutStream& ioStream) const { ChunkNotes::StreamOut(ioStream, mLanes); }
    mutable Mdid_ContinuousDataStreamList mLanes;

    // "m9 62 500000 -5|" for each note: muted or not, channel, original pitch and duration, left delta.
    std::string DescribeSections() const
    {
        std::ostringstream text;
        for (const Note& i : *this)
            text << (i.IsMuted() ? "m" : "") << int{i.GetEvent().GetChannel()} << ' ' << int{i.GetOriginalPitch()}
                 << ' ' << i.GetOriginalDuration().AsInt64() << ' ' << i.GetUntrimmedLeftDelta(nullptr).AsInt64()
                 << '|';
        return text.str();
    }
};

TEST(Mdid_NoteListRecord, TheRecordIsReadAndWrittenToTheLetter)
{
    int numMessages = 0;
    const auto count = [&numMessages](const Cmn_MsgBase&) { ++numMessages; };
    const auto trimmed = Cmn_N10nCenter::Subscribe(Mdid_N10n_MIDISerializingTrimmedNotes::kId, count);
    const auto silent = Cmn_N10nCenter::Subscribe(Mdid_N10n_MIDIZeroOnVelocitiesFound::kId, count);
    SavedNotes notes(kNotes + kOriginals + kFlags);
    EXPECT_EQ(Describe(notes), "960000:60x480000 1920000:64x24000 | 960000:60x480000 1920000:64x24000 ");
    EXPECT_EQ(notes[0].GetTrimExtension()->mClipUUID, Sys_UUID(7, 7)); // of the context
    EXPECT_EQ(ToHex(Saved(notes)), ToHex(Record(kHead, FromHex(kNotes + kOriginals + kFlags))));
    SavedNotes bare, clipped;
    clipped.SetClip({7, 8}, [](const Sys_UUID&, auto) { return Ticks(0); }), Load(clipped, Saved(notes));
    EXPECT_FALSE(clipped[0].HasTrimExtension()); // which it was not at this edge
    const ChunkNotes taken(std::move(bare));     // the context, too
    bare.Merge(&notes);
    EXPECT_TRUE(bare[0].HasTrimExtension() && Saved(bare)[16 + 74 + 30 + 12] == 0 && numMessages == 3);
    const SavedNotes shortNotes(kCount + // 0 ticks, originally 5; -1 sample
                                "0100010000000000 3c 0100000000000000 00 40 0100000000000000 edffffffffffffff"
                                "0100000000000000 3c fcffffffffffffff 00 40 0100000000000000 0000000000000000");
    EXPECT_EQ(Describe(shortNotes), "16384:60x1000 0:60x1 | 16384:60x1000 "); // kept: in the order of the stream
    EXPECT_EQ(shortNotes[0].GetNote().GetVelocity() + shortNotes[1].GetNote().GetVelocity(), 0); // kept
    EXPECT_TRUE(shortNotes.DescribeSections() == "0 60 5 0|0 60 1 0|" && numMessages == 5);
}

TEST(Mdid_NoteListRecord, OlderVersionsAndOtherSectionsAreReadAsFarAsTheyGo)
{
    const std::string beforeFlags = kNotes + kOriginals + kCount;
    const std::string onlyNotes = "0 60 500000 0|0 64 24000 0|";
    const std::tuple<const char*, std::string, std::string> kCases[] = {
        {kHead, kNotes + kOriginals + kFlags + "ff", "m9 62 500000 -5|0 64 24000 0|"}, // appended by a newer writer
        {"054d644e4c42 0100", kCount + kFirst + kSecond, "0 60 480000 0|0 64 24000 0|"},
        {"054d644e4c42 0200", kNotes + kFlags, "m9 60 500000 -5|0 64 24000 0|"},
        {kHead, kNotes + "0b000000 0b000000" + kFlags, onlyNotes}, // another count: what follows is unknown
        {kHead, kNotes + kCount + "02000000 00000000" + kFlags, "m9 60 500000 -5|0 64 24000 0|"}, // other size: skipped
        {kHead, kNotes + kCount + "ffffff7f" + kFlags, onlyNotes},
        {kHead, beforeFlags + "0100 01000000 01 00", "m0 62 500000 0|0 64 24000 0|"},
        {kHead, beforeFlags + "0200 03000000 0109aa 00ffaa", "m9 62 500000 0|0 64 24000 0|"}, // 255 is channel 0
        {kHead, beforeFlags + "0300 11000000" + std::string(68, '0'),
         "0 62 500000 0|0 64 24000 0|"}, // too short for three fields
    };
    for (const auto& [head, body, sections] : kCases)
        EXPECT_EQ(SavedNotes(body, head).DescribeSections(), sections) << body;
}

TEST(Mdid_NoteListRecord, DamageIsRefusedAndWhatWasReadBeforeIsKept)
{
    const ByteVector body = FromHex(kNotes + kOriginals + kFlags);
    const ByteVector whole = Record(kHead, body);
    for (int length = 0; length < std::ssize(body); ++length)
    {
        SavedNotes list;
        EXPECT_THROW(Load(list, {whole.begin(), whole.begin() + 16 + length}), Sys_StreamException);
        const bool isReadable = length == 74 || (length >= 82 && length <= 104) || length >= 114; // not in a head
        const ByteVector cut = Record(kHead, {body.begin(), body.begin() + length});
        EXPECT_EQ(FailureOf([&] { Load(list, cut); }).empty(), isReadable) << length;
        EXPECT_TRUE(static_cast<int>(list.Size()) == std::clamp((length - 4) / 35, 0, 2) && list.CheckInvariants());
    }
    const AllocationCounter counter;
    for (const std::string& text :
         {"ffffffff" + kFirst, "ffffff7f" + kNotes, "01000000 03" + std::string(68, '0'), // no kind
          kNotes + kCount + "0b000000 00 03" + std::string(40, '0'),                      // nor here
          kNotes + kOriginals + kCount + "0100 01000000 02 00"})                          // neither true nor false
        EXPECT_THROW(SavedNotes{text}, std::runtime_error) << text;
    EXPECT_LT(counter.GetPeakBytes(), 20000);
}

TEST(Mdid_NoteListRecord, LanesOfNotesJoinThoseOfTheChunk)
{
    const ScopedAllowMPE allow(true);
    const Mdid_PitchToMIDINoteWithDuration lower(0, 60, TickLength(1), 9, 64, 60.5f); // but behind the higher one
    SavedNotes notes;
    for (const Note& note : {MakeNote(0, 64, 1), MakeNote(5, 60, 1), Note({Ticks(0), lower})})
        notes.AddNote(note);
    for (const int i : {0, 1, 2})
        AddLane(notes, i, Mdie_SubStream::PitchBend());
    ASSERT_FALSE(Saved(notes).empty() || notes.mLanes.empty() || notes.mLanes[0]->NdoIsUndoable());
    std::string values;
    for (const auto& lane : notes.mLanes)
        values += std::to_string(lane->GetValueAtTime(Ticks(1))), lane.Get()->NdoDelete();
    EXPECT_EQ(values, "102");
    Mdie_SubStream key = Mdie_SubStream::PitchBend();
    key.LinkToNote(MakeNote(5, 70, 1)); // which no lane of the same time can go before
    Mdid_ContinuousDataStream inTheWay(key, Ndo_Object::kNotUndoable, false);
    notes.mLanes.clear(), notes.mLanes.InsertStream(&inTheWay);
    ASSERT_FALSE(Saved(notes).empty());
    EXPECT_EQ(std::ranges::count(notes.mLanes, &inTheWay, &Mdid_ContinuousDataStream::TrackedPtr::Get), 1);
    EXPECT_EQ(notes.mLanes.size(), 4u);
    for (auto& lane : notes.mLanes)
        if (lane.Get() != &inTheWay)
            lane.NdoDelete();
}

TEST(Mdid_NoteListRecord, PeopleReadItAsXMLAndAsText)
{
    SavedNotes notes(kNotes + kOriginals);
    notes.EraseNote(notes[1]);
    const auto node = notes.GetAsXML();
    std::string xml = node->GetName() + "=" + node->FindChild("nNumNotes")->GetValue() + " ";
    for (const auto& i : node->FindChild("Note")->GetChildren())
        xml += i->GetName() + "=" + (i->GetChildren().empty() ? i.get() : i->FindChild("nCount"))->GetValue() + " ";
    EXPECT_EQ(xml, "NoteList=1 Time=960000 nPitch=60 Duration=480000 nOnVel=100 nOffVel=64 QuantizeTimeDelta=-1 "
                   "DurationDeltaFromOriginal=-20000 nOriginalPitch=62 OriginalDuration=500000 nOriginalOnVel=90 "
                   "nOriginalOffVel=65 ");
    std::ostringstream text;
    notes.PrintList(text);
    EXPECT_EQ(text.str().substr(text.str().find('\n')),
              "\nNotes: [960:1440] (959) 60, \nOriginal notes: [960:1460] 62, \nLong notes: [960:1440] 60, ");
}

} // namespace
