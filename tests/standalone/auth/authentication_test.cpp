#include "ZELPlatform/Authentication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "standalone/auth/Sessions.h"
#include "standalone/auth/session_site.h"

namespace {

using namespace ZELPlatform::Authentication;
using namespace ZELPlatform::InterfaceCommonData::UserSession;
using qarplatform::Sessions;
using testing::ElementsAre;
using testing::IsEmpty;

class AuthenticationTest : public testing::Test {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(Sessions::Get().Start(site_.Store(), {}, error)) << error;
        web_ = Login("anna", kClientTypeWeb);
        desktop_ = Login("anna", kClientTypeDesktop);
        person_ = Login("bert", kClientTypeDesktop);
    }
    void TearDown() override { Sessions::Get().Stop(); }

    static std::string Login(const std::string& user, ClientType client_type) {
        return Sessions::Get().Login(user, user + "'s password", client_type, "192.0.2.1").session.id;
    }

    auth_test::SessionSite site_;
    std::string web_, desktop_, person_;
    std::vector<std::string> sessions_ = {"before"};
};

TEST_F(AuthenticationTest, SessionsOfAUserAndClientTypeAreAppended) {
    GetSessionByUserID(sessions_, 7, kClientTypeDesktop);
    GetSessionByUserID(sessions_, 7, kClientTypeMobile);
    GetSessionByUserID(sessions_, 8, kClientTypeDesktop);
    EXPECT_THAT(sessions_, ElementsAre("before", desktop_));
}

TEST_F(AuthenticationTest, SessionsOfAnAccountAreAppended) {
    GetSessionByID(sessions_, 7, {}, kAccountUser);
    GetSessionByID(sessions_, 70, {kClientTypeDesktop}, kAccountPerson);
    GetSessionByID(sessions_, 70, {kClientTypeWeb}, kAccountPerson);
    EXPECT_THAT(sessions_, ElementsAre("before", web_, desktop_, person_));
}

TEST_F(AuthenticationTest, SessionsOfAClientTypeAreAppendedAndWhetherThereAreAnyIsTold) {
    EXPECT_TRUE(GetOnlineSessionByClientType(sessions_, kClientTypeDesktop));
    EXPECT_FALSE(GetOnlineSessionByClientType(sessions_, kClientTypeMobile));
    EXPECT_THAT(sessions_, ElementsAre("before", desktop_, person_));
}

TEST(AuthenticationWithoutSessionsTest, NobodyIsOnline) {
    std::vector<std::string> sessions;
    GetSessionByUserID(sessions, 7, kClientTypeWeb);
    GetSessionByID(sessions, 7, {}, kAccountUser);
    EXPECT_FALSE(GetOnlineSessionByClientType(sessions, kClientTypeWeb));
    EXPECT_THAT(sessions, IsEmpty());
}

}  // namespace
