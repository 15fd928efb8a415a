#include <gtest/gtest.h>

#include "ZELPlatform/System.h"
#include "standalone/system/SystemControl.h"

namespace {

using namespace ZELPlatform::InterfaceCommonData::AccesstypeInfo;
using ZELPlatform::System::GetSystemConfigInfo;

TEST(SystemConfigTest, SettingsAreNotToBeHadUntilTheyAreSet) { EXPECT_EQ(GetSystemConfigInfo(), nullptr); }

TEST(SystemConfigTest, AccessTypeIsTheOneThatWasSetLastAndOldSettingsStay) {
    qarplatform::SetAccessType(kAccessHttp);
    const auto first = GetSystemConfigInfo();
    qarplatform::SetAccessType(kAccessHttps);
    const auto second = GetSystemConfigInfo();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->GetValstruAccesstypeinfo()->GetValAccessType(), kAccessHttp);
    EXPECT_EQ(second->GetValstruAccesstypeinfo()->GetValAccessType(), kAccessHttps);
}

}  // namespace
