// What the library does when an allocation fails in the middle of it. Each step's allocations fail in turn.
#include "contract/failing_new.h"

#ifndef QAR_OPERATOR_NEW_IS_FIXED

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>

#include "Mox/Base/Error.h"
#include "qar/IBusMsg.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"

namespace qar {
namespace {

using contract_test::BlocksHeld;
using contract_test::NewFails;
using contract_test::TakeLog;
using Mox::Base::Error;

constexpr int kMoreThanAnyStepAllocates = 100;

void Ignore(const std::string&, std::shared_ptr<IBusMsg>, void*) {}

TEST(OutOfMemoryTest, FacadeWhoseObjectCannotBeMadeKeepsNothingAndIsMadeByALaterCall) {
    IPlatformAdapterInterface* facade = nullptr;
    int failures = 0;
    while (facade == nullptr && failures < kMoreThanAnyStepAllocates) {
        const long held = BlocksHeld();
        const NewFails fails(failures + 1);
        try {
            facade = IPlatformAdapterInterface::Instance();
            ASSERT_NE(facade, nullptr);
        } catch (const std::bad_alloc&) {
            ++failures;
            EXPECT_EQ(held, BlocksHeld()) << "failure " << failures;
        }
    }
    ASSERT_NE(facade, nullptr);
    EXPECT_GE(failures, 3) << "at least one for each object";
    EXPECT_EQ(TakeLog(), "");
    EXPECT_EQ(IPlatformAdapterInterface::Instance(), facade);
    EXPECT_NE(facade->GetDeviceManagerAPI(), nullptr);
    EXPECT_NE(facade->GetDeviceTimeZoneAPI(), nullptr);
    EXPECT_NE(facade->GetMessageBusManagerAPI(), nullptr);
}

TEST(OutOfMemoryTest, ExSubscriptionThatCannotBeStoredFailsWithItsOwnErrorAndLine) {
    const auto bus = IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    const std::string plugin = "a plug-in with a name that needs a block";
    ASSERT_TRUE(bus->SubscribeChangeMsgEx("topic", {}, &Ignore, nullptr, plugin)) << "makes what all tries share";
    int told = 0;
    int subscribed = 0;
    for (int nth = 1; nth < kMoreThanAnyStepAllocates; ++nth) {
        // a topic of its own, so that each try allocates the same
        const std::string topic = "topic" + std::to_string(nth);
        Error::SetLastError(Error::ErrorCode(0, 0));
        TakeLog();
        try {
            const NewFails fails(nth);
            if (bus->SubscribeChangeMsgEx(topic, {}, &Ignore, nullptr, plugin)) {
                ++subscribed;
                continue;
            }
        } catch (const std::bad_alloc&) {
            continue;
        }
        ++told;
        EXPECT_EQ(Error::GetLastError().GetModule(), 0);
        EXPECT_EQ(Error::GetLastError().GetCode(), 1);
        EXPECT_THAT(TakeLog(),
                    ::testing::HasSubstr("[qar::CMessageBusChangeMsg::SubscribeChangeMsgEx]"
                                         "[MessageBus] plugin[a plug-in with a name that needs a block] subscribes[" +
                                         topic + "] msg-type[] Add cb to map failed.\n["));
    }
    EXPECT_GT(subscribed, 0) << "no try was spared";
    EXPECT_EQ(told, 2) << "the place in the map and the key in it";
}

}  // namespace
}  // namespace qar

#endif
