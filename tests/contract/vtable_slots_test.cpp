// The slots of the virtual operations, which plug-ins that are compiled already have built in. An order here changes
// with the library's major version only. In the Itanium C++ ABI a virtual destructor takes two slots.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "ZELPlatform/BaseContent.h"
#include "db_layer/Connect.h"
#include "qar/IBusMsg.h"
#include "qar/IDBHistoryData.h"
#include "qar/IDBManager.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IHistoryStateMgr.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "support/vtable_slot.h"
#include "tuk/Device.h"

namespace qar {
namespace {

struct Operation {
    const char* name;
    std::ptrdiff_t slot;
};

#define OPERATION(type, name) \
    Operation { #name, test_support::SlotOf(&type::name) }

constexpr std::ptrdiff_t kBehindDestructor = 2;

void ExpectInOrder(std::ptrdiff_t first, const std::vector<Operation>& operations) {
    for (const Operation& operation : operations) {
        EXPECT_EQ(first, operation.slot) << operation.name;
        ++first;
    }
}

TEST(VtableSlotsTest, IPlatformAdapterInterface) {
    ExpectInOrder(kBehindDestructor, {OPERATION(IPlatformAdapterInterface, GetDeviceManagerAPI),
                                      OPERATION(IPlatformAdapterInterface, GetDeviceTimeZoneAPI),
                                      OPERATION(IPlatformAdapterInterface, GetElementManagerAPI),
                                      OPERATION(IPlatformAdapterInterface, GetCapabilityManagerAPI),
                                      OPERATION(IPlatformAdapterInterface, GetMessageBusManagerAPI),
                                      OPERATION(IPlatformAdapterInterface, GetUserAuthorityAPI),
                                      OPERATION(IPlatformAdapterInterface, GetSystemAndLogAPI),
                                      OPERATION(IPlatformAdapterInterface, GetAccessRouteManagerAPI),
                                      OPERATION(IPlatformAdapterInterface, GetVehicleManagerAPI),
                                      OPERATION(IPlatformAdapterInterface, GetRedisCacheManager),
                                      OPERATION(IPlatformAdapterInterface, GetDistributeDBSyncAPI),
                                      OPERATION(IPlatformAdapterInterface, GetDistributeDBObserverAPI),
                                      OPERATION(IPlatformAdapterInterface, GetDistributedNodeAPI),
                                      OPERATION(IPlatformAdapterInterface, GetDistributedMemoryAPI),
                                      OPERATION(IPlatformAdapterInterface, GetDistributedHttpAPI)});
}

TEST(VtableSlotsTest, IBusMsg) {
    ExpectInOrder(kBehindDestructor,
                  {OPERATION(IBusMsg, Type), OPERATION(IBusMsg, SourceType), OPERATION(IBusMsg, SourceID),
                   OPERATION(IBusMsg, Data), OPERATION(IBusMsg, DataSize), OPERATION(IBusMsg, BinaryData),
                   OPERATION(IBusMsg, GetJsonTxt), OPERATION(IBusMsg, GetBinaryData), OPERATION(IBusMsg, PluginID),
                   OPERATION(IBusMsg, GetExtendContentDatas), OPERATION(IBusMsg, GetPictureBinaryDatas)});
}

TEST(VtableSlotsTest, IBusMsgExtendContentData) {
    ExpectInOrder(kBehindDestructor,
                  {OPERATION(IBusMsgExtendContentData, GetData), OPERATION(IBusMsgExtendContentData, GetDataSize)});
}

TEST(VtableSlotsTest, IMessageBusManagerAPI) {
    ExpectInOrder(kBehindDestructor, {OPERATION(IMessageBusManagerAPI, RegisterUsrRequest),
                                      OPERATION(IMessageBusManagerAPI, UnregisterUsrRequest),
                                      OPERATION(IMessageBusManagerAPI, PublishEventType),
                                      OPERATION(IMessageBusManagerAPI, SubscribeEventMsg),
                                      OPERATION(IMessageBusManagerAPI, UnsubscribeEventMsg),
                                      OPERATION(IMessageBusManagerAPI, PublishChangeMsgType),
                                      OPERATION(IMessageBusManagerAPI, SubscribeChangeMsg),
                                      OPERATION(IMessageBusManagerAPI, UnsubscribeChangeMsg),
                                      OPERATION(IMessageBusManagerAPI, PostEventMsg),
                                      OPERATION(IMessageBusManagerAPI, PostChangeMsg),
                                      OPERATION(IMessageBusManagerAPI, PushMsgToUsers),
                                      OPERATION(IMessageBusManagerAPI, Reserved),
                                      OPERATION(IMessageBusManagerAPI, PushMsgToPersonUsers),
                                      OPERATION(IMessageBusManagerAPI, PushMsgToUsersNew),
                                      OPERATION(IMessageBusManagerAPI, SubscribeChangeMsgEx),
                                      OPERATION(IMessageBusManagerAPI, UnsubscribeChangeMsgEx),
                                      OPERATION(IMessageBusManagerAPI, SubscribeEventMsgEx),
                                      OPERATION(IMessageBusManagerAPI, UnsubscribeEventMsgEx),
                                      OPERATION(IMessageBusManagerAPI, PublishMsgType),
                                      OPERATION(IMessageBusManagerAPI, SubscribeMsg),
                                      OPERATION(IMessageBusManagerAPI, UnsubscribeMsg),
                                      OPERATION(IMessageBusManagerAPI, PostMsg),
                                      OPERATION(IMessageBusManagerAPI, PostMsgToSpecifiedClients),
                                      OPERATION(IMessageBusManagerAPI, PostMsgToSpecifiedClientsAndSubscribers),
                                      OPERATION(IMessageBusManagerAPI, PostMsgWithPermission)});
}

TEST(VtableSlotsTest, IHistoryStateMgr) {
    ExpectInOrder(
        kBehindDestructor,
        {OPERATION(IHistoryStateMgr, Init), OPERATION(IHistoryStateMgr, Uninit), OPERATION(IHistoryStateMgr, Register),
         OPERATION(IHistoryStateMgr, UnRegister), OPERATION(IHistoryStateMgr, SetCareCameraStateInfo),
         OPERATION(IHistoryStateMgr, SetCareCameraStateInfoEx), OPERATION(IHistoryStateMgr, DelCareCameraStateInfo),
         OPERATION(IHistoryStateMgr, DelCareCameraStateInfoByCameraID), OPERATION(IHistoryStateMgr, GetCareCameraList),
         OPERATION(IHistoryStateMgr, AddCameraState), OPERATION(IHistoryStateMgr, GetExceptionRange),
         OPERATION(IHistoryStateMgr, DelHistoryStateInRange),
         OPERATION(IHistoryStateMgr, DelCareCameraStateInfoAtMoveOutByCameraIDs)});
}

TEST(VtableSlotsTest, IDBHistoryData) {
    ExpectInOrder(
        0, {OPERATION(IDBHistoryData, InitDBHistoryStateInfo), OPERATION(IDBHistoryData, UpdateDBHistoryStateTime),
            OPERATION(IDBHistoryData, UpdateDBHistorySateType), OPERATION(IDBHistoryData, AddDBHistoryStateInfo),
            OPERATION(IDBHistoryData, DelDBHistorySateInfo), OPERATION(IDBHistoryData, DelDBHistorySateByExpireTime),
            OPERATION(IDBHistoryData, DelDBHistoryStateByCameraIDAndBusiType),
            OPERATION(IDBHistoryData, DelDBHistoryStateByCameraID),
            OPERATION(IDBHistoryData, QueryCameraStateByCameraID)});
}

TEST(VtableSlotsTest, IDBManager) {
    ExpectInOrder(
        kBehindDestructor,
        {OPERATION(IDBManager, Initialize), OPERATION(IDBManager, Finalize), OPERATION(IDBManager, ForwardedCallA),
         OPERATION(IDBManager, ExecuteQuery), OPERATION(IDBManager, Execute), OPERATION(IDBManager, ForwardedCallB),
         OPERATION(IDBManager, ForwardedCallC), OPERATION(IDBManager, ResetDBParam),
         OPERATION(IDBManager, ExecuteQueryUDT), OPERATION(IDBManager, ExecuteSortByCollate),
         OPERATION(IDBManager, GetNextID), OPERATION(IDBManager, ForwardedCallD),
         OPERATION(IDBManager, ExecuteSortByCollateUDT)});
}

TEST(VtableSlotsTest, IDeviceManagerAPI) {
    ExpectInOrder(kBehindDestructor,
                  {OPERATION(IDeviceManagerAPI, GetAllDevices), OPERATION(IDeviceManagerAPI, GetDeviceInfoByGuid),
                   OPERATION(IDeviceManagerAPI, GetDeviceInfoByID), OPERATION(IDeviceManagerAPI, GetDeviceDetailInfo),
                   OPERATION(IDeviceManagerAPI, GetDeviceChannels), OPERATION(IDeviceManagerAPI, GetChannelInfo),
                   OPERATION(IDeviceManagerAPI, GetChannelIDByNo), OPERATION(IDeviceManagerAPI, GetCameraIDByNo),
                   OPERATION(IDeviceManagerAPI, GetChannelNoByID), OPERATION(IDeviceManagerAPI, GetDevicePtr),
                   OPERATION(IDeviceManagerAPI, GetChannelPtr), OPERATION(IDeviceManagerAPI, GetDeviceFeature)});
}

TEST(VtableSlotsTest, IDeviceTimeZoneAPI) {
    ExpectInOrder(
        kBehindDestructor,
        {OPERATION(IDeviceTimeZoneAPI, GetLocalTime), OPERATION(IDeviceTimeZoneAPI, GetDeviceTime),
         OPERATION(IDeviceTimeZoneAPI, GetDeviceTimeEx), OPERATION(IDeviceTimeZoneAPI, GetDeviceISOTime),
         OPERATION(IDeviceTimeZoneAPI, GetCameraTime), OPERATION(IDeviceTimeZoneAPI, GetCameraTimeEx),
         OPERATION(IDeviceTimeZoneAPI, GetCameraISOTime), OPERATION(IDeviceTimeZoneAPI, GetDeviceTimeZoneInfo),
         OPERATION(IDeviceTimeZoneAPI, GetDeviceUtcOffset)});
}

TEST(VtableSlotsTest, CConnect) {
    ExpectInOrder(kBehindDestructor,
                  {OPERATION(db_layer::CConnect, Execute), OPERATION(db_layer::CConnect, Query),
                   OPERATION(db_layer::CConnect, GetLastErrorText), OPERATION(db_layer::CConnect, QueryUDT),
                   OPERATION(db_layer::CConnect, QuerySortByCollate), OPERATION(db_layer::CConnect, ExecuteReturning),
                   OPERATION(db_layer::CConnect, QuerySortByCollateUDT)});
}

TEST(VtableSlotsTest, IDevice) {
    ExpectInOrder(kBehindDestructor, {OPERATION(tuk::IDevice, GetFeature),
                                      OPERATION(tuk::IDevice, GetLoginMode),
                                      OPERATION(tuk::IDevice, GetType),
                                      OPERATION(tuk::IDevice, GetTextC),
                                      OPERATION(tuk::IDevice, GetPort),
                                      OPERATION(tuk::IDevice, GetTextD),
                                      OPERATION(tuk::IDevice, GetTextE),
                                      OPERATION(tuk::IDevice, GetGuid),
                                      OPERATION(tuk::IDevice, GetID),
                                      OPERATION(tuk::IDevice, GetTextB),
                                      OPERATION(tuk::IDevice, GetTextA),
                                      OPERATION(tuk::IDevice, GetAlternatePort),
                                      OPERATION(tuk::IDevice, IsOnline),
                                      OPERATION(tuk::IDevice, GetGuardStatus),
                                      OPERATION(tuk::IDevice, GetSubCategory),
                                      OPERATION(tuk::IDevice, GetChannels),
                                      OPERATION(tuk::IDevice, FindChannelByID),
                                      OPERATION(tuk::IDevice, FindChannelByNo),
                                      OPERATION(tuk::IDevice, GetFirmwareVersion),
                                      OPERATION(tuk::IDevice, GetTimeValue),
                                      OPERATION(tuk::IDevice, GetOnlineIdentificationGUID)});
}

TEST(VtableSlotsTest, CObserverBaseContent) {
    ExpectInOrder(kBehindDestructor, {OPERATION(ZELPlatform::CObserverBaseContent, GetContent),
                                      OPERATION(ZELPlatform::CObserverBaseContent, ContentType),
                                      OPERATION(ZELPlatform::CObserverBaseContent, ObserverMsgType)});
}

TEST(VtableSlotsTest, CMsgBusContentBase) {
    ExpectInOrder(0, {OPERATION(ZELPlatform::CMsgBusContentBase, GetTextContent),
                      OPERATION(ZELPlatform::CMsgBusContentBase, GetBinaryContents),
                      OPERATION(ZELPlatform::CMsgBusContentBase, ContentType)});
}

}  // namespace
}  // namespace qar
