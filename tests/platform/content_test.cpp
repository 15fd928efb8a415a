#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "DepotModule/StorageManagerObserverParam.h"
#include "PersonCredential/PersonObserver.h"
#include "ZELPlatform/BaseContent.h"
#include "ZELPlatform/MsgPushInfo.h"
#include "ZELPlatform/Resources.h"
#include "moxcore/MoxMemoryBlock.h"
#include "ortmodule_interface/MgrState.h"
#include "platform/PlatformTest.h"
#include "relaymodule/SMSManagerObserverParam.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace platform_tests {
namespace {

using ::testing::ElementsAre;
using namespace ZELPlatform;

TEST(ContentTest, ParameterStartsWithoutTypeAndWithAnEmptyText) {
    CObserverParam param;
    const char* data = nullptr;
    int size = 0;
    EXPECT_EQ(param.ObserverMsgType(), -1);
    ASSERT_TRUE(param.GetContent(&data, &size));
    EXPECT_STREQ(data, "");
    EXPECT_EQ(size, 1);
    EXPECT_EQ(param.ContentType(), kContentText);
}

TEST(ContentTest, ParameterGivesItsTypeAndItsTextWithTheNul) {
    CObserverParam param;
    param.SetObserverMsgType(265);
    param.SetText("abc");
    CObserverBaseContent& content = param;
    const char* data = nullptr;
    int size = 0;
    ASSERT_TRUE(content.GetContent(&data, &size));
    EXPECT_EQ(std::string(data, static_cast<std::size_t>(size)), std::string("abc\0", 4));
    EXPECT_EQ(content.ObserverMsgType(), 265);
}

/// @return the content as the class asked for, as a receiver finds it out; null when it is another one
template <class Wanted>
Wanted* As(const std::shared_ptr<CBaseContent>& content) {
    return dynamic_cast<Wanted*>(content.get());
}

TEST(ContentTest, ParameterClassesAreToldApartAndKeepTheirValues) {
    auto access = std::make_shared<tuk::CDeviceAccessObserverParam>();
    EXPECT_EQ(access->GetVal_id(), -1);
    EXPECT_EQ(access->GetVal_resource_type(), -1);
    access->SetVal_id(101);
    access->SetVal_resource_type(1001);
    const std::shared_ptr<CBaseContent> content = access;
    ASSERT_NE(As<tuk::CDeviceAccessObserverParam>(content), nullptr);
    EXPECT_EQ(As<tuk::CDeviceAccessObserverParam>(content)->GetVal_id(), 101);
    EXPECT_EQ(As<tuk::CDeviceAccessObserverParam>(content)->GetVal_resource_type(), 1001);
    EXPECT_NE(As<CObserverBaseContent>(content), nullptr);
    EXPECT_EQ(As<Resources::CAreaObserverParam>(content), nullptr);
    EXPECT_EQ(As<Resources::CAreaManagerObserverParam>(content), nullptr);
    EXPECT_EQ(As<CEventBaseContent>(content), nullptr);
}

TEST(ContentTest, AreaParametersKeepTheirValues) {
    Resources::CAreaObserverParam area;
    EXPECT_EQ(area.GetValElementID(), -1);
    EXPECT_EQ(area.GetValElementType(), -1);
    area.SetValElementID(5);
    area.SetValElementType(1001);
    EXPECT_EQ(area.GetValElementID(), 5);
    EXPECT_EQ(area.GetValElementType(), 1001);

    Resources::CAreaManagerObserverParam manager;
    EXPECT_EQ(manager.GetValElementID(), -1);
    EXPECT_EQ(manager.GetValElementType(), -1);
    EXPECT_EQ(manager.GetValAreaID(), -1);
    manager.SetValElementID(6);
    manager.SetValElementType(1002);
    manager.SetValAreaID(7);
    EXPECT_EQ(manager.GetValElementID(), 6);
    EXPECT_EQ(manager.GetValElementType(), 1002);
    EXPECT_EQ(manager.GetValAreaID(), 7);
}

TEST(ContentTest, ParametersOfServersAndRemoteSitesKeepTheirValues) {
    DepotModule::CStorageManagerObserverParam storage;
    EXPECT_EQ(storage.GetStorageId(), -1);
    storage.SetStorageId(3);
    EXPECT_EQ(storage.GetStorageId(), 3);

    relaymodule::CSMSManagerObserverParam server;
    EXPECT_EQ(server.GetSMSId(), -1);
    server.SetSMSId(4);
    EXPECT_EQ(server.GetSMSId(), 4);

    ortmodule_interface::CElementMgrState element;
    EXPECT_EQ(element.GetValelementId(), -1);
    element.SetValelementId(5);
    EXPECT_EQ(element.GetValelementId(), 5);

    ortmodule_interface::CRemoteSiteMgrState site;
    EXPECT_EQ(site.GetValsiteId(), -1);
    site.SetValsiteId(6);
    EXPECT_EQ(site.GetValsiteId(), 6);

    ortmodule_interface::CAreaMgrState area;
    EXPECT_EQ(area.GetValareaId(), -1);
    area.SetValareaId(7);
    EXPECT_EQ(area.GetValareaId(), 7);
}

class Block : public moxcore::IMoxMemoryBlock {
public:
    explicit Block(std::string bytes) : bytes_(std::move(bytes)) {}
    const char* GetData() const override { return bytes_.empty() ? nullptr : bytes_.data(); }
    unsigned int GetSize() const override { return static_cast<unsigned int>(bytes_.size()); }

private:
    std::string bytes_;
};

class Event : public CEventBaseContent {
public:
    bool GetContent(const char** data, int* size) override {
        *data = "event";
        *size = 6;
        return true;
    }
    std::list<std::pair<const char*, unsigned int>> GetExtendBuffers() override { return {{"extend", 6u}}; }
    bool GetPictureBinaryData(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures) override {
        pictures.push_back(std::make_shared<Block>("picture"));
        return true;
    }
};

TEST(ContentTest, EventHasItsPartsApart) {
    const std::shared_ptr<CBaseContent> content = std::make_shared<Event>();
    EXPECT_EQ(content->ContentType(), kContentTextAndBinary);
    auto* event = As<CEventBaseContent>(content);
    ASSERT_NE(event, nullptr);
    EXPECT_THAT(event->GetExtendBuffers(), testing::SizeIs(1));
    std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>> pictures{std::make_shared<Block>("")};
    ASSERT_TRUE(event->GetPictureBinaryData(pictures));
    ASSERT_EQ(pictures.size(), 2u);
    EXPECT_EQ(pictures.front()->GetData(), nullptr);
    EXPECT_EQ(pictures.front()->GetSize(), 0u);
    EXPECT_EQ(std::string(pictures.back()->GetData(), pictures.back()->GetSize()), "picture");
}

class Notify final : public CMsgBusContentBase {
public:
    bool GetTextContent(Buffer& buffer) override {
        buffer.data = "text";
        buffer.size = 4;
        return true;
    }
    bool GetBinaryContents(std::list<Buffer>& buffers) override {
        Buffer buffer;
        EXPECT_EQ(buffer.data, nullptr);
        EXPECT_EQ(buffer.size, 0u);
        buffer.data = "binary";
        buffer.size = 6;
        buffers.push_back(buffer);
        return true;
    }
};

TEST(ContentTest, PushInfoKeepsWhatItWasGiven) {
    CMsgPushInfo info;
    EXPECT_EQ(info.GetPublisher(), "");
    EXPECT_EQ(info.GetTypeValue(), 0);
    EXPECT_EQ(info.GetMsgContent(), nullptr);
    EXPECT_TRUE(info.GetUserPermissionInfo().empty());

    info.SetPublisher("plugin");
    info.SetMsgCategory(kMsgCategoryNotify);
    info.SetTypeValue(12);
    info.SetMsgContent(std::make_shared<Notify>());
    info.SetUserPermissionInfo({{1, {2, 3}}});
    EXPECT_EQ(info.GetPublisher(), "plugin");
    EXPECT_EQ(info.GetMsgCategory(), kMsgCategoryNotify);
    EXPECT_EQ(info.GetTypeValue(), 12);
    EXPECT_THAT(info.GetUserPermissionInfo().at(1), ElementsAre(2, 3));

    const auto content = info.GetMsgContent();
    ASSERT_NE(content, nullptr);
    EXPECT_EQ(content->ContentType(), kContentText);
    CMsgBusContentBase::Buffer buffer;
    ASSERT_TRUE(content->GetTextContent(buffer));
    EXPECT_EQ(std::string(buffer.data, buffer.size), "text");
    std::list<CMsgBusContentBase::Buffer> buffers;
    ASSERT_TRUE(content->GetBinaryContents(buffers));
    EXPECT_EQ(std::string(buffers.front().data, buffers.front().size), "binary");
}

class Person : public PersonCredential::IPerson {
public:
    int GetPersonID() override { return 77; }
};

class PersonChange : public PersonCredential::IPersonChange {
public:
    int GetChangeType() override { return 2; }
    std::shared_ptr<PersonCredential::IPerson> GetPerson() override { return std::make_shared<Person>(); }
};

class PersonModule : public PersonCredential::IPersonModuleObserver {
public:
    bool GetContent(const char**, int*) override { return false; }
    std::shared_ptr<PersonCredential::IPersonChange> GetChange() override { return std::make_shared<PersonChange>(); }
};

class TypeInfo : public PersonCredential::IPersonAdditionalTypeInfo {
public:
    int GetID() override { return 5; }
    std::string GetGuid() override { return "guid"; }
    int GetType() override { return 0; }
    std::string GetName() override { return "name"; }
    std::string GetValue() override { return "value"; }
};

class TypeInfoChange : public PersonCredential::IPersonAdditionalTypeInfoChange {
public:
    int GetChangeType() override { return 3; }
    std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfo> GetNewValue() override {
        return std::make_shared<TypeInfo>();
    }
    std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfo> GetOldValue() override { return nullptr; }
};

class TypeInfoModule : public PersonCredential::IPersonAdditionalTypeInfoObserver {
public:
    bool GetContent(const char**, int*) override { return false; }
    void GetChanges(std::vector<std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfoChange>>& changes) override {
        changes.push_back(std::make_shared<TypeInfoChange>());
    }
};

TEST(ContentTest, PersonParametersAreFoundBehindAContent) {
    const std::shared_ptr<CBaseContent> content = std::make_shared<PersonModule>();
    EXPECT_EQ(As<PersonCredential::IPersonAdditionalTypeInfoObserver>(content), nullptr);
    auto* module = As<PersonCredential::IPersonModuleObserver>(content);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->GetChange()->GetChangeType(), 2);
    EXPECT_EQ(module->GetChange()->GetPerson()->GetPersonID(), 77);
}

TEST(ContentTest, AdditionalInformationIsFoundBehindAContent) {
    const std::shared_ptr<CBaseContent> content = std::make_shared<TypeInfoModule>();
    auto* module = As<PersonCredential::IPersonAdditionalTypeInfoObserver>(content);
    ASSERT_NE(module, nullptr);
    std::vector<std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfoChange>> changes;
    module->GetChanges(changes);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0]->GetChangeType(), 3);
    EXPECT_EQ(changes[0]->GetOldValue(), nullptr);
    const auto info = changes[0]->GetNewValue();
    EXPECT_EQ(info->GetID(), 5);
    EXPECT_EQ(info->GetGuid(), "guid");
    EXPECT_EQ(info->GetType(), 0);
    EXPECT_EQ(info->GetName(), "name");
    EXPECT_EQ(info->GetValue(), "value");
}

}  // namespace
}  // namespace platform_tests
