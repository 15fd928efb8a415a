#pragma once

#include <toml++/toml.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "standalone/site/SiteFileErrors.h"

namespace qarplatform {

enum class Need { kOptional, kRequired };

/// One table of a site file. Each read tests the value's type and range, and reports what is wrong; a value that is
/// missing or wrong leaves the caller's variable as it was. The table and the errors must outlive the object.
class TomlSection {
public:
    /// @param path  name of the table in messages: "device[3]"; "" for the whole file
    TomlSection(const toml::table& table, std::string path, SiteFileErrors& errors);

    bool Has(const char* key) const { return table_->contains(key); }
    std::size_t Line() const;
    /// @return the line of a key's value; the table's own when the key is not there
    std::size_t Line(const char* key) const;
    const std::string& Path() const { return path_; }

    /// Texts hold no control characters; a required one is not empty. @return whether `value` was set
    bool Text(const char* key, Need need, std::string& value);
    bool Flag(const char* key, Need need, bool& value);
    bool Number(const char* key, Need need, double lowest, double highest, double& value);
    /// A date and time with an offset from UTC, of the years 1970 to 2199. @param value  gets milliseconds since 1970
    /// UTC
    bool Moment(const char* key, Need need, std::optional<int64_t>& value);
    template <class Int>
    bool Integer(const char* key, Need need, int64_t lowest, int64_t highest, Int& value) {
        static_assert(std::is_integral_v<Int>);
        int64_t read = 0;
        if (!ReadInteger(key, need, lowest, highest, read)) {
            return false;
        }
        value = static_cast<Int>(read);
        return true;
    }
    bool Id(const char* key, Need need, int& value) {
        return Integer(key, need, 1, std::numeric_limits<int>::max(), value);
    }
    /// A list of whole numbers or texts, none of them twice or empty. @return whether `values` was set
    bool Integers(const char* key, Need need, std::vector<int>& values);
    bool Texts(const char* key, Need need, std::vector<std::string>& values);
    /// @return the table of a key; null when it is missing or no table
    const toml::table* Table(const char* key, Need need);
    /// @return the list of tables of a key; null when it is missing or something else
    const toml::array* Tables(const char* key);

    /// Reports a key's value. @param key  "" for the table as a whole
    void Error(const char* key, const std::string& message) const;
    /// Reports each key that none of the reads has asked for.
    void ReportUnknown() const;

private:
    const toml::node* Find(const char* key, Need need, const char* kind);
    bool ReadInteger(const char* key, Need need, int64_t lowest, int64_t highest, int64_t& value);
    template <class Value, class Read>
    bool ReadList(const char* key, Need need, const char* kind, std::vector<Value>& values, Read read);
    std::string KeyPath(std::string_view key) const;
    void WrongType(const char* key, const char* kind, const toml::node& node) const;

    const toml::table* table_;
    std::string path_;
    SiteFileErrors* errors_;
    std::set<std::string> known_;
};

}  // namespace qarplatform
