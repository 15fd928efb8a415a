#include <gtest/gtest.h>

#include "host/PluginContext.h"

namespace qarhost {
namespace {

TEST(PluginContextTest, HandsOverWhatItWasGiven) {
    const PluginContext context("id", "{\"a\":1}", "/data");
    const qarhost_context_t* plain = context.Get();
    EXPECT_EQ(static_cast<uint32_t>(QARHOST_ABI_VERSION), plain->abi_version);
    EXPECT_EQ(sizeof(qarhost_context_t), plain->size);
    EXPECT_STREQ("id", plain->plugin_id);
    EXPECT_STREQ("{\"a\":1}", plain->config_json);
    EXPECT_STREQ("/data", plain->data_dir);
}

TEST(PluginContextTest, ReportGoesToStandardErrorAsOneLineAndIsRemembered) {
    const PluginContext context("id", "{}", "/data");
    PluginContext::ForgetReports();
    EXPECT_EQ("", PluginContext::LastReport());
    testing::internal::CaptureStderr();
    context.Get()->report("no table\n\x1b[31mqarhost: forged");
    EXPECT_EQ("qarhost: no table  [31mqarhost: forged\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ("no table\n\x1b[31mqarhost: forged", PluginContext::LastReport());
}

TEST(PluginContextTest, NullReportCountsAsEmpty) {
    const PluginContext context("id", "{}", "/data");
    testing::internal::CaptureStderr();
    context.Get()->report(nullptr);
    EXPECT_EQ("qarhost: \n", testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace qarhost
