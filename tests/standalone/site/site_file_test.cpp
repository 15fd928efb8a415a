#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <tuple>
#include <vector>

#include "standalone/site/SiteFile.h"
#include "standalone/site/site_folder.h"

namespace {

using qarplatform::ReadSiteFile;
using qarplatform::SiteFile;
using qarplatform::SiteFileError;
using site_test::SiteFolder;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using namespace std::chrono_literals;
using namespace ZELPlatform::InterfaceCommonData::AccesstypeInfo;

constexpr const char* kWholeSite = R"([site]
name = "demo"
data_dir = "data"
[log]
level = "warning"
file = "log/host.log"
max_bytes = 20000
files = 3
[clock]
scale = 600
origin = 2026-03-01T00:00:00Z
start = 2026-02-28T01:00:00+01:00
[database]
dir = "tables"
[probe]
period_s = 30
timeout_ms = 500
failures = 2
connections = 64
[http]
address = "192.0.2.7:443"
certificate = "tls/site.pem"
key = "/etc/site.key"
connections = 50
body_limit_mb = 10
answer_timeout_s = 20
session_idle_s = 600
login_tries = 3
login_window_s = 30
[[role]]
name = "Administrator"
[[role]]
name = "guard"
permissions = [7, -1, 2147483647]
[[user]]
id = 1
name = "anna"
roles = ["guard", "Administrator"]
[[user]]
id = 2
name = "Bert B."
person = 70
[[zone]]
name = "west5"
display_name = "Five hours west"
bias = 300
daylight_enable = true
daylight_date = "3:2:0:2:0"
standard_date = "11:1:0:2:0"
daylight_bias = -60
[[zone]]
name = "east8"
bias = -480
[[area]]
id = 1
name = "Yard"
[[area]]
id = 2
name = "Gate"
parent = 1
[[device]]
id = 7
guid = "D-7"
type = 2002
name = "Gate camera"
probe = "rtsp://[::1]:5541/stream"
archive = "http://127.0.0.1:8081/archive"
zone = "west5"
guard = false
[[device]]
id = 8
name = "Yard camera"
probe = "tcp://camera.example:80"
[[channel]]
id = 101
device = 7
no = 1
[[element]]
id = 1001
name = "Gate"
channel = 101
area = 2
[[plugin]]
id = "backfill"
path = "backfill.so"
[plugin.config]
schema = "backfill"
cameras = [101, 102]
nested = { ratio = 0.5, on = true, since = 2026-03-01 }
[[plugin]]
id = "other"
path = "lib/other.so"
)";

class SiteFileTest : public testing::Test {
protected:
    SiteFile Read(const std::string& text) {
        std::vector<SiteFileError> errors;
        const auto file = ReadSiteFile(folder_.Write("site.toml", text), errors);
        EXPECT_TRUE(file.has_value());
        for (const SiteFileError& error : errors) {
            ADD_FAILURE() << error.Text();
        }
        return file.value_or(SiteFile());
    }

    SiteFolder folder_;
};

TEST_F(SiteFileTest, EveryKeyIsRead) {
    const SiteFile file = Read(kWholeSite);

    EXPECT_EQ(file.name, "demo");
    EXPECT_EQ(file.data_dir, folder_.At("data"));
    EXPECT_EQ(file.log.level, 4);
    EXPECT_EQ(file.log.file, folder_.At("data/log/host.log"));
    EXPECT_EQ(file.log.max_bytes, 20000U);
    EXPECT_EQ(file.log.files, 3U);
    EXPECT_EQ(file.clock_scale, 600);
    EXPECT_EQ(file.clock_origin_ms, 1772323200000);
    EXPECT_EQ(file.clock_start_ms, 1772236800000);
    EXPECT_EQ(file.probe.period_s, 30);
    EXPECT_EQ(file.probe.timeout_ms, 500);
    EXPECT_EQ(file.probe.failures, 2);
    EXPECT_EQ(file.probe.connections, 64);
    EXPECT_EQ(file.site.database_dir, folder_.At("data/tables"));

    ASSERT_TRUE(file.http.has_value());
    EXPECT_EQ(file.http->address, "192.0.2.7");
    EXPECT_EQ(file.http->port, 443);
    EXPECT_EQ(file.http->certificate_file, folder_.At("tls/site.pem"));
    EXPECT_EQ(file.http->key_file, "/etc/site.key");
    EXPECT_TRUE(file.http->IsSecure());
    EXPECT_FALSE(file.http->plain);
    EXPECT_EQ(file.http->connections, 50U);
    EXPECT_EQ(file.http->body_bytes, 10U << 20);
    EXPECT_EQ(file.http->answer_timeout, 20s);
    EXPECT_EQ(file.http->sessions.idle, 600s);
    EXPECT_EQ(file.http->sessions.login_tries, 3);
    EXPECT_EQ(file.http->sessions.login_window, 30s);
    EXPECT_EQ(file.site.access_type, kAccessHttps);

    ASSERT_EQ(file.site.roles.size(), 2U);
    EXPECT_EQ(file.site.roles[0].name, "Administrator");
    EXPECT_THAT(file.site.roles[0].permissions, IsEmpty());
    EXPECT_EQ(file.site.roles[1].name, "guard");
    EXPECT_THAT(file.site.roles[1].permissions, ElementsAre(7, -1, 2147483647));
    ASSERT_EQ(file.site.users.size(), 2U);
    EXPECT_EQ(file.site.users[0].id, 1);
    EXPECT_EQ(file.site.users[0].name, "anna");
    EXPECT_THAT(file.site.users[0].roles, ElementsAre("guard", "Administrator"));
    EXPECT_EQ(file.site.users[0].person, 0);
    EXPECT_EQ(file.site.users[1].name, "Bert B.");
    EXPECT_THAT(file.site.users[1].roles, IsEmpty());
    EXPECT_EQ(file.site.users[1].person, 70);

    ASSERT_EQ(file.site.zones.size(), 2U);
    EXPECT_EQ(file.site.zones[0].name, "west5");
    EXPECT_EQ(file.site.zones[0].display_name, "Five hours west");
    EXPECT_EQ(file.site.zones[0].bias, 300);
    EXPECT_TRUE(file.site.zones[0].has_daylight);
    EXPECT_TRUE(file.site.zones[0].daylight_enable);
    EXPECT_EQ(file.site.zones[0].daylight_date, "3:2:0:2:0");
    EXPECT_EQ(file.site.zones[0].standard_date, "11:1:0:2:0");
    EXPECT_EQ(file.site.zones[0].daylight_bias, -60);
    EXPECT_EQ(file.site.zones[1].display_name, "east8");
    EXPECT_FALSE(file.site.zones[1].has_daylight);

    ASSERT_EQ(file.site.areas.size(), 2U);
    EXPECT_EQ(file.site.areas[0].parent, 0);
    EXPECT_EQ(file.site.areas[1].id, 2);
    EXPECT_EQ(file.site.areas[1].name, "Gate");
    EXPECT_EQ(file.site.areas[1].parent, 1);

    ASSERT_EQ(file.site.devices.size(), 2U);
    EXPECT_EQ(file.site.devices[0].id, 7);
    EXPECT_EQ(file.site.devices[0].guid, "D-7");
    EXPECT_EQ(file.site.devices[0].type, 2002);
    EXPECT_EQ(file.site.devices[0].name, "Gate camera");
    EXPECT_EQ(file.site.devices[0].probe, "rtsp://[::1]:5541/stream");
    EXPECT_EQ(file.site.devices[0].archive, "http://127.0.0.1:8081/archive");
    EXPECT_EQ(file.site.devices[0].zone, "west5");
    EXPECT_FALSE(file.site.devices[0].guard);
    EXPECT_EQ(file.site.devices[1].type, 2001);
    EXPECT_TRUE(file.site.devices[1].guard);

    ASSERT_EQ(file.site.channels.size(), 1U);
    EXPECT_EQ(file.site.channels[0].id, 101);
    EXPECT_EQ(file.site.channels[0].device, 7);
    EXPECT_EQ(file.site.channels[0].no, 1);
    EXPECT_EQ(file.site.channels[0].type, 1001);

    ASSERT_EQ(file.site.elements.size(), 1U);
    EXPECT_EQ(file.site.elements[0].id, 1001);
    EXPECT_EQ(file.site.elements[0].name, "Gate");
    EXPECT_EQ(file.site.elements[0].channel, 101);
    EXPECT_EQ(file.site.elements[0].area, 2);

    ASSERT_EQ(file.site.plugins.size(), 2U);
    EXPECT_EQ(file.site.plugins[0].id, "backfill");
    EXPECT_EQ(file.site.plugins[0].config_json,
              R"({"cameras":[101,102],"nested":{"on":true,"ratio":0.5,"since":"2026-03-01"},"schema":"backfill"})");
    EXPECT_EQ(file.site.plugins[1].path, folder_.At("lib/other.so"));
    EXPECT_EQ(file.site.plugins[1].config_json, "{}");
}

TEST_F(SiteFileTest, WhatIsLeftOutHasItsDefault) {
    const SiteFile file = Read("[site]\nname = \"x\"\n");

    EXPECT_EQ(file.data_dir, folder_.At("data"));
    EXPECT_EQ(file.log.level, 3);
    EXPECT_EQ(file.log.file, folder_.At("data/log/qarhost.log"));
    EXPECT_EQ(file.clock_scale, 1);
    EXPECT_FALSE(file.clock_origin_ms.has_value());
    EXPECT_FALSE(file.clock_start_ms.has_value());
    EXPECT_EQ(file.probe.period_s, 60);
    EXPECT_EQ(file.probe.timeout_ms, 2000);
    EXPECT_EQ(file.probe.failures, 1);
    EXPECT_EQ(file.probe.connections, 512);
    EXPECT_EQ(file.site.database_dir, folder_.At("data/db"));
    EXPECT_THAT(file.site.devices, IsEmpty());
    EXPECT_FALSE(file.http.has_value());
    EXPECT_EQ(file.site.access_type, kAccessHttp);
    EXPECT_THAT(file.site.users, IsEmpty());
}

TEST_F(SiteFileTest, FrontWithNothingSaidListensOnLoopback) {
    const SiteFile file = Read("[site]\nname = \"x\"\n[http]\n");

    ASSERT_TRUE(file.http.has_value());
    EXPECT_EQ(file.http->address, "127.0.0.1");
    EXPECT_EQ(file.http->port, 8080);
    EXPECT_EQ(file.http->certificate_file, "");
    EXPECT_EQ(file.http->key_file, "");
    EXPECT_FALSE(file.http->IsSecure());
    EXPECT_FALSE(file.http->plain);
    EXPECT_EQ(file.http->connections, 1024U);
    EXPECT_EQ(file.http->body_bytes, 64U << 20);
    EXPECT_EQ(file.http->answer_timeout, 60s);
    EXPECT_EQ(file.http->sessions.idle, 1800s);
    EXPECT_EQ(file.http->sessions.login_tries, 5);
    EXPECT_EQ(file.http->sessions.login_window, 60s);
    EXPECT_EQ(file.site.access_type, kAccessHttp);
}

TEST_F(SiteFileTest, LoopbackOfEitherKindNeedsNoCertificateAndAnyPortWillDo) {
    for (const auto& [text, address, port] :
         {std::tuple("127.0.0.1:0", "127.0.0.1", 0), std::tuple("127.8.9.10:65535", "127.8.9.10", 65535),
          std::tuple("[::1]:80", "::1", 80)}) {
        const SiteFile file = Read(std::string("[site]\nname = \"x\"\n[http]\naddress = \"") + text + "\"\n");
        ASSERT_TRUE(file.http.has_value());
        EXPECT_EQ(file.http->address, address);
        EXPECT_EQ(file.http->port, port);
    }
}

TEST_F(SiteFileTest, PlainHttpBeyondThisMachineMustBeAllowed) {
    const SiteFile file = Read("[site]\nname = \"x\"\n[http]\naddress = \"[::]:8080\"\nplain = true\n");
    ASSERT_TRUE(file.http.has_value());
    EXPECT_EQ(file.http->address, "::");
    EXPECT_FALSE(file.http->IsSecure());
    EXPECT_TRUE(file.http->plain);
}

TEST_F(SiteFileTest, AbsolutePathsStay) {
    const SiteFile file = Read(
        "[site]\nname=\"x\"\ndata_dir=\"/var/lib/x\"\n[log]\nfile=\"/var/log/x.log\"\n[database]\ndir=\"/db\"\n"
        "[[plugin]]\nid=\"p\"\npath=\"/opt/p.so\"\n");

    EXPECT_EQ(file.data_dir, "/var/lib/x");
    EXPECT_EQ(file.log.file, "/var/log/x.log");
    EXPECT_EQ(file.site.database_dir, "/db");
    EXPECT_EQ(file.site.plugins[0].path, "/opt/p.so");
}

TEST_F(SiteFileTest, DataDirHasRoomForTheControlSocketBehindIt) {
    const auto site = [](std::size_t length) {
        return "[site]\nname=\"x\"\ndata_dir=\"/" + std::string(length - 1, 'd') + "\"\n";
    };
    EXPECT_EQ(Read(site(94)).data_dir.size(), 94U);

    std::vector<SiteFileError> errors;
    EXPECT_FALSE(ReadSiteFile(folder_.Write("site.toml", site(95)), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].Text(), folder_.At("site.toml") +
                                    ":3: site.data_dir: must be a path of at most 94 bytes, as the control socket lies "
                                    "in it, found 95: /" +
                                    std::string(94, 'd'));
}

TEST_F(SiteFileTest, DatabaseThatLeadsToTheDataDirByALinkIsRefused) {
    std::filesystem::create_directory(folder_.At("data"));
    std::filesystem::create_directory_symlink(folder_.At("data"), folder_.At("link"));
    std::vector<SiteFileError> errors;
    const std::string text = "[site]\nname=\"x\"\n[database]\ndir=\"../link\"\n";
    EXPECT_FALSE(ReadSiteFile(folder_.Write("site.toml", text), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].key, "database.dir");
}

TEST_F(SiteFileTest, BareNameOfAPluginIsTakenFromBesideTheFileWhenItStandsThere) {
    const std::string text = "[site]\nname=\"x\"\n[[plugin]]\nid=\"p\"\npath=\"p.so\"\n";
    EXPECT_EQ(Read(text).site.plugins[0].path, "p.so");

    folder_.Write("p.so", "");
    EXPECT_EQ(Read(text).site.plugins[0].path, folder_.At("p.so"));
}

TEST_F(SiteFileTest, FileThatIsNotThereIsNamed) {
    std::vector<SiteFileError> errors;
    EXPECT_FALSE(ReadSiteFile(folder_.At("none.toml"), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].Text(), folder_.At("none.toml") + ": cannot be read: No such file or directory");
}

TEST_F(SiteFileTest, FolderInsteadOfAFileIsRefused) {
    std::vector<SiteFileError> errors;
    EXPECT_FALSE(ReadSiteFile(folder_.At(""), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].message, "cannot be read: it is no file");
}

TEST_F(SiteFileTest, ErrorsOfAnEarlierReadAreForgotten) {
    std::vector<SiteFileError> errors(3);
    EXPECT_TRUE(ReadSiteFile(folder_.Write("site.toml", kWholeSite), errors).has_value());
    EXPECT_THAT(errors, IsEmpty());
}

TEST_F(SiteFileTest, ControlCharactersOfAKeyDoNotReachTheTerminal) {
    std::vector<SiteFileError> errors;
    ReadSiteFile(folder_.Write("site.toml", "[site]\nname=\"x\"\n\"a\\u001b\\nb\" = 1\n"), errors);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].Text(), folder_.At("site.toml") + ":3: site.a??b: unknown; known here are data_dir, name");
}

/// One broken file: its lines behind those of a right [site], which takes lines 1 and 2, and what is reported.
struct Broken {
    const char* name;
    const char* text;
    std::vector<std::string> errors;  ///< "line: key: message"
};

void PrintTo(const Broken& broken, std::ostream* out) { *out << broken.name; }

class BrokenSiteFileTest : public testing::TestWithParam<Broken> {};

TEST_P(BrokenSiteFileTest, LineKeyAndReasonAreNamed) {
    const SiteFolder folder;
    const std::string path = folder.Write("site.toml", std::string("[site]\nname = \"x\"\n") + GetParam().text);
    std::vector<SiteFileError> errors;

    EXPECT_FALSE(ReadSiteFile(path, errors).has_value());

    std::vector<std::string> expected;
    for (const std::string& error : GetParam().errors) {
        expected.push_back(path + ":" + error);
    }
    std::vector<std::string> found;
    for (const SiteFileError& error : errors) {
        found.push_back(error.Text());
    }
    EXPECT_THAT(found, ElementsAreArray(expected));
}

const Broken kBroken[] = {
    {"Syntax", "[log\n", {"3: Error while parsing table header: expected ']', saw '\\n'"}},
    {"KeyTwice",
     "[probe]\nfailures = 1\nfailures = 2\n",
     {"5: Error while parsing key-value pair: cannot redefine existing integer 'failures'"}},
    {"NoUtf8", "# \xff\n", {"3: Encountered invalid utf-8 sequence"}},
    {"UnknownSection",
     "[probes]\n",
     {"3: probes: unknown; known here are area, channel, clock, database, device, element, http, log, plugin, probe, "
      "role, site, user, zone"}},
    {"UnknownKey",
     "[probe]\n\nperiod = 3\n",
     {"5: probe.period: unknown; known here are connections, failures, period_s, timeout_ms"}},
    {"SectionInsteadOfList",
     "[device]\nid = 1\n",
     {"3: device: must be a list of sections, each written [[device]], found a section"}},
    {"ListInsteadOfSection", "[[log]]\n", {"3: log: must be a section, written [log], found a list"}},
    {"ConfigOfNoPlugin",
     "[plugin.config]\n",
     {"3: plugin: must be a list of sections, each written [[plugin]], found a section"}},
    {"TextInsteadOfNumber",
     "[probe]\nperiod_s = \"60\"\n",
     {"4: probe.period_s: must be a whole number, found a text"}},
    {"FractionInsteadOfWholeNumber",
     "[probe]\nperiod_s = 1.5\n",
     {"4: probe.period_s: must be a whole number, found a number"}},
    {"NumberInsteadOfText", "[database]\ndir = 3\n", {"4: database.dir: must be a text, found a whole number"}},
    {"ControlCharacter", "[database]\ndir = \"a\\u0000b\"\n", {"4: database.dir: must not hold control characters"}},
    {"Level",
     "[log]\nlevel = \"all\"\n",
     {"4: log.level: must be debug, information, warning, error or critical, found \"all\""}},
    {"SizeOfLog", "[log]\nmax_bytes = 10\n", {"4: log.max_bytes: must be 4096 to 1099511627776, found 10"}},
    {"DataDirEmpty", "data_dir = \"\"\n", {"3: site.data_dir: must not be empty"}},
    {"DatabaseIsDataDir",
     "data_dir = \"/nowhere/d\"\n[database]\ndir = \"../d/.\"\n",
     {"5: database.dir: must not be site.data_dir, where the host's own files lie"}},
    {"FileOfLogEmpty", "[log]\nfile = \"\"\n", {"4: log.file: must not be empty"}},
    {"FolderOfDatabaseEmpty", "[database]\ndir = \"\"\n", {"4: database.dir: must not be empty"}},
    {"FilesOfLog", "[log]\nfiles = 0\n", {"4: log.files: must be 1 to 1000, found 0"}},
    {"ScaleZero", "[clock]\nscale = 0\n", {"4: clock.scale: must be 0.001 to 100000, found 0"}},
    {"ScaleNotANumber", "[clock]\nscale = nan\n", {"4: clock.scale: must be 0.001 to 100000, found nan"}},
    {"ScaleText", "[clock]\nscale = true\n", {"4: clock.scale: must be a number, found true or false"}},
    {"OriginWithoutOffset",
     "[clock]\norigin = 2026-03-01T00:00:00\n",
     {"4: clock.origin: must be a date and time with an offset, for example 2026-03-01T00:00:00Z, found a date and "
      "time"}},
    {"OriginText",
     "[clock]\norigin = \"2026-03-01T00:00:00Z\"\n",
     {"4: clock.origin: must be a date and time with an offset, for example 2026-03-01T00:00:00Z, found a text"}},
    {"StartBefore1970",
     "[clock]\nstart = 1969-12-31T23:59:59Z\n",
     {"4: clock.start: must lie within the years 1970 to 2199"}},
    {"OriginAfter2199",
     "[clock]\norigin = 7517-03-01T00:00:00Z\n",
     {"4: clock.origin: must lie within the years 1970 to 2199"}},
    {"Period", "[probe]\nperiod_s = 0\n", {"4: probe.period_s: must be 1 to 86400, found 0"}},
    {"Timeout", "[probe]\ntimeout_ms = 60001\n", {"4: probe.timeout_ms: must be 10 to 60000, found 60001"}},
    {"Failures", "[probe]\nfailures = -1\n", {"4: probe.failures: must be 1 to 1000, found -1"}},
    {"Connections", "[probe]\nconnections = 3\n", {"4: probe.connections: must be 4 to 10000, found 3"}},
    {"ZoneWithoutAnything",
     "[[zone]]\n",
     {"3: zone[1].name: missing; must be a text", "3: zone[1].bias: missing; must be a whole number"}},
    {"ZoneTwice",
     "[[zone]]\nname = \"a\"\nbias = 0\n[[zone]]\nname = \"a\"\nbias = 0\n",
     {"7: zone[2].name: \"a\" stands at zone[1] already, in line 4"}},
    {"Bias", "[[zone]]\nname = \"a\"\nbias = 28800\n", {"5: zone[1].bias: must be -840 to 840, found 28800"}},
    {"DaylightWithoutSwitch",
     "[[zone]]\nname = \"a\"\nbias = 0\ndaylight_bias = -60\n",
     {"3: zone[1].daylight_enable: missing; must be true or false"}},
    {"DaylightWithoutRules",
     "[[zone]]\nname = \"a\"\nbias = 0\ndaylight_enable = true\n",
     {"3: zone[1].daylight_date: missing; must be a text", "3: zone[1].standard_date: missing; must be a text"}},
    {"DaylightRuleOfFourFields",
     "[[zone]]\nname = \"a\"\nbias = 0\ndaylight_enable = false\ndaylight_date = \"3:2:0:2\"\n",
     {"7: zone[1].daylight_date: not a rule of daylight saving: must be month:week:weekday:hour:minute in numbers, for "
      "example 3:2:0:2:0"}},
    {"DaylightRuleOutOfRange",
     "[[zone]]\nname = \"a\"\nbias = 0\ndaylight_enable = true\ndaylight_date = \"3:6:0:2:0\"\n"
     "standard_date = \"13:1:0:2:0\"\n",
     {"7: zone[1].daylight_date: not a rule of daylight saving: the week must be 1 to 5",
      "8: zone[1].standard_date: not a rule of daylight saving: the month must be 1 to 12"}},
    {"DaylightRulesEqual",
     "[[zone]]\nname = \"a\"\nbias = 0\ndaylight_enable = true\ndaylight_date = \"3:2:0:2:0\"\n"
     "standard_date = \"3:2:0:02:00\"\n",
     {"8: zone[1].standard_date: must differ from daylight_date"}},
    {"DaylightBias",
     "[[zone]]\nname = \"a\"\nbias = 0\ndaylight_enable = false\ndaylight_bias = -3600\n",
     {"7: zone[1].daylight_bias: must be -180 to 180, found -3600"}},
    {"AreaIdNotPositive", "[[area]]\nid = 0\nname = \"a\"\n", {"4: area[1].id: must be 1 to 2147483647, found 0"}},
    {"AreaTwice",
     "[[area]]\nid = 1\nname = \"a\"\n[[area]]\nid = 1\nname = \"b\"\n",
     {"7: area[2].id: 1 stands at area[1] already, in line 4"}},
    {"AreaNameEmpty", "[[area]]\nid = 1\nname = \"\"\n", {"5: area[1].name: must not be empty"}},
    {"AreaWithoutItsParent", "[[area]]\nid = 1\nname = \"a\"\nparent = 2\n", {"6: area[1].parent: there is no area 2"}},
    {"AreaInItself",
     "[[area]]\nid = 1\nname = \"a\"\nparent = 1\n",
     {"6: area[1].parent: the area would lie inside itself"}},
    {"AreasInOneAnother",
     "[[area]]\nid = 1\nname = \"a\"\nparent = 2\n[[area]]\nid = 2\nname = \"b\"\nparent = 3\n"
     "[[area]]\nid = 3\nname = \"c\"\nparent = 2\n",
     {"10: area[2].parent: the area would lie inside itself"}},
    {"DeviceWithoutAnything",
     "[[device]]\n",
     {"3: device[1].id: missing; must be a whole number", "3: device[1].name: missing; must be a text",
      "3: device[1].probe: missing; must be a text"}},
    {"DeviceTwice",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"tcp://h:1\"\n[[device]]\nid = 1\nname = \"b\"\nprobe = "
     "\"tcp://h:1\"\n",
     {"8: device[2].id: 1 stands at device[1] already, in line 4"}},
    {"DeviceIdTooLarge",
     "[[device]]\nid = 2147483648\nname = \"a\"\nprobe = \"tcp://h:1\"\n",
     {"4: device[1].id: must be 1 to 2147483647, found 2147483648"}},
    {"GuidTwice",
     "[[device]]\nid = 1\nguid = \"g\"\nname = \"a\"\nprobe = \"tcp://h:1\"\n[[channel]]\nid = 1\nguid = "
     "\"g\"\ndevice = 1\nno = 1\n",
     {"10: channel[1].guid: \"g\" stands at device[1] already, in line 5"}},
    {"GuidWithQuote",
     "[[device]]\nid = 1\nguid = \"g'\"\nname = \"a\"\nprobe = \"tcp://h:1\"\n",
     {"5: device[1].guid: must be 1 to 64 letters, digits, '.', '_' and '-'"}},
    {"Scheme",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"ftp://h/\"\n",
     {"6: device[1].probe: not an address: must begin with tcp://, http:// or rtsp://"}},
    {"PortTooLarge",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"rtsp://h:65536/\"\n",
     {"6: device[1].probe: not an address: the port must be a number from 1 to 65535"}},
    {"PortMissing",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"tcp://h\"\n",
     {"6: device[1].probe: not an address: must name a port, as in tcp://host:80"}},
    {"Password",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"rtsp://admin:secret@h/\"\n",
     {"6: device[1].probe: not an address: must not hold a user name or password"}},
    {"Archive",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"rtsp://h/\"\narchive = \"file:///etc\"\n",
     {"7: device[1].archive: not an address: must begin with http:// or https://"}},
    {"GuardNumber",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"rtsp://h/\"\nguard = 1\n",
     {"7: device[1].guard: must be true or false, found a whole number"}},
    {"DeviceOfUnknownZone",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"rtsp://h/\"\nzone = \"east9\"\n",
     {"7: device[1].zone: there is no zone \"east9\""}},
    {"ChannelWithoutAnything",
     "[[channel]]\n",
     {"3: channel[1].id: missing; must be a whole number", "3: channel[1].device: missing; must be a whole number",
      "3: channel[1].no: missing; must be a whole number"}},
    {"ChannelOfUnknownDevice",
     "[[channel]]\nid = 1\ndevice = 5\nno = 1\n",
     {"5: channel[1].device: there is no device 5"}},
    {"ChannelTwiceAndNumberTwice",
     "[[device]]\nid = 1\nname = \"a\"\nprobe = \"rtsp://h/\"\n[[channel]]\nid = 1\ndevice = 1\nno = 4\n"
     "[[channel]]\nid = 1\ndevice = 1\nno = 4\n",
     {"12: channel[2].id: 1 stands at channel[1] already, in line 8",
      "14: channel[2].no: the device has a channel 4 of this type at channel[1] already, in line 10"}},
    {"ElementWithoutAnything",
     "[[element]]\n",
     {"3: element[1].id: missing; must be a whole number", "3: element[1].name: missing; must be a text",
      "3: element[1].channel: missing; must be a whole number", "3: element[1].area: missing; must be a whole number"}},
    {"ElementOfUnknownChannelAndArea",
     "[[element]]\nid = 1\nname = \"e\"\nchannel = 5\narea = 6\n",
     {"6: element[1].channel: there is no channel 5", "7: element[1].area: there is no area 6"}},
    {"PluginWithoutAnything",
     "[[plugin]]\n",
     {"3: plugin[1].id: missing; must be a text", "3: plugin[1].path: missing; must be a text"}},
    {"PluginTwice",
     "[[plugin]]\nid = \"p\"\npath = \"p.so\"\n[[plugin]]\nid = \"p\"\npath = \"q.so\"\n",
     {"7: plugin[2].id: \"p\" stands at plugin[1] already, in line 4"}},
    {"PluginIdWithBlank",
     "[[plugin]]\nid = \"my plugin\"\npath = \"p.so\"\n",
     {"4: plugin[1].id: must be 1 to 64 letters, digits, '.', '_' and '-'"}},
    {"ConfigText",
     "[[plugin]]\nid = \"p\"\npath = \"p.so\"\nconfig = \"x\"\n",
     {"6: plugin[1].config: must be a section, written [plugin[1].config], found a text"}},
    {"ConfigThatJsonCannotTell",
     "[[plugin]]\nid = \"p\"\npath = \"p.so\"\n[plugin.config]\na = [1, {b = inf}]\n",
     {"7: plugin[1].config.a[2].b: must be a finite number"}},
    {"AddressOfTheFront",
     "[http]\naddress = \"localhost:80\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found "
      "\"localhost:80\""}},
    {"AddressOfTheFrontWithoutPort",
     "[http]\naddress = \"127.0.0.1\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found \"127.0.0.1\""}},
    {"AddressOfTheFrontWithoutBrackets",
     "[http]\naddress = \"::1:80\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found \"::1:80\""}},
    {"AddressOfTheFrontWithBracketsRoundIpv4",
     "[http]\naddress = \"[127.0.0.1]:80\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found "
      "\"[127.0.0.1]:80\""}},
    {"AddressOfTheFrontEmpty",
     "[http]\naddress = \"\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found \"\""}},
    {"AddressOfTheFrontIsAColon",
     "[http]\naddress = \":80\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found \":80\""}},
    {"PortOfTheFrontTooLarge",
     "[http]\naddress = \"127.0.0.1:65536\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found "
      "\"127.0.0.1:65536\""}},
    {"PortOfTheFrontWithSign",
     "[http]\naddress = \"127.0.0.1:-1\"\n",
     {"4: http.address: must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found \"127.0.0.1:-1\""}},
    {"PlainHttpBeyondThisMachine",
     "[http]\naddress = \"0.0.0.0:8080\"\n",
     {"4: http.address: passwords and sessions would leave this machine unencrypted: give certificate and key, or "
      "allow it by plain = true"}},
    {"PlainHttpForbiddenBeyondThisMachine",
     "[http]\naddress = \"[2001:db8::1]:8080\"\nplain = false\n",
     {"4: http.address: passwords and sessions would leave this machine unencrypted: give certificate and key, or "
      "allow it by plain = true"}},
    {"CertificateWithoutKey",
     "[http]\naddress = \"0.0.0.0:8080\"\ncertificate = \"a.pem\"\n",
     {"5: http.certificate: certificate and key are needed both or neither"}},
    {"KeyWithoutCertificate",
     "[http]\nkey = \"a.key\"\n",
     {"4: http.key: certificate and key are needed both or neither"}},
    {"CertificateAndKeyEmpty",
     "[http]\ncertificate = \"\"\nkey = \"\"\n",
     {"4: http.certificate: must not be empty", "5: http.key: must not be empty"}},
    {"NumbersOfTheFront",
     "[http]\nconnections = 0\nbody_limit_mb = 65537\nanswer_timeout_s = 0\nsession_idle_s = 0\nlogin_tries = "
     "0\nlogin_window_s = 86401\n",
     {"4: http.connections: must be 1 to 100000, found 0", "5: http.body_limit_mb: must be 1 to 65536, found 65537",
      "6: http.answer_timeout_s: must be 1 to 3600, found 0", "7: http.session_idle_s: must be 1 to 31622400, found 0",
      "8: http.login_tries: must be 1 to 1000, found 0", "9: http.login_window_s: must be 1 to 86400, found 86401"}},
    {"UnknownKeyOfTheFront",
     "[http]\nport = 80\n",
     {"4: http.port: unknown; known here are address, answer_timeout_s, body_limit_mb, certificate, connections, key, "
      "login_tries, login_window_s, plain, session_idle_s"}},
    {"RoleWithoutAnything", "[[role]]\n", {"3: role[1].name: missing; must be a text"}},
    {"RoleTwice",
     "[[role]]\nname = \"a\"\n[[role]]\nname = \"a\"\n",
     {"6: role[2].name: \"a\" stands at role[1] already, in line 4"}},
    {"PermissionsAreNoList",
     "[[role]]\nname = \"a\"\npermissions = 5\n",
     {"5: role[1].permissions: must be a list of whole numbers, found a whole number"}},
    {"PermissionsOfEachWrongKind",
     "[[role]]\nname = \"a\"\npermissions = [5,\n\"6\",\n2147483648, 5]\n",
     {"6: role[1].permissions[2]: must be a whole number, found a text",
      "7: role[1].permissions[3]: must be a number of 32 bits, found 2147483648",
      "7: role[1].permissions[4]: stands in the list already"}},
    {"UserWithoutAnything",
     "[[user]]\n",
     {"3: user[1].id: missing; must be a whole number", "3: user[1].name: missing; must be a text"}},
    {"UserTwice",
     "[[user]]\nid = 1\nname = \"a\"\n[[user]]\nid = 1\nname = \"a\"\n",
     {"7: user[2].id: 1 stands at user[1] already, in line 4",
      "8: user[2].name: \"a\" stands at user[1] already, in line 5"}},
    {"UserWithPasswordInTheFile",
     "[[user]]\nid = 1\nname = \"a\"\npassword = \"x\"\n",
     {"6: user[1].password: unknown; known here are id, name, person, roles"}},
    {"RolesOfAUser",
     "[[role]]\nname = \"a\"\n[[user]]\nid = 1\nname = \"u\"\nroles = [\"a\", \"b\"]\nperson = 0\n"
     "[[user]]\nid = 2\nname = \"v\"\nroles = [\"a\", \"\", 3, \"a\", \"\\n\"]\n",
     {"8: user[1].roles: there is no role \"b\"", "9: user[1].person: must be 1 to 2147483647, found 0",
      "13: user[2].roles[2]: must not be empty", "13: user[2].roles[3]: must be a text, found a whole number",
      "13: user[2].roles[4]: stands in the list already", "13: user[2].roles[5]: must not hold control characters"}},
    {"EverythingAtOnceInOrderOfLines",
     "[[element]]\nid = -1\nname = \"e\"\nchannel = 5\narea = 0\n[probe]\nperiod_s = 0\nunknown = 1\n[zone]\n[clock]\n"
     "scale = \"fast\"\n",
     {"4: element[1].id: must be 1 to 2147483647, found -1", "6: element[1].channel: there is no channel 5",
      "9: probe.period_s: must be 1 to 86400, found 0",
      "10: probe.unknown: unknown; known here are connections, failures, period_s, timeout_ms",
      "11: zone: must be a list of sections, each written [[zone]], found a section",
      "13: clock.scale: must be a number, found a text"}},
};

INSTANTIATE_TEST_SUITE_P(Kinds, BrokenSiteFileTest, testing::ValuesIn(kBroken),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(SiteFileTest, SiteSectionAndNameAreNeeded) {
    std::vector<SiteFileError> errors;
    EXPECT_FALSE(ReadSiteFile(folder_.Write("site.toml", ""), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].Text(), folder_.At("site.toml") + ":1: site: missing; must be a section, written [site]");

    EXPECT_FALSE(ReadSiteFile(folder_.Write("site.toml", "\n[site]\n"), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].Text(), folder_.At("site.toml") + ":2: site.name: missing; must be a text");
}

TEST_F(SiteFileTest, NameOfAUserHasALimit) {
    const auto site = [](std::size_t length) {
        return "[site]\nname=\"x\"\n[[user]]\nid = 1\nname = \"" + std::string(length, 'n') + "\"\n";
    };
    EXPECT_EQ(Read(site(128)).site.users.size(), 1U);
    std::vector<SiteFileError> errors;
    EXPECT_FALSE(ReadSiteFile(folder_.Write("site.toml", site(129)), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].Text(), folder_.At("site.toml") + ":5: user[1].name: must be at most 128 bytes, found 129");
}

TEST_F(SiteFileTest, DeeplyNestedTextIsRefusedAndNotRecursedInto) {
    std::vector<SiteFileError> errors;
    const std::string nested = "[site]\nname=\"x\"\na = " + std::string(100000, '[');
    EXPECT_FALSE(ReadSiteFile(folder_.Write("site.toml", nested), errors).has_value());
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].line, 3U);
}

}  // namespace
