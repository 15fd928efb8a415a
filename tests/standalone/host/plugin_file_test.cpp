#include <gtest/gtest.h>

#include "host/PluginFile.h"
#include "integration/support/temp_folder.h"

namespace qarhost {
namespace {

class PluginFileTest : public testing::Test {
protected:
    std::string Path(const std::string& name) const { return (folder_.Path() / name).string(); }

    qartest::TempFolder folder_;
    const PluginFolders folders_{Path("site"), Path("plugins")};
    std::string error_;
};

TEST_F(PluginFileTest, SiteFolderGoesBeforeTheFolderOfPlugins) {
    folder_.Write("site/a.so", "");
    folder_.Write("plugins/a.so", "");
    EXPECT_EQ(Path("site/a.so"), FindPluginFile("a.so", folders_, error_));
}

TEST_F(PluginFileTest, FolderOfPluginsIsLookedThroughNext) {
    folder_.Write("plugins/a.so", "");
    EXPECT_EQ(Path("plugins/a.so"), FindPluginFile("a.so", folders_, error_));
}

TEST_F(PluginFileTest, AbsolutePathIsTakenAsItStands) {
    folder_.Write("plugins/a.so", "");
    folder_.Write("elsewhere/a.so", "");
    EXPECT_EQ(Path("elsewhere/a.so"), FindPluginFile(Path("elsewhere/a.so"), folders_, error_));
    EXPECT_FALSE(FindPluginFile(Path("nowhere/a.so"), folders_, error_));
    EXPECT_EQ("file not found: " + Path("nowhere/a.so"), error_);
}

TEST_F(PluginFileTest, MissingFileIsToldWithAllPlacesThatWereLookedAt) {
    EXPECT_FALSE(FindPluginFile("a.so", folders_, error_));
    EXPECT_EQ("file not found: " + Path("site/a.so") + ", " + Path("plugins/a.so"), error_);
}

TEST_F(PluginFileTest, FolderOfThatNameIsNoPlugin) {
    std::filesystem::create_directories(Path("plugins/a.so"));
    EXPECT_FALSE(FindPluginFile("a.so", folders_, error_));
    EXPECT_NE(std::string::npos, error_.find(Path("plugins/a.so") + " (no file)")) << error_;
}

TEST(DefaultPluginDirTest, LiesBesideTheProgramsFolder) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ((program.parent_path().parent_path() / "lib/qarhost/plugins").string(), DefaultPluginDir());
}

}  // namespace
}  // namespace qarhost
