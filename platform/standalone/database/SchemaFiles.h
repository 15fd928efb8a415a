#pragma once

#include <set>
#include <string>
#include <string_view>

#include "standalone/database/sqlite/Database.h"

namespace qarplatform {

/// The schemas of one connection: each is a file "<schema>.db" of the folder, named in lower case, attached under the
/// schema's name. Operations that fail give false and a text. Not inside a transaction.
class SchemaFiles {
public:
    SchemaFiles(sqlite::Database& database, std::string folder);

    /// Attaches the files that the folder holds, in the order of their names, as many as the engine attaches. What
    /// cannot be attached is logged and left out.
    void AttachAll();

    /// @return whether a file, not yet attached, belongs to a name
    bool IsWaiting(const std::string& name) const;

    /// Attaches a schema's file, made if absent.
    /// @param name  schema name in lower case
    bool Attach(const std::string& name, std::string& error);

private:
    std::string PathOf(const std::string& name) const;

    sqlite::Database& database_;
    const std::string folder_;
    std::set<std::string> attached_;
};

/// The file that holds the tables named without a schema.
inline constexpr std::string_view kMainSchema = "main";

/// @return the path of the file of kMainSchema
std::string MainFileOf(const std::string& folder);

}  // namespace qarplatform
