#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "host/PluginLoader.h"
#include "integration/support/temp_folder.h"

namespace qarhost {
namespace {

int StartNothing(const qarhost_context_t*) { return 0; }

qarhost_plugin_t GoodPlugin() {
    return {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "name", "1.0", &StartNothing, nullptr};
}

class CheckPluginTest : public testing::Test {
protected:
    void ExpectRefused(const qarhost_plugin_t* plugin, const std::string& reason) {
        EXPECT_FALSE(CheckPlugin(plugin, error_));
        EXPECT_NE(std::string::npos, error_.find(reason)) << error_;
    }

    qarhost_plugin_t plugin_ = GoodPlugin();
    std::string error_;
};

TEST_F(CheckPluginTest, DescriptionOfThisVersionIsTaken) { EXPECT_TRUE(CheckPlugin(&plugin_, error_)) << error_; }

TEST_F(CheckPluginTest, LargerDescriptionOfThisVersionIsTaken) {
    plugin_.size += 64;
    EXPECT_TRUE(CheckPlugin(&plugin_, error_)) << error_;
}

TEST_F(CheckPluginTest, NullDescriptionIsRefused) { ExpectRefused(nullptr, "qarhost_plugin_entry gave null"); }

TEST_F(CheckPluginTest, NewerVersionIsRefused) {
    plugin_.abi_version = QARHOST_ABI_VERSION + 1;
    ExpectRefused(&plugin_, "version 2 of the plug-in entry, which is newer than this host's version 1");
}

TEST_F(CheckPluginTest, OlderVersionIsRefused) {
    plugin_.abi_version = QARHOST_ABI_VERSION - 1;
    ExpectRefused(&plugin_, "version 0 of the plug-in entry, which is older than this host's version 1");
}

TEST_F(CheckPluginTest, SmallerDescriptionIsRefused) {
    plugin_.size = sizeof(qarhost_plugin_t) - 1;
    ExpectRefused(&plugin_, "its description has " + std::to_string(sizeof(qarhost_plugin_t) - 1) +
                                " bytes, at least " + std::to_string(sizeof(qarhost_plugin_t)) + " are needed");
}

TEST_F(CheckPluginTest, MissingStartIsRefused) {
    plugin_.start = nullptr;
    ExpectRefused(&plugin_, "no start function");
}

class LoadPluginTest : public testing::Test {
protected:
    void ExpectRefused(const std::string& file, const std::string& reason) {
        EXPECT_EQ(nullptr, LoadPlugin(file, error_));
        EXPECT_NE(std::string::npos, error_.find(reason)) << error_;
    }

    qartest::TempFolder folder_;
    std::string error_;
};

TEST_F(LoadPluginTest, TextFileIsNoSharedLibrary) {
    const std::string file = folder_.Write("a.so", "hello");
    ExpectRefused(file, file + " is no shared library");
}

TEST_F(LoadPluginTest, EmptyFileIsNoSharedLibrary) {
    const std::string file = folder_.Write("a.so", "");
    ExpectRefused(file, file + " is no shared library");
}

TEST_F(LoadPluginTest, CutLibraryIsToldInTheLoadersWords) {
    const std::string file = folder_.Write("a.so", std::string("\x7f"
                                                               "ELF\x02\x01\x01") +
                                                       std::string(200, '\0'));
    ExpectRefused(file, "cannot be loaded: " + file);
}

TEST_F(LoadPluginTest, LibraryWithoutTheEntryIsNoPlugin) {
    Dl_info info{};
    ASSERT_NE(0, dladdr(reinterpret_cast<void*>(&sqlite3_libversion), &info));
    ASSERT_NE(std::string::npos, std::string(info.dli_fname).find(".so"));
    ExpectRefused(info.dli_fname, "does not export qarhost_plugin_entry");
}

}  // namespace
}  // namespace qarhost
