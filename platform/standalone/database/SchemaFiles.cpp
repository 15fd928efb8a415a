#include "standalone/database/SchemaFiles.h"

#include <sqlite3.h>

#include <filesystem>
#include <utility>

#include "standalone/base/LowerCase.h"
#include "standalone/database/SqlText.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kSuffix = ".db";

bool IsBuiltIn(const std::string& name) { return name == kMainSchema || name == "temp"; }

}  // namespace

SchemaFiles::SchemaFiles(sqlite::Database& database, std::string folder)
    : database_(database), folder_(std::move(folder)) {}

void SchemaFiles::AttachAll() {
    std::set<std::string> names;
    std::error_code failure;
    for (fs::directory_iterator entry(folder_, failure), end; !failure && entry != end; entry.increment(failure)) {
        const fs::path file = entry->path().filename();
        const std::string name = file.stem().string();
        if (file.extension() == kSuffix && IsPlainName(name) && name == LowerCase(name) && !IsBuiltIn(name)) {
            names.insert(name);
        }
    }
    for (const std::string& name : names) {
        std::string error;
        if (!Attach(name, error)) {
            LogSinkWrite(kLogError, kModulePlatform, "[database] %s", error.c_str());
        }
    }
}

bool SchemaFiles::IsWaiting(const std::string& name) const {
    std::error_code failure;
    return IsPlainName(name) && !IsBuiltIn(name) && attached_.count(name) == 0 && fs::exists(PathOf(name), failure);
}

bool SchemaFiles::Attach(const std::string& name, std::string& error) {
    if (!IsPlainName(name) || IsBuiltIn(name)) {
        error = "schema " + sqlite::QuotedName(name) +
                " is refused: a schema's name is made of letters, digits and underscores, begins with no digit, and is "
                "neither main nor temp";
        return false;
    }
    const int most = sqlite3_limit(database_.Handle(), SQLITE_LIMIT_ATTACHED, -1);
    if (attached_.size() >= static_cast<std::size_t>(most)) {
        error = "schema " + name + " cannot be attached: " + std::to_string(most) +
                " schemas are attached already, which is the most SQLite takes here";
        return false;
    }
    if (!database_.Attach(PathOf(name), name)) {
        error = "schema " + name + " cannot be attached: " + database_.Error();
        return false;
    }
    attached_.insert(name);
    return true;
}

std::string SchemaFiles::PathOf(const std::string& name) const { return folder_ + "/" + name + std::string(kSuffix); }

std::string MainFileOf(const std::string& folder) {
    return folder + "/" + std::string(kMainSchema) + std::string(kSuffix);
}

}  // namespace qarplatform
