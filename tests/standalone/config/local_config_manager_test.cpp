#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "ZELPlatform/LocalConfigManager.h"
#include "ZELPlatform/MsgBus.h"
#include "qarutil/RapidJsonProto.h"
#include "standalone/base/arrivals.h"
#include "standalone/bus/BusControl.h"
#include "standalone/config/LocalConfigControl.h"

namespace {

using qarplatform::SetLocationDBInfo;
using qarplatform::StopBus;
using testing::ElementsAre;
using testing::IsEmpty;
using ZELPlatform::CLocalDBInfo;
using ZELPlatform::LocalConfigManager::GetLocationDBInfo;

CLocalDBInfo Folder(const std::string& name) {
    CLocalDBInfo info;
    info.SetValdbType(qarplatform::kDatabaseSqlite);
    info.SetValdbName(name);
    return info;
}

struct Notice {
    int sent_type;
    int observer_msg_type;
    int change_type;
    std::string folder;
    bool operator==(const Notice&) const = default;
};

class LocalConfigManagerTest : public testing::Test {
protected:
    LocalConfigManagerTest() {
        ZELPlatform::MsgBus::SubscribeObserverEx(
            "plugin", "Config_LocalConfigManager", {},
            [](const std::string&, int type, const std::shared_ptr<ZELPlatform::CBaseContent>& content, void* own) {
                auto* observer_content = dynamic_cast<ZELPlatform::CObserverBaseContent*>(content.get());
                const char* data = nullptr;
                int size = 0;
                ASSERT_NE(observer_content, nullptr);
                ASSERT_TRUE(content->GetContent(&data, &size));
                CRapidJsonProto json;
                ASSERT_TRUE(json.set_str(std::string(data, static_cast<std::size_t>(size))));
                static_cast<Arrivals<Notice>*>(own)->Add({type, observer_content->ObserverMsgType(),
                                                          json.get_int_v("/ChangeType", -1),
                                                          GetLocationDBInfo()->GetValdbName()});
            },
            &notices_);
    }
    ~LocalConfigManagerTest() override { StopBus(); }

    Arrivals<Notice> notices_;
};

TEST_F(LocalConfigManagerTest, NothingIsToBeHadUntilSet) { EXPECT_EQ(GetLocationDBInfo(), nullptr); }

TEST_F(LocalConfigManagerTest, GivesACopyOfWhatWasSet) {
    CLocalDBInfo info = Folder("/var/db");
    info.SetValdbIp("::1");
    info.SetValdbPort(5432);
    info.SetValdbUser("user");
    info.SetValdbPasswd("secret");
    SetLocationDBInfo(info);
    const auto copy = GetLocationDBInfo();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetValdbType(), 1u);
    EXPECT_EQ(copy->GetValdbName(), "/var/db");
    EXPECT_EQ(copy->GetValdbIp(), "::1");
    EXPECT_EQ(copy->GetValdbPort(), 5432);
    EXPECT_EQ(copy->GetValdbUser(), "user");
    EXPECT_EQ(copy->GetValdbPasswd(), "secret");
    copy->SetValdbName("changed");
    EXPECT_EQ(GetLocationDBInfo()->GetValdbName(), "/var/db");
}

TEST_F(LocalConfigManagerTest, ChangeIsToldWithTypeOneAndTheNewInformationIsThere) {
    SetLocationDBInfo(Folder("a"));
    SetLocationDBInfo(Folder("b"));
    StopBus();
    EXPECT_THAT(notices_.Now(), ElementsAre(Notice{1, 1, 1, "b"}));
}

TEST_F(LocalConfigManagerTest, FirstInformationAndTheSameAgainAreNotTold) {
    SetLocationDBInfo(Folder("a"));
    SetLocationDBInfo(Folder("a"));
    StopBus();
    EXPECT_THAT(notices_.Now(), IsEmpty());
}

TEST_F(LocalConfigManagerTest, ChangeOfAnyValueIsTold) {
    CLocalDBInfo info = Folder("a");
    SetLocationDBInfo(info);
    info.SetValdbType(2);
    SetLocationDBInfo(info);
    info.SetValdbIp("127.0.0.1");
    SetLocationDBInfo(info);
    info.SetValdbPort(1);
    SetLocationDBInfo(info);
    info.SetValdbUser("u");
    SetLocationDBInfo(info);
    info.SetValdbPasswd("p");
    SetLocationDBInfo(info);
    StopBus();
    EXPECT_EQ(notices_.Now().size(), 5u);
}

}  // namespace
