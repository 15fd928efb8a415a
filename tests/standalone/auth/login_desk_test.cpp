#include <gtest/gtest.h>

#include "standalone/auth/LoginDesk.h"
#include "standalone/auth/session_site.h"
#include "standalone/site/SiteRecords.h"

namespace qarplatform {
namespace {

/// A desk that takes one try at a time of a user and from an address.
class LoginDeskTest : public testing::Test {
protected:
    LoginDeskTest() {
        SessionOptions options;
        options.login_tries = 1;
        desk_.Open(site_.Store().Users(), options);
    }
    ~LoginDeskTest() override { desk_.Close(); }

    LoginAnswer::Result Login(const LoginDesk::Admit& admit) {
        return desk_.Login("anna", "anna's password", "192.0.2.1", admit).result;
    }

    static LoginAnswer LetIn(const StoredUser&) {
        LoginAnswer answer;
        answer.result = LoginAnswer::kLoggedIn;
        return answer;
    }

    auth_test::SessionSite site_;
    LoginDesk desk_;
};

TEST_F(LoginDeskTest, TryThatEndsInAThrowHoldsUpNoOther) {
    EXPECT_THROW(Login([](const StoredUser&) -> LoginAnswer { throw 1; }), int);
    EXPECT_EQ(Login(&LetIn), LoginAnswer::kLoggedIn);
}

TEST_F(LoginDeskTest, TryWithinAnotherHasToWait) {
    LoginAnswer::Result within = LoginAnswer::kFailed;
    EXPECT_EQ(Login([&](const StoredUser& user) {
                  within = Login(&LetIn);
                  return LetIn(user);
              }),
              LoginAnswer::kLoggedIn);
    EXPECT_EQ(within, LoginAnswer::kTooManyTries);
    EXPECT_EQ(Login(&LetIn), LoginAnswer::kLoggedIn);
}

}  // namespace
}  // namespace qarplatform
