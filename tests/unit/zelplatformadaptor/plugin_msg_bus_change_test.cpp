#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "DepotModule/StorageManagerObserverParam.h"
#include "PersonCredential/PersonObserver.h"
#include "ZELPlatform/Resources.h"
#include "mock/Platform.h"
#include "ortmodule_interface/MgrState.h"
#include "relaymodule/SMSManagerObserverParam.h"
#include "tuk/DeviceAccessObserverParam.h"
#include "unit/zelplatformadaptor/fake_contents.h"
#include "zelplatformadaptor/PluginMsgBusChange.h"

namespace qar {
namespace {

using qarmock::LineIn;
using test::FakeContent;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned int kNone = 0xFFFFFFFF;
constexpr char kConstructor[] = "qar::CPluginMsgBusChange::CPluginMsgBusChange";

template <class Param>
std::shared_ptr<Param> ParamOfType(int type) {
    auto param = std::make_shared<Param>();
    param->SetObserverMsgType(type);
    return param;
}

class PluginMsgBusChangeTest : public ::testing::Test {
protected:
    static void ExpectResource(const IBusMsg& msg, int change_type, int resource_type, unsigned int resource_id) {
        EXPECT_EQ(msg.Type(), change_type);
        EXPECT_EQ(msg.SourceType(), resource_type);
        EXPECT_EQ(msg.SourceID(), resource_id);
    }

    qarmock::Platform platform;
};

TEST_F(PluginMsgBusChangeTest, MessageWithoutContentIsBinaryAndEmptyAndLogsNothing) {
    const CPluginMsgBusChange msg("topic", 5, nullptr);
    ExpectResource(msg, 5, -1, kNone);
    EXPECT_TRUE(msg.BinaryData());
    EXPECT_EQ(msg.GetJsonTxt(), "");
    EXPECT_EQ(msg.Data(), nullptr);
    EXPECT_EQ(msg.DataSize(), 0u);
    EXPECT_EQ(msg.GetBinaryData(), nullptr);
    EXPECT_EQ(msg.PluginID(), "not provide");
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(PluginMsgBusChangeTest, MessageBorrowsTheContentsBlockAndKeepsTheContentAlive) {
    auto content = std::make_shared<FakeContent>(std::string("ab\0cd", 5));
    const std::weak_ptr<FakeContent> watched = content;
    const char* block = content->data;
    const CPluginMsgBusChange msg("TUK_DeviceAccess", -1, std::move(content));
    EXPECT_FALSE(watched.expired());
    EXPECT_EQ(msg.Data(), block);
    EXPECT_EQ(msg.DataSize(), 5u);
    EXPECT_EQ(msg.GetJsonTxt(), "ab");
    EXPECT_EQ(msg.GetBinaryData(), block + 3);
    EXPECT_FALSE(msg.BinaryData());
}

TEST_F(PluginMsgBusChangeTest, AreaTopicTellsTheElement) {
    const auto param = ParamOfType<ZELPlatform::Resources::CAreaObserverParam>(3);
    param->SetValElementID(7);
    param->SetValElementType(1001);
    ExpectResource(CPluginMsgBusChange("LogicResource_Area", -1, param), 3, 1001, 7);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(PluginMsgBusChangeTest, DeviceTopicTellsDeviceOrChannel) {
    const auto param = ParamOfType<tuk::CDeviceAccessObserverParam>(265);
    param->SetVal_id(7);
    param->SetVal_resource_type(2001);
    ExpectResource(CPluginMsgBusChange("TUK_DeviceAccess", -1, param), 265, 2001, 7);
}

TEST_F(PluginMsgBusChangeTest, AreaManagerTopicTellsTheElementForType8AndTheAreaForAnyOther) {
    const auto param = ParamOfType<ZELPlatform::Resources::CAreaManagerObserverParam>(8);
    param->SetValElementID(7);
    param->SetValElementType(1001);
    param->SetValAreaID(9);
    // the content's own type decides, not the one that the message was made with
    ExpectResource(CPluginMsgBusChange("LogicResource_AreaManager", -1, param), 8, 1001, 7);
    param->SetObserverMsgType(7);
    ExpectResource(CPluginMsgBusChange("LogicResource_AreaManager", 8, param), 7, 1010, 9);
}

TEST_F(PluginMsgBusChangeTest, StorageServerTopicTellsTheServer) {
    const auto param = ParamOfType<DepotModule::CStorageManagerObserverParam>(1);
    param->SetStorageId(7);
    ExpectResource(CPluginMsgBusChange("LEN_StorageServerManager", -1, param), 1, 3001, 7);
}

TEST_F(PluginMsgBusChangeTest, StreamServerTopicTellsTheServer) {
    const auto param = ParamOfType<relaymodule::CSMSManagerObserverParam>(1);
    param->SetSMSId(7);
    ExpectResource(CPluginMsgBusChange("LEN_SMSManager", -1, param), 1, 3002, 7);
}

TEST_F(PluginMsgBusChangeTest, RemoteElementTopicTellsACamera) {
    const auto param = ParamOfType<ortmodule_interface::CElementMgrState>(1);
    param->SetValelementId(7);
    ExpectResource(CPluginMsgBusChange("ORT_ElementSiteObserver", -1, param), 1, 1001, 7);
}

TEST_F(PluginMsgBusChangeTest, RemoteSiteTopicTellsTheSite) {
    const auto param = ParamOfType<ortmodule_interface::CRemoteSiteMgrState>(1);
    param->SetValsiteId(7);
    ExpectResource(CPluginMsgBusChange("ORT_SiteObserver", -1, param), 1, 11001, 7);
}

TEST_F(PluginMsgBusChangeTest, RemoteAreaTopicTellsTheArea) {
    const auto param = ParamOfType<ortmodule_interface::CAreaMgrState>(1);
    param->SetValareaId(7);
    ExpectResource(CPluginMsgBusChange("ORT_AreaObserver", -1, param), 1, 1010, 7);
}

TEST_F(PluginMsgBusChangeTest, AreaOfASiteIsReadUnderItsOtherTopicAsJson) {
    const auto param = ParamOfType<ortmodule_interface::CAreaMgrState>(1);
    param->SetValareaId(7);
    param->SetText(R"({"ResourceID":5})");
    ExpectResource(CPluginMsgBusChange("ORT_AreaSiteObserver", -1, param), -1, -1, 5);
}

TEST_F(PluginMsgBusChangeTest, ContentOfAnotherClassLeavesTheResourceUnknownAndTriesNothingFurther) {
    for (const char* topic :
         {"LogicResource_Area", "TUK_DeviceAccess", "LogicResource_AreaManager", "LEN_StorageServerManager",
          "LEN_SMSManager", "ORT_ElementSiteObserver", "ORT_SiteObserver", "ORT_AreaObserver",
          "PersonCredential_PersonModuleMgr", "PersonCredential_PersonAdditionalInfoMgr"}) {
        SCOPED_TRACE(topic);
        const auto content = std::make_shared<FakeContent>(R"({"ChangeType":1,"ResourceID":2,"ResourceType":3})");
        const CPluginMsgBusChange msg(topic, 5, content);
        ExpectResource(msg, 5, -1, kNone);
        EXPECT_FALSE(msg.BinaryData());
        const auto observer_content = ParamOfType<ZELPlatform::CObserverParam>(6);
        ExpectResource(CPluginMsgBusChange(topic, 5, observer_content), 6, -1, kNone);
    }
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(PluginMsgBusChangeTest, JsonOfAnotherTopicTellsTypeAndResource) {
    const auto content = std::make_shared<FakeContent>(R"({"ChangeType":1,"ResourceID":2,"ResourceType":3})");
    ExpectResource(CPluginMsgBusChange("topic", -1, content), 1, 3, 2);
    EXPECT_THAT(
        platform.log.Lines(),
        ElementsAre(LineIn(kConstructor, 2, "QARCommon",
                           R"(CPluginMsgBusChange JsonTxt:[{"ChangeType":1,"ResourceID":2,"ResourceType":3}])")));
}

TEST_F(PluginMsgBusChangeTest, JsonWithTheResourceIdAloneOverwritesTheTypeAlreadyObtained) {
    const auto param = ParamOfType<ZELPlatform::CObserverParam>(4);
    param->SetText(R"({"ResourceID":5})");
    ExpectResource(CPluginMsgBusChange("topic", 9, param), -1, -1, 5);
}

TEST_F(PluginMsgBusChangeTest, JsonMemberThatIsNoIntCountsAsMissing) {
    const auto content =
        std::make_shared<FakeContent>(R"({"ChangeType":"1","ResourceID":4294967295,"ResourceType":1.5})");
    ExpectResource(CPluginMsgBusChange("topic", 9, content), -1, -1, kNone);
}

TEST_F(PluginMsgBusChangeTest, TextThatDoesNotParseChangesNothingButIsLoggedBefore) {
    const auto content = std::make_shared<FakeContent>("no json");
    ExpectResource(CPluginMsgBusChange("topic", 9, content), 9, -1, kNone);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kConstructor, 2, "QARCommon", "CPluginMsgBusChange JsonTxt:[no json]")));
}

TEST_F(PluginMsgBusChangeTest, EmptyBlockOfAnotherTopicIsLoggedAndNotParsed) {
    ExpectResource(CPluginMsgBusChange("topic", 9, std::make_shared<test::SilentContent>()), 9, -1, kNone);
    ExpectResource(CPluginMsgBusChange("topic", 9, ParamOfType<ZELPlatform::CObserverParam>(1)), 1, -1, kNone);
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kConstructor, 2, "QARCommon", "CPluginMsgBusChange JsonTxt:[]"),
                            LineIn(kConstructor, 2, "QARCommon", "CPluginMsgBusChange JsonTxt:[]")));
}

TEST_F(PluginMsgBusChangeTest, JsonEndsAtTheFirstNul) {
    const std::string json = R"({"ChangeType":1,"ResourceID":2,"ResourceType":3})";
    const auto content = std::make_shared<FakeContent>(json + std::string("\0binary", 7));
    content->kind = 2;
    const CPluginMsgBusChange msg("topic", -1, content);
    ExpectResource(msg, 1, 3, 2);
    EXPECT_TRUE(msg.BinaryData());
    EXPECT_EQ(msg.GetJsonTxt(), json);
    EXPECT_EQ(std::string(msg.GetBinaryData(), 6), "binary");
}

TEST_F(PluginMsgBusChangeTest, DeeplyNestedJsonIsSafe) {
    constexpr std::size_t kDepth = 200000;
    const std::string json = R"({"ResourceID":5,"x":)" + std::string(kDepth, '[') + std::string(kDepth, ']') + "}";
    ExpectResource(CPluginMsgBusChange("topic", 9, std::make_shared<FakeContent>(json)), -1, -1, 5);
}

TEST_F(PluginMsgBusChangeTest, BlockCountsWhateverTheContentAnswersAndANegativeSizeIsNone) {
    const auto content = std::make_shared<FakeContent>(R"({"ResourceID":5})");
    content->answer = false;
    EXPECT_EQ(CPluginMsgBusChange("topic", 9, content).SourceID(), 5u);
    content->size = -3;
    const CPluginMsgBusChange msg("topic", 9, content);
    EXPECT_EQ(msg.DataSize(), 0u);
    ExpectResource(msg, 9, -1, kNone);
}

// --- person topics ---------------------------------------------------------------------------------------------------

class FakePerson : public PersonCredential::IPerson {
public:
    int GetPersonID() override { return 7; }
};

class FakePersonChange : public PersonCredential::IPersonChange {
public:
    int GetChangeType() override { return 3; }
    std::shared_ptr<PersonCredential::IPerson> GetPerson() override { return person; }

    std::shared_ptr<FakePerson> person = std::make_shared<FakePerson>();
};

class FakePersonObserver : public PersonCredential::IPersonModuleObserver {
public:
    bool GetContent(const char**, int*) override { return false; }
    std::shared_ptr<PersonCredential::IPersonChange> GetChange() override { return change; }

    std::shared_ptr<FakePersonChange> change = std::make_shared<FakePersonChange>();
};

TEST_F(PluginMsgBusChangeTest, PersonTopicTellsThePersonAndItsChange) {
    const auto observer = std::make_shared<FakePersonObserver>();
    ExpectResource(CPluginMsgBusChange("PersonCredential_PersonModuleMgr", -1, observer), 3, 4000, 7);
}

TEST_F(PluginMsgBusChangeTest, PersonTopicWithoutPersonOrChangeLeavesTheFields) {
    const auto observer = std::make_shared<FakePersonObserver>();
    observer->change->person = nullptr;
    ExpectResource(CPluginMsgBusChange("PersonCredential_PersonModuleMgr", 5, observer), 5, -1, kNone);
    observer->change = nullptr;
    ExpectResource(CPluginMsgBusChange("PersonCredential_PersonModuleMgr", 5, observer), 5, -1, kNone);
}

class FakeInfo : public PersonCredential::IPersonAdditionalTypeInfo {
public:
    FakeInfo(int id, int type, std::string value) : id(id), type(type), value(std::move(value)) {}
    int GetID() override { return id; }
    std::string GetGuid() override { return "guid"; }
    int GetType() override { return type; }
    std::string GetName() override { return "name"; }
    std::string GetValue() override { return value; }

    int id;
    int type;
    std::string value;
};

class FakeInfoChange : public PersonCredential::IPersonAdditionalTypeInfoChange {
public:
    FakeInfoChange(int type, std::shared_ptr<FakeInfo> new_value, std::shared_ptr<FakeInfo> old_value)
        : type(type), new_value(std::move(new_value)), old_value(std::move(old_value)) {}
    int GetChangeType() override { return type; }
    std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfo> GetNewValue() override { return new_value; }
    std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfo> GetOldValue() override { return old_value; }

    int type;
    std::shared_ptr<FakeInfo> new_value;
    std::shared_ptr<FakeInfo> old_value;
};

class FakeInfoObserver : public PersonCredential::IPersonAdditionalTypeInfoObserver {
public:
    bool GetContent(const char**, int*) override { return false; }
    void GetChanges(std::vector<std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfoChange>>& list) override {
        list.insert(list.end(), changes.begin(), changes.end());
    }
    void Add(int type, std::shared_ptr<FakeInfo> new_value, std::shared_ptr<FakeInfo> old_value) {
        changes.push_back(std::make_shared<FakeInfoChange>(type, std::move(new_value), std::move(old_value)));
    }

    std::vector<std::shared_ptr<FakeInfoChange>> changes;
};

class PersonAdditionalInfoTest : public PluginMsgBusChangeTest {
protected:
    void ExpectResult(int change_type, int resource_type, unsigned int resource_id) const {
        ExpectResource(CPluginMsgBusChange("PersonCredential_PersonAdditionalInfoMgr", 5, observer), change_type,
                       resource_type, resource_id);
    }
    static std::shared_ptr<FakeInfo> Info(int id, int type, const std::string& value) {
        return std::make_shared<FakeInfo>(id, type, value);
    }

    std::shared_ptr<FakeInfoObserver> observer = std::make_shared<FakeInfoObserver>();
};

TEST_F(PersonAdditionalInfoTest, FirstNewValueOfKindZeroIsTold) {
    observer->Add(1, nullptr, Info(1, 0, "removed"));
    observer->Add(2, Info(2, 4, "other kind"), nullptr);
    observer->Add(3, Info(3, 0, "new"), nullptr);
    observer->Add(4, Info(4, 0, "later"), nullptr);
    ExpectResult(3, 0, 3);
}

TEST_F(PersonAdditionalInfoTest, ChangedTextOfTheSameKindIsTold) {
    observer->Add(3, Info(3, 0, "new"), Info(8, 0, "old"));
    ExpectResult(3, 0, 3);
}

TEST_F(PersonAdditionalInfoTest, EqualTextsSetNothingAndTheFirstQualifyingRecordDecides) {
    observer->Add(3, Info(3, 0, "same"), Info(3, 0, "same"));
    observer->Add(4, Info(4, 0, "new"), nullptr);
    ExpectResult(5, -1, kNone);
}

TEST_F(PersonAdditionalInfoTest, OldValueOfAnotherKindIsNotCompared) {
    observer->Add(3, Info(3, 0, "same"), Info(3, 1, "same"));
    ExpectResult(3, 0, 3);
}

TEST_F(PersonAdditionalInfoTest, NoQualifyingRecordSetsNothing) {
    ExpectResult(5, -1, kNone);
    observer->Add(1, Info(1, 2, "other kind"), nullptr);
    ExpectResult(5, -1, kNone);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

}  // namespace
}  // namespace qar
