#include "plugins/backfill/Config.h"

#include <gtest/gtest.h>

namespace backfill {
namespace {

std::string ErrorOf(const std::string& json) {
    Config config;
    std::string error;
    EXPECT_FALSE(ReadConfig(json, "/data", config, error)) << json;
    return error;
}

TEST(BackfillConfigTest, FetchCommandAloneIsEnough) {
    Config config;
    std::string error;
    ASSERT_TRUE(ReadConfig(R"({"fetch":["copy","{out}"]})", "/data", config, error)) << error;
    EXPECT_EQ(config.schema, "backfill");
    EXPECT_TRUE(config.all_cameras);
    EXPECT_EQ(config.busi_types, std::set<int>{1});
    EXPECT_EQ(config.fetch, (std::vector<std::string>{"copy", "{out}"}));
    EXPECT_EQ(config.out_dir, "/data/backfill");
    EXPECT_EQ(config.journal, "");
    EXPECT_EQ(config.limits.per_device, 1);
    EXPECT_EQ(config.limits.total, 4);
}

TEST(BackfillConfigTest, EveryKeyIsRead) {
    Config config;
    std::string error;
    ASSERT_TRUE(ReadConfig(R"({"schema":"gaps","cameras":[3,1],"busi_types":[7,8],"fetch":["f"],"out_dir":"got",
        "journal":"/var/j","per_device":2,"total":9,"retry_first_s":0.5,"retry_max_s":60,"timeout_s":30})",
                           "/data", config, error))
        << error;
    EXPECT_EQ(config.schema, "gaps");
    EXPECT_FALSE(config.all_cameras);
    EXPECT_EQ(config.cameras, (std::set<int>{1, 3}));
    EXPECT_EQ(config.busi_types, (std::set<int>{7, 8}));
    EXPECT_EQ(config.out_dir, "/data/got");
    EXPECT_EQ(config.journal, "/var/j");
    EXPECT_EQ(config.limits.per_device, 2);
    EXPECT_EQ(config.limits.total, 9);
    EXPECT_EQ(config.limits.retry_first, std::chrono::milliseconds(500));
    EXPECT_EQ(config.limits.retry_max, std::chrono::seconds(60));
    EXPECT_EQ(config.timeout, std::chrono::seconds(30));
}

TEST(BackfillConfigTest, EachMistakeIsToldWithItsKey) {
    EXPECT_EQ(ErrorOf("{"), "the configuration is no JSON: Missing a name for object member.");
    EXPECT_EQ(ErrorOf("[]"), "the configuration must be an object");
    EXPECT_EQ(ErrorOf("{}"), "fetch: is missing: the command that fetches a range");
    EXPECT_EQ(ErrorOf(R"({"fetch":[]})"), "fetch: must be a list of texts: a program and its arguments");
    EXPECT_EQ(ErrorOf(R"({"fetch":["","{out}"]})"), "fetch: must begin with a program");
    EXPECT_EQ(ErrorOf(R"({"fetch":[1]})"), "fetch: must hold texts only");
    EXPECT_EQ(ErrorOf(R"({"schema":"a; DROP TABLE b"})"), "schema: must be an identifier of letters, digits and _");
    EXPECT_EQ(ErrorOf(R"({"cameras":"some"})"), "cameras: must be \"all\" or a list of camera ids");
    EXPECT_EQ(ErrorOf(R"({"cameras":[]})"), "cameras: must be a list of whole numbers with an entry");
    EXPECT_EQ(ErrorOf(R"({"busi_types":[-1]})"), "busi_types: must hold whole numbers, none of them negative");
    EXPECT_EQ(ErrorOf(R"({"total":0})"), "total: must be 1 to 1000");
    EXPECT_EQ(ErrorOf(R"({"timeout_s":"soon"})"), "timeout_s: must be seconds, 0.001 to 604800");
    EXPECT_EQ(ErrorOf(R"({"fetch":["f"],"retry_first_s":9,"retry_max_s":3})"),
              "retry_max_s: must not be below retry_first_s");
    EXPECT_EQ(ErrorOf(R"({"fetsch":["f"]})").substr(0, 19), "fetsch: unknown key");
}

}  // namespace
}  // namespace backfill
