#include "CFnd/Sys_FileStream.h"

#include "Support/FailureOf.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t kBufferSize = 64 * 1024;

class Sys_FileStreamTest : public testing::Test
{
protected:
    std::string Path(const char* iName) const { return (mFolder.GetPath() / iName).string(); }
    std::string Content(const char* iName) const { return mFolder.ReadFile(iName); }
    std::ptrdiff_t CountFiles() const { return std::distance(fs::directory_iterator(mFolder.GetPath()), {}); }

    void Save(const char* iName, std::string_view iText) const
    {
        Sys_FileOutStream stream(Path(iName));
        stream.WriteBlock(iText.data(), iText.size());
        stream.Commit();
    }

    const TemporaryFolder mFolder;
};

} // namespace

TEST_F(Sys_FileStreamTest, AFileLargerThanTheBufferIsWrittenPatchedAndReadAnywhere)
{
    std::string bytes(5 * kBufferSize / 2, '.');
    const unsigned char patch[] = {'p', 'a', 't', 'c', 'h', '!'};
    Sys_FileOutStream out(Path("a"));
    out.WriteBlock(bytes.data(), 10);
    out.WriteBlock(bytes.data() + 10, bytes.size() - 10);
    for (const std::size_t position : {std::size_t{0}, kBufferSize - 3, 2 * kBufferSize - 3, bytes.size() - 6})
    {
        out.Patch(static_cast<std::int64_t>(position), patch);
        bytes.replace(position, 6, "patch!");
    }
    out.Commit();
    EXPECT_NE(FailureOf([&] { out.Commit(); }), "");

    Sys_FileInStream in(Path("a"));
    std::string read(bytes.size(), '\0');
    in.ReadBlock(read.data(), read.size());
    EXPECT_TRUE(read == bytes && in.IsAtEnd());

    // The file becomes shorter: a loop over windows until the end would otherwise never end.
    fs::resize_file(Path("a"), kBufferSize);
    in.SetPosition(kBufferSize);
    EXPECT_EQ(FailureOf([&] { in.GetWindow(); }), "end of stream at byte 65536");
}

TEST_F(Sys_FileStreamTest, WithoutCommitAndAfterAFailedWriteNothingChanges)
{
    Save("song", "old");
    const std::string bytes(3 * kBufferSize, '.');
    for (const auto* name : {"song", "new"})
        Sys_FileOutStream(Path(name)).WriteBlock(bytes.data(), bytes.size());
    EXPECT_EQ(Content("song"), "old");

    // A disk that is full half-way. What was lost is not committed afterwards, even if the rest would fit by then.
    Sys_FileOutStream stream(Path("song"));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit oldLimit = {};
    ::getrlimit(RLIMIT_FSIZE, &oldLimit);
    const rlimit limit{kBufferSize + 100, oldLimit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const std::string failure = FailureOf([&] { stream.WriteBlock(bytes.data(), bytes.size()); });
    ::setrlimit(RLIMIT_FSIZE, &oldLimit);
    EXPECT_EQ(failure, "write failed '" + Path("song") + "': File too large at byte 65636");
    EXPECT_NE(FailureOf([&] { stream.Commit(); }), "");
    EXPECT_EQ(Content("song"), "old");
    EXPECT_EQ(CountFiles(), 1);
}

TEST_F(Sys_FileStreamTest, AReplacedFileKeepsItsModeAndANewOneGetsTheUsual)
{
    constexpr auto kMode = fs::perms(0606);
    const mode_t oldMask = ::umask(027);
    Save("song", "");
    EXPECT_EQ(fs::status(Path("song")).permissions(), fs::perms(0640));
    fs::permissions(Path("song"), kMode | fs::perms::set_uid); // which the content alone had
    Sys_FileOutStream stream(Path("song"));
    for (const auto& file : fs::directory_iterator(mFolder.GetPath())) // nor is a private file public meanwhile
        EXPECT_EQ(file.status().permissions() & ~kMode & fs::perms::all, fs::perms::none) << file;
    stream.Commit();
    EXPECT_EQ(fs::status(Path("song")).permissions(), kMode);
    ::umask(oldMask);
}

TEST_F(Sys_FileStreamTest, OnlyARegularFileIsReadOrReplaced)
{
    fs::create_directory(Path("folder"));
    ASSERT_EQ(::mkfifo(Path("pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", Path("to_pipe"));
    fs::create_symlink("circle", Path("circle"));
    const std::pair<const char*, const char*> table[] = {
        {"folder", "Is a directory"},
        {"to_pipe", "not a regular file"},
        {"circle", "Too many levels of symbolic links"},
        {"missing/", "No such file or directory"},
    };
    for (const auto& [name, why] : table)
    {
        const std::string path = Path(name);
        const std::string failure = "cannot open '" + path + "': " + why;
        EXPECT_EQ(FailureOf([&] { Sys_FileInStream stream(path); }), failure);
        EXPECT_EQ(FailureOf([&] { Sys_FileOutStream stream(path); }), failure);
    }
    EXPECT_EQ(CountFiles(), 4);
}

TEST_F(Sys_FileStreamTest, ALinkStaysAndTheFileThatItNamesIsReplaced)
{
    fs::create_directory(Path("songs"));
    fs::create_symlink("../song", Path("songs/dangling"));
    fs::create_symlink(Path("songs/dangling"), Path("absolute"));
    Save("absolute", "text");
    EXPECT_TRUE(fs::is_symlink(Path("absolute")) && fs::is_symlink(Path("songs/dangling")));
    EXPECT_EQ(Content("song"), "text");
}
