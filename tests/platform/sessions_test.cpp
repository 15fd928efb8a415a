#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/Authentication.h"
#include "ZELPlatform/MsgBusPush.h"
#include "ZELPlatform/System.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace {

using Mox::Base::Error;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using ZELPlatform::CBaseContent;
using ZELPlatform::CObserverParam;
using ZELPlatform::Authentication::GetOnlineSessionByClientType;
using ZELPlatform::Authentication::GetSessionByID;
using ZELPlatform::Authentication::GetSessionByUserID;
using namespace ZELPlatform::InterfaceCommonData::UserSession;
using ZELPlatform::MsgBus::MsgNotifyByDst;

/// A content of any kind over a block; without one when it has no data.
class Block : public CBaseContent {
public:
    Block(ZELPlatform::ContentKind kind, std::string data) : kind_(kind), data_(std::move(data)) {}
    bool GetContent(const char** data, int* size) override {
        if (data_.empty()) return false;
        *data = data_.data();
        *size = static_cast<int>(data_.size());
        return true;
    }
    int ContentType() override { return kind_; }

private:
    const ZELPlatform::ContentKind kind_;
    const std::string data_;
};

std::shared_ptr<CObserverParam> TextContent(const std::string& text) {
    auto content = std::make_shared<CObserverParam>();
    content->SetText(text);
    return content;
}

class SessionsTest : public PlatformTest {
protected:
    void SetUp() override { platform_->StartFront(); }

    std::string LogIn(const std::string& user, ClientType client_type = kClientTypeWeb) {
        return platform_->LogIn(user, client_type);
    }
    static std::vector<std::string> OfUser(unsigned int user, ClientType client_type) {
        std::vector<std::string> sessions;
        GetSessionByUserID(sessions, user, client_type);
        return sessions;
    }
    static std::vector<std::string> OfAccount(unsigned int id, const std::set<ClientType>& types,
                                              LoginAccountType account_type) {
        std::vector<std::string> sessions;
        GetSessionByID(sessions, id, types, account_type);
        return sessions;
    }
    std::string OpenClient(const std::string& user) {
        std::string session = LogIn(user);
        platform_->OpenClient(session);
        return session;
    }
    /// What the client got before the text "last", which is pushed to it now.
    std::vector<std::pair<bool, std::string>> FramesOf(const std::string& session) {
        EXPECT_TRUE(MsgNotifyByDst({session}, 1, TextContent("last")));
        std::vector<Frame> frames;
        EXPECT_TRUE(WaitUntil([&] {
            frames = platform_->Frames(session);
            return !frames.empty() && frames.back().data == "last";
        }));
        std::vector<std::pair<bool, std::string>> got;
        for (const auto& frame : frames) got.emplace_back(frame.text, frame.data);
        if (!got.empty()) got.pop_back();
        return got;
    }
};

TEST_F(SessionsTest, SessionsIdHas32Characters) {
    const std::string first = LogIn("ann");
    const std::string second = LogIn("ann");
    EXPECT_EQ(first.size(), 32u);
    EXPECT_EQ(second.size(), 32u);
    EXPECT_NE(first, second);
}

TEST_F(SessionsTest, SessionsOfAUserAreThoseOfItsClientType) {
    const std::string web = LogIn("ann", kClientTypeWeb);
    const std::string desktop = LogIn("ann", kClientTypeDesktop);
    const std::string again = LogIn("ann", kClientTypeWeb);
    LogIn("bob", kClientTypeWeb);
    EXPECT_THAT(OfUser(1, kClientTypeWeb), UnorderedElementsAre(web, again));
    EXPECT_THAT(OfUser(1, kClientTypeDesktop), ElementsAre(desktop));
    EXPECT_THAT(OfUser(1, kClientTypeMobile), IsEmpty());
    EXPECT_THAT(OfUser(77, kClientTypeWeb), IsEmpty());
}

TEST_F(SessionsTest, PersonsSessionsAreFoundByThePersonAlone) {
    const std::string pia = LogIn("pia");
    EXPECT_THAT(OfUser(4, kClientTypeWeb), IsEmpty()) << "the user's id, of no user account";
    EXPECT_THAT(OfUser(50, kClientTypeWeb), IsEmpty());
    EXPECT_THAT(OfAccount(50, {}, kAccountPerson), ElementsAre(pia));
    EXPECT_THAT(OfAccount(50, {}, kAccountUser), IsEmpty());
    EXPECT_THAT(OfAccount(4, {}, kAccountPerson), IsEmpty());
}

TEST_F(SessionsTest, SessionsOfAnAccountAreThoseOfTheTypes) {
    const std::string web = LogIn("ann", kClientTypeWeb);
    const std::string desktop = LogIn("ann", kClientTypeDesktop);
    const std::string mobile = LogIn("ann", kClientTypeMobile);
    EXPECT_THAT(OfAccount(1, {kClientTypeWeb, kClientTypeMobile}, kAccountUser), UnorderedElementsAre(web, mobile));
    EXPECT_THAT(OfAccount(1, {}, kAccountUser), UnorderedElementsAre(web, desktop, mobile));
    EXPECT_THAT(OfAccount(1, {}, kAccountPerson), IsEmpty());
    EXPECT_THAT(OfAccount(2, {}, kAccountUser), IsEmpty());
}

TEST_F(SessionsTest, OnlineSessionsOfAClientTypeAreThoseOfAllAccounts) {
    const std::string ann = LogIn("ann");
    const std::string pia = LogIn("pia");
    LogIn("bob", kClientTypeDesktop);
    std::vector<std::string> sessions;
    EXPECT_TRUE(GetOnlineSessionByClientType(sessions, kClientTypeWeb));
    EXPECT_THAT(sessions, UnorderedElementsAre(ann, pia));
    sessions.clear();
    EXPECT_FALSE(GetOnlineSessionByClientType(sessions, kClientTypeMobile));
    EXPECT_THAT(sessions, IsEmpty());
}

TEST_F(SessionsTest, SessionsAreAppended) {
    const std::string ann = LogIn("ann");
    std::vector<std::string> sessions{"before"};
    GetSessionByUserID(sessions, 1, kClientTypeWeb);
    GetSessionByID(sessions, 1, {}, kAccountUser);
    EXPECT_TRUE(GetOnlineSessionByClientType(sessions, kClientTypeWeb));
    EXPECT_THAT(sessions, ElementsAre("before", ann, ann, ann));
}

TEST_F(SessionsTest, SessionThatLoggedOutIsNoLongerThere) {
    const std::string ann = LogIn("ann");
    const std::string other = LogIn("ann");
    platform_->LogOut(ann);
    EXPECT_THAT(OfUser(1, kClientTypeWeb), ElementsAre(other));
    platform_->LogOut(other);
    std::vector<std::string> sessions;
    EXPECT_FALSE(GetOnlineSessionByClientType(sessions, kClientTypeWeb));
}

TEST_F(SessionsTest, TextIsPushedAsTextWithoutItsNulAndAnythingElseAsItsBlock) {
    const std::string ann = OpenClient("ann");
    const std::string block("text\0\x01\xFF", 7);
    EXPECT_TRUE(MsgNotifyByDst({ann}, 5, TextContent("{\"a\":1}")));
    EXPECT_TRUE(MsgNotifyByDst({ann}, 5, std::make_shared<Block>(ZELPlatform::kContentBinary, block)));
    EXPECT_TRUE(MsgNotifyByDst({ann}, 5, std::make_shared<Block>(ZELPlatform::kContentTextAndBinary, "event")));
    EXPECT_THAT(FramesOf(ann),
                ElementsAre(std::pair(true, "{\"a\":1}"), std::pair(false, block), std::pair(false, "event")));
}

TEST_F(SessionsTest, PushReachesTheSessionsThatAreNamedOnceForEachTime) {
    const std::string ann = OpenClient("ann");
    const std::string bob = OpenClient("bob");
    const std::string cid = OpenClient("cid");
    EXPECT_TRUE(MsgNotifyByDst({ann, bob, ann}, 5, TextContent("text")));
    EXPECT_THAT(FramesOf(ann), ElementsAre(std::pair(true, "text"), std::pair(true, "text")));
    EXPECT_THAT(FramesOf(bob), ElementsAre(std::pair(true, "text")));
    EXPECT_THAT(FramesOf(cid), IsEmpty());
}

TEST_F(SessionsTest, PushesComeInTheirOrder) {
    const std::string ann = OpenClient("ann");
    std::vector<std::pair<bool, std::string>> sent;
    for (int i = 0; i < 100; ++i) {
        sent.emplace_back(true, std::to_string(i));
        ASSERT_TRUE(MsgNotifyByDst({ann}, 5, TextContent(sent.back().second)));
    }
    EXPECT_EQ(FramesOf(ann), sent);
}

TEST_F(SessionsTest, SessionsWithoutAnOpenClientGetNothingAndThatIsNoFailure) {
    const std::string ann = LogIn("ann");
    const std::string bob = OpenClient("bob");
    EXPECT_TRUE(MsgNotifyByDst({ann, bob, std::string(32, 'x')}, 5, TextContent("text")));
    EXPECT_TRUE(MsgNotifyByDst({}, 5, TextContent("nobody")));
    EXPECT_THAT(FramesOf(bob), ElementsAre(std::pair(true, "text")));
    EXPECT_THAT(platform_->Frames(ann), IsEmpty());
}

TEST_F(SessionsTest, PushWithoutAContentOrBlockIsRefusedWithALastError) {
    const std::string ann = OpenClient("ann");
    Error::SetLastError(Error::ErrorCode());
    EXPECT_FALSE(MsgNotifyByDst({ann}, 5, nullptr));
    EXPECT_NE(Error::GetLastError(), Error::ErrorCode());
    Error::SetLastError(Error::ErrorCode());
    EXPECT_FALSE(MsgNotifyByDst({ann}, 5, std::make_shared<Block>(ZELPlatform::kContentText, "")));
    EXPECT_NE(Error::GetLastError(), Error::ErrorCode());
    EXPECT_THAT(FramesOf(ann), IsEmpty());
}

TEST_F(SessionsTest, ContentIsKeptUntilItIsSent) {
    const std::string ann = OpenClient("ann");
    auto content = TextContent(std::string(100000, 'x'));
    EXPECT_TRUE(MsgNotifyByDst({ann}, 5, content));
    content.reset();
    EXPECT_THAT(FramesOf(ann), ElementsAre(std::pair(true, std::string(100000, 'x'))));
}

TEST_F(SessionsTest, SettingsTellHowUsersReachTheSystem) {
    using namespace ZELPlatform::InterfaceCommonData::AccesstypeInfo;
    const auto settings = ZELPlatform::System::GetSystemConfigInfo();
    ASSERT_NE(settings, nullptr);
    ASSERT_NE(settings->GetValstruAccesstypeinfo(), nullptr);
    EXPECT_EQ(settings->GetValstruAccesstypeinfo()->GetValAccessType(), kAccessHttp);

    ZELPlatform::CSystemConfigInfo record;
    EXPECT_EQ(record.GetValstruAccesstypeinfo(), nullptr);
    const auto access = std::make_shared<ZELPlatform::CAccesstypeInfo>();
    EXPECT_EQ(access->GetValAccessType(), kAccessHttp);
    access->SetValAccessType(kAccessHttps);
    record.SetValstruAccesstypeinfo(access);
    EXPECT_EQ(record.GetValstruAccesstypeinfo()->GetValAccessType(), kAccessHttps);
}

}  // namespace
}  // namespace platform_tests
