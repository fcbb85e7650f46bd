#include "MdidHost/Import/MdidHost_Input.h"

#include "CFnd/Sys_StreamException.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace
{

class MdidHost_Input : public testing::Test
{
protected:
    void Write(const std::string& iName, const std::string& iText = "x") const
    {
        std::filesystem::create_directories((mFolder.GetPath() / iName).parent_path());
        std::ofstream(mFolder.GetPath() / iName, std::ios::binary) << iText;
    }

    std::string PathOf(const std::string& iName) const { return (mFolder.GetPath() / iName).string(); }

    // The names within the folder, each followed by a blank.
    std::string Expanded(const std::string& iName) const
    {
        std::string names;
        for (const std::string& path : MdidHost_ExpandInputs({PathOf(iName)}))
            names += path.substr(mFolder.GetPath().string().size() + 1) + ' ';
        return names;
    }

    static std::string ReadAll(Cmn_InStream& ioStream)
    {
        std::string text(static_cast<std::size_t>(ioStream.GetLength()), '\0');
        ioStream.ReadBlock(text.data(), text.size());
        return text;
    }

    TemporaryFolder mFolder;
};

} // namespace

TEST_F(MdidHost_Input, FoldersAndPatternsStandForFiles)
{
    for (const char* const name : {"b.mid", "a.MIDI", "c.txt", "sub/d.smf", "sub/.e.mid", "sub/deeper/f.Mid", "mid",
                                   "[b].mid", "empty/g.mid.bak"})
        Write(name);
    std::filesystem::create_directory_symlink(mFolder.GetPath(), mFolder.GetPath() / "sub/loop");
    std::filesystem::create_symlink("gone", mFolder.GetPath() / "sub/broken.mid");
    std::filesystem::create_directory(mFolder.GetPath() / "sub/folder.mid");
    ASSERT_EQ(::mkfifo(PathOf("sub/pipe.mid").c_str(), 0600), 0);

    const struct
    {
        const char* mName;
        const char* mFiles;
    } kCases[] = {
        {"sub", "sub/.e.mid sub/broken.mid sub/d.smf sub/deeper/f.Mid "}, // no pipe, no end in the loop
        {"*.mid", "[b].mid b.mid "},
        {"s*b", "sub/.e.mid sub/broken.mid sub/d.smf sub/deeper/f.Mid "}, // a pattern may match a folder
        {"[b].mid", "[b].mid "},                                          // a file of just this name comes first
        {"[ab].mid", "b.mid "},
        {"x*.mid", "x*.mid "}, // no match: itself, so that opening it fails
        {"c.txt", "c.txt "},   // who names a file means it
        {"empty", "empty "},   // nothing in it: itself, so that it is not passed over in silence
        {"missing.mid", "missing.mid "},
    };
    for (const auto& [name, files] : kCases)
        EXPECT_EQ(Expanded(name), files) << name;
    EXPECT_EQ(MdidHost_ExpandInputs({"-", PathOf("b.mid"), "-"}),
              (std::vector<std::string>{"-", PathOf("b.mid"), "-"}));
}

TEST_F(MdidHost_Input, APipeIsReadToItsEndAndMayThenBeReadTwice)
{
    const std::string text = "MThd" + std::string(200'000, 'z') + "end";
    ASSERT_EQ(::mkfifo(PathOf("pipe").c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(PathOf("pipe"), std::ios::binary) << text; });
    const auto stream = MdidHost_OpenInput(PathOf("pipe"));
    writer.join();
    EXPECT_EQ(ReadAll(*stream), text);
    stream->SetPosition(0);
    EXPECT_EQ(ReadAll(*stream), text);
}

TEST_F(MdidHost_Input, AnEndlessPipeThatIsNoMidiFileIsNotWaitedFor)
{
    EXPECT_GE(MdidHost_OpenInput("/dev/zero")->GetLength(), 4);
}

TEST_F(MdidHost_Input, WhatCannotBeReadSaysWhy)
{
    for (const std::string& name : {PathOf("missing"), PathOf("."), std::string()})
        EXPECT_THROW(MdidHost_OpenInput(name), Sys_StreamException) << name;
}
