#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "plugins/backfill/Config.h"
#include "standalone/site/SiteFile.h"

namespace {

/// Goes up from the folder of this program. @return the repository's README; empty when there is none above it
std::string ReadReadme() {
    std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    while (folder.has_relative_path() && !std::filesystem::exists(folder / "README.md")) {
        folder = folder.parent_path();
    }
    std::ostringstream text;
    text << std::ifstream(folder / "README.md").rdbuf();
    return text.str();
}

/// @return the text between "```toml" and the next "```"
std::string TomlBlockOf(const std::string& text) {
    const std::string opening = "\n```toml\n";
    const std::size_t begin = text.find(opening);
    if (begin == std::string::npos) {
        return "";
    }
    return text.substr(begin + opening.size(), text.find("\n```", begin + 1) - begin - opening.size() + 1);
}

TEST(DemoReadmeTest, ItsSiteFileIsCompleteAndRight) {
    const std::string text = TomlBlockOf(ReadReadme());
    ASSERT_NE(text, "");
    std::vector<qarplatform::SiteFileError> errors;
    const auto file = qarplatform::ParseSiteFile(text, "/site/site.toml", errors);
    for (const qarplatform::SiteFileError& error : errors) {
        ADD_FAILURE() << error.Text();
    }
    ASSERT_TRUE(file);
    EXPECT_EQ(file->site.devices.size(), 1U);
    EXPECT_EQ(file->site.channels.size(), 1U);
    EXPECT_EQ(file->site.elements.size(), 1U);
    ASSERT_EQ(file->site.plugins.size(), 1U);
    backfill::Config config;
    std::string error;
    EXPECT_TRUE(backfill::ReadConfig(file->site.plugins[0].config_json, file->data_dir, config, error)) << error;
}

}  // namespace
