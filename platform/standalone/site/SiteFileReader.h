#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "standalone/site/SiteFile.h"
#include "standalone/site/TomlSection.h"

namespace qarplatform {

/// Reads the parsed text of a site file and reports everything that is wrong with it. For one use.
class SiteFileReader {
public:
    /// @param folder  of the site file, absolute; relative paths start there
    SiteFileReader(const toml::table& root, const std::filesystem::path& folder, SiteFileErrors& errors);

    /// @return the file; only to be used when no error was reported
    SiteFile Read();

private:
    /// The sections of a list, in the order of the records made of them.
    using Sections = std::vector<TomlSection>;

    /// Which section has taken an id or a name.
    template <class Key>
    using Owners = std::map<Key, const TomlSection*>;

    Sections ListOf(const char* key);
    void ReadSite();
    void ReadLog();
    void ReadClock();
    void ReadDatabase();
    void ReadProbe();
    void ReadHttp();
    void ReadZones();
    void ReadDaylight(TomlSection& section, ZoneRecord& zone);
    void ReadAreas();
    void ReadDevices();
    void ReadChannels();
    void ReadElements();
    void ReadPlugins();
    void ReadRoles();
    void ReadUsers();

    void CheckAreaParents();
    void CheckReferences();

    void ReadPath(TomlSection& section, const char* key, std::string& path);
    void ReadGuid(TomlSection& section, std::string& guid);
    /// Reports a value that another section of the list has already.
    template <class Key>
    void Claim(Owners<Key>& owners, const Key& value, const TomlSection& section, const char* key);
    std::string Absolute(const std::filesystem::path& folder, const std::string& path) const;

    TomlSection root_;
    std::filesystem::path folder_;
    SiteFileErrors& errors_;
    SiteFile file_;

    Sections zones_, areas_, devices_, channels_, elements_, plugins_, roles_, users_;
    Owners<std::string> zone_names_, guids_, plugin_ids_, role_names_, user_names_;
    Owners<int> area_ids_, device_ids_, channel_ids_, element_ids_, user_ids_;
};

}  // namespace qarplatform
