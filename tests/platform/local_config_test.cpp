#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "ZELPlatform/LocalConfigManager.h"
#include "ZELPlatform/MsgBus.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace {

using ZELPlatform::CLocalDBInfo;
using ZELPlatform::LocalConfigManager::GetLocationDBInfo;

/// How often the change was told, and what was to be had then.
struct Notices {
    static void Receive(const std::string&, int type, const std::shared_ptr<ZELPlatform::CBaseContent>& content,
                        void* user_data) {
        auto* observer = dynamic_cast<ZELPlatform::CObserverBaseContent*>(content.get());
        ASSERT_NE(observer, nullptr);
        EXPECT_EQ(observer->ObserverMsgType(), 1);
        EXPECT_EQ(type, 1);
        auto* notices = static_cast<Notices*>(user_data);
        std::lock_guard<std::mutex> lock(notices->mutex);
        notices->names.push_back(GetLocationDBInfo()->GetValdbName());
    }
    std::vector<std::string> Names() {
        std::lock_guard<std::mutex> lock(mutex);
        return names;
    }

    std::mutex mutex;
    std::vector<std::string> names;
};

class LocalConfigTest : public PlatformTest {
protected:
    static CLocalDBInfo Info(const std::string& name) {
        CLocalDBInfo info;
        info.SetValdbType(1);
        info.SetValdbIp("127.0.0.1");
        info.SetValdbPort(65535);
        info.SetValdbUser("user");
        info.SetValdbPasswd("password");
        info.SetValdbName(name);
        return info;
    }
};

TEST_F(LocalConfigTest, EmptyRecord) {
    const CLocalDBInfo info;
    EXPECT_EQ(info.GetValdbType(), 0u);
    EXPECT_EQ(info.GetValdbPort(), 0);
    EXPECT_EQ(info.GetValdbIp() + info.GetValdbUser() + info.GetValdbPasswd() + info.GetValdbName(), "");
}

TEST_F(LocalConfigTest, WhatWasSetIsGivenAsACopy) {
    platform_->SetDatabasePlace(Info("first"));
    const auto info = GetLocationDBInfo();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->GetValdbType(), 1u);
    EXPECT_EQ(info->GetValdbIp(), "127.0.0.1");
    EXPECT_EQ(info->GetValdbPort(), 65535);
    EXPECT_EQ(info->GetValdbUser(), "user");
    EXPECT_EQ(info->GetValdbPasswd(), "password");
    EXPECT_EQ(info->GetValdbName(), "first");
    info->SetValdbName("changed");
    EXPECT_EQ(GetLocationDBInfo()->GetValdbName(), "first");
}

TEST_F(LocalConfigTest, ChangeIsToldWithType1OnceTheNewOneIsToBeHad) {
    Notices& notices = MakeForever<Notices>();
    platform_->SetDatabasePlace(Info("first"));
    ASSERT_TRUE(ZELPlatform::MsgBus::SubscribeObserverEx("test", "Config_LocalConfigManager", {1}, &Notices::Receive,
                                                         &notices));
    platform_->SetDatabasePlace(Info("second"));
    EXPECT_TRUE(WaitUntil([&] { return !notices.Names().empty(); }));
    EXPECT_EQ(notices.Names().back(), "second");
}

}  // namespace
}  // namespace platform_tests
