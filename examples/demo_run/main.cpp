#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include "demo_cameras/stop_signal.h"
#include "demo_run/demo.h"
#include "demo_run/terminal.h"

namespace {

/// A new, empty folder for temporary files.
std::filesystem::path MakeTemporaryFolder() {
    std::string path = (std::filesystem::temp_directory_path() / "qarcommon-demo-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make a folder like " + path);
    }
    return path;
}

/// The named folder, or a temporary one that goes after a good run.
class WorkFolder {
public:
    explicit WorkFolder(const std::string& named)
        : path_(named.empty() ? MakeTemporaryFolder() : std::filesystem::absolute(named)), temporary_(named.empty()) {
        if (std::filesystem::exists(path_) && !std::filesystem::is_empty(path_)) {
            throw std::runtime_error("the folder " + path_.string() + " is not empty");
        }
    }

    const std::filesystem::path& Path() const { return path_; }

    /// Removes a temporary folder. @return whether the folder is still there
    bool Keep(bool keep) {
        std::error_code ignored;
        return keep || !temporary_ || std::filesystem::remove_all(path_, ignored) == 0;
    }

private:
    std::filesystem::path path_;
    bool temporary_;
};

}  // namespace

int main(int argc, char** argv) {
    demo::DemoOptions options;
    options.host = QARHOST_PATH;
    options.plugins = PLUGIN_DIR;
    std::string folder;
    bool keep = false;
    CLI::App app{
        "Shows the state history at work: cameras go away and come back, the gaps are found, told and fetched"};
    app.add_option("--for", options.for_s, "real seconds in which outages begin")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "seed of outages, clocks and recordings")->capture_default_str();
    app.add_option("--dir", folder,
                   "work folder, kept afterwards (default: a temporary one, kept if something failed)");
    app.add_flag("--keep", keep, "keep the temporary work folder");
    app.add_option("--host", options.host, "the program qarhost")->check(CLI::ExistingFile)->capture_default_str();
    app.add_option("--plugins", options.plugins, "the folder of backfill.so")
        ->check(CLI::ExistingDirectory)
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    try {
        demo::StopSignal stop;
        WorkFolder work(folder);
        options.folder = work.Path();
        std::fprintf(stderr, "demo_run: work folder %s\n", work.Path().c_str());
        const int code = demo::Demo(options, demo::DetectTerminal(), stop).Run();
        if (work.Keep(keep || code == 1)) {
            std::fprintf(stderr, "demo_run: kept %s\n", work.Path().c_str());
        }
        return code;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "demo_run: %s\n", error.what());
        return 1;
    }
}
