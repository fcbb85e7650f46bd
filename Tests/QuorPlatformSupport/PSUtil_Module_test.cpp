#include "QuorPlatformSupport/PSUtil_Module.h"

#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace
{

// The trace module serves as the module to load, under names of its own.
class PSUtil_Module_Path : public testing::Test
{
protected:
    fs::path PlaceModule(const fs::path& iFile) const
    {
        const fs::path file = mFolder.GetPath() / iFile;
        fs::create_directories(file.parent_path());
        fs::copy_file(PSUtil_Module::Load("QuorTrace").GetPath(), file);
        return file;
    }

    const TemporaryFolder mFolder;
    const ScopedEnvironment mPath{"MDID_MODULE_PATH", "/nowhere/at/all::" + mFolder.GetPath().string()};
};

} // namespace

TEST_F(PSUtil_Module_Path, FoldersOfThePathComeBeforeTheLibrarysOwn)
{
    const std::string own = PSUtil_Module::Load("QuorTrace").GetPath();
    const fs::path inSubFolder = PlaceModule("de/QuorTrace.so");
    std::ofstream(mFolder.GetPath() / "QuorTrace.so") << "not a module";
    EXPECT_EQ(PSUtil_Module::Load("QuorTrace").GetPath(), own);
    fs::remove(mFolder.GetPath() / "QuorTrace.so");
    EXPECT_EQ(PSUtil_Module::Load("QuorTrace", "de").GetPath(), inSubFolder);
    EXPECT_FALSE(PSUtil_Module::Load("QuorTrace", "fr"));
    const fs::path overruling = PlaceModule("QuorTrace.so");
    EXPECT_EQ(PSUtil_Module::Load("QuorTrace").GetPath(), overruling);
}

TEST_F(PSUtil_Module_Path, ANameNeverLeavesItsFolder)
{
    PlaceModule("Sounds.so");
    PlaceModule("de/Sounds.so");
    for (const std::string name : {"", "..", "de/Sounds", "de/../Sounds", "/Sounds"})
        EXPECT_FALSE(PSUtil_Module::Load(name)) << name;
    EXPECT_FALSE(PSUtil_Module::Load(std::string("Sounds.so\0", 10)));
    for (const std::string subFolder : {".", "..", "de/", "de/../de"})
        EXPECT_FALSE(PSUtil_Module::Load("Sounds", subFolder)) << subFolder;
}
