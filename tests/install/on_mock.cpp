#include <gmock/gmock.h>
#include <qar/IPlatformAdapterInterface.h>

TEST(OnMockTest, TheFacadeStands) {
    EXPECT_NE(nullptr, qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI());
}
