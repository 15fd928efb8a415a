#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <sstream>
#include <string>

#include "host/CheckCommand.h"
#include "host/ExitCode.h"
#include "host/PasswordCommand.h"
#include "integration/support/temp_folder.h"
#include "standalone/auth/PasswordHash.h"
#include "standalone/auth/Sessions.h"
#include "standalone/site/SiteStore.h"

namespace qarhost {
namespace {

using qarplatform::LoginAnswer;
using ZELPlatform::InterfaceCommonData::UserSession::kClientTypeWeb;

class PasswordCommandTest : public testing::Test {
protected:
    PasswordCommandTest() { WriteSite("[[user]]\nid = 1\nname = \"anna\"\n[[user]]\nid = 2\nname = \"Bert B.\"\n"); }

    void WriteSite(const std::string& text) { site_ = folder_.Write("site.toml", "[site]\nname = \"t\"\n" + text); }

    int Set(const std::string& user, const std::string& typed) {
        int ends[2];
        EXPECT_EQ(0, pipe(ends));
        EXPECT_EQ(static_cast<ssize_t>(typed.size()), write(ends[1], typed.data(), typed.size()));
        close(ends[1]);
        EXPECT_EQ(STDIN_FILENO, dup2(ends[0], STDIN_FILENO));
        close(ends[0]);
        out_.str("");
        err_.str("");
        return SetPassword(site_, user, out_, err_);
    }

    std::string DataDir() const { return (folder_.Path() / "data").string(); }
    std::string StoreFile() const { return DataDir() + "/site.db"; }

    std::string Hash(const std::string& user) const {
        qarplatform::SiteStore store;
        std::string error;
        std::optional<qarplatform::StoredUser> found;
        EXPECT_TRUE(store.Open(StoreFile(), error)) << error;
        EXPECT_TRUE(store.Users().Find(user, found, error)) << error;
        return found ? found->password : "no such user";
    }

    std::string Check() {
        out_.str("");
        err_.str("");
        EXPECT_EQ(kExitOk, CheckSite(site_, "", out_, err_)) << err_.str();
        return out_.str();
    }

    qartest::TempFolder folder_;
    std::string site_;
    std::ostringstream out_;
    std::ostringstream err_;
};

TEST_F(PasswordCommandTest, SiteWithoutAStoreIsImportedAndThePasswordSet) {
    EXPECT_EQ(kExitOk, Set("anna", "correct horse\n")) << err_.str();
    EXPECT_EQ("password of user anna set\n", out_.str());
    EXPECT_EQ("", err_.str());
    EXPECT_EQ(qarplatform::PasswordTest::kRight, qarplatform::TestPassword("correct horse", Hash("anna")));
    EXPECT_EQ("", Hash("Bert B."));
    struct stat folder {};
    ASSERT_EQ(0, stat(DataDir().c_str(), &folder));
    EXPECT_EQ(0700U, folder.st_mode & 0777);
}

TEST_F(PasswordCommandTest, SecondPasswordReplacesTheFirst) {
    EXPECT_EQ(kExitOk, Set("Bert B.", "correct horse\n")) << err_.str();
    EXPECT_EQ(kExitOk, Set("Bert B.", "battery staple\n")) << err_.str();
    EXPECT_EQ(qarplatform::PasswordTest::kRight, qarplatform::TestPassword("battery staple", Hash("Bert B.")));
}

TEST_F(PasswordCommandTest, SessionsOfARunningHostEndAndAreCounted) {
    EXPECT_EQ(kExitOk, Set("anna", "correct horse\n")) << err_.str();
    qarplatform::SiteStore store;
    qarplatform::Sessions sessions;
    std::string error;
    ASSERT_TRUE(store.Open(StoreFile(), error)) << error;
    ASSERT_TRUE(sessions.Start(store, {}, error)) << error;
    const LoginAnswer first = sessions.Login("anna", "correct horse", kClientTypeWeb, "192.0.2.1");
    ASSERT_EQ(LoginAnswer::kLoggedIn, first.result);

    EXPECT_EQ(kExitOk, Set("anna", "battery staple\n")) << err_.str();
    EXPECT_EQ("password of user anna set, 1 session ended\n", out_.str());
    EXPECT_EQ(LoginAnswer::kRefused, sessions.Login("anna", "correct horse", kClientTypeWeb, "192.0.2.1").result);
    EXPECT_EQ(LoginAnswer::kLoggedIn, sessions.Login("anna", "battery staple", kClientTypeWeb, "192.0.2.1").result);
}

TEST_F(PasswordCommandTest, UnknownUserIsRefusedBeforeThePasswordIsAskedFor) {
    EXPECT_EQ(kExitFailure, Set("Anna", "correct horse\n"));
    EXPECT_EQ("qarhost: there is no user \"Anna\" in " + StoreFile() + "\n", err_.str());
    EXPECT_EQ("", out_.str());
}

TEST_F(PasswordCommandTest, BadPasswordLeavesTheOldOne) {
    EXPECT_EQ(kExitOk, Set("anna", "correct horse\n")) << err_.str();
    EXPECT_EQ(kExitFailure, Set("anna", "short\n"));
    EXPECT_EQ("qarhost: a password has at least 8 characters\n", err_.str());
    EXPECT_EQ(qarplatform::PasswordTest::kRight, qarplatform::TestPassword("correct horse", Hash("anna")));
}

TEST_F(PasswordCommandTest, WrongSiteFileIsTold) {
    WriteSite("[[user]]\nid = 1\n");
    EXPECT_EQ(kExitSiteFile, Set("anna", "correct horse\n"));
    EXPECT_EQ(site_ + ":3: user[1].name: missing; must be a text\n", err_.str());
    EXPECT_FALSE(std::filesystem::exists(DataDir()));
}

TEST_F(PasswordCommandTest, StoreThatCannotBeReadIsTold) {
    std::filesystem::create_directory(DataDir());
    folder_.Write("data/site.db", std::string(4096, 'x'));
    EXPECT_EQ(kExitDatabase, Set("anna", "correct horse\n"));
    EXPECT_EQ("qarhost: " + StoreFile() + ": file is not a database\n", err_.str());
}

TEST_F(PasswordCommandTest, StoreMadeBeforeThereWereUsersTakesThemFromTheFile) {
    WriteSite("");
    EXPECT_EQ(kExitFailure, Set("anna", "correct horse\n"));
    WriteSite("[[user]]\nid = 1\nname = \"anna\"\n");
    EXPECT_NE(std::string::npos, Check().find("store: has no users yet, the next run imports those of the site file\n"))
        << out_.str();
    EXPECT_EQ(kExitOk, Set("anna", "correct horse\n")) << err_.str();
    EXPECT_EQ(std::string::npos, Check().find("store: has no users yet")) << out_.str();
}

TEST_F(PasswordCommandTest, CheckNamesUsersWithoutAPassword) {
    const std::string anna = "note: user anna has no password and cannot log in; qarhost password sets it\n";
    const std::string bert = "note: user Bert B. has no password and cannot log in; qarhost password sets it\n";
    EXPECT_NE(std::string::npos, Check().find(anna + bert)) << "before the store is made: " << out_.str();
    EXPECT_NE(std::string::npos, out_.str().find("0 plug-ins, 2 users\n")) << out_.str();
    EXPECT_EQ(kExitOk, Set("anna", "correct horse\n")) << err_.str();
    EXPECT_EQ(std::string::npos, Check().find(anna)) << out_.str();
    EXPECT_NE(std::string::npos, out_.str().find(bert)) << out_.str();
}

}  // namespace
}  // namespace qarhost
