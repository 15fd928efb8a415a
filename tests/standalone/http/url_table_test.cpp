#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Base/Error.h"
#include "standalone/http/HttpErrors.h"
#include "standalone/http/UrlTable.h"

namespace qarplatform {
namespace {

using Mox::Base::Error;
using testing::ElementsAre;
using ZELPlatform::kMethodAny;
using ZELPlatform::kMethodDelete;
using ZELPlatform::kMethodGet;
using ZELPlatform::kMethodPost;
using ZELPlatform::kMethodPostGet;
using ZELPlatform::kMethodPut;
using ZELPlatform::Method;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;

class UrlTableTest : public testing::Test {
protected:
    bool Bind(const std::string& url, Method method, const std::string& plugin = "plugin") {
        return table_.Add(
            plugin, url, method, [](MsgIn&, MsgOut&, ProtoParam2&) {}, false);
    }

    // The URL that a path leads to.
    std::string UrlOf(const std::string& path, Method method = kMethodGet) {
        const UrlTable::Match match = table_.Find(path, method);
        return match.binding == nullptr ? "none" : match.binding->url;
    }

    static Error::ErrorCode LastError() { return Error::GetLastError(); }
    static Error::ErrorCode HttpError(HttpErrorCode code) { return Error::ErrorCode(kErrorModuleHttp, code); }

    UrlTable table_;
};

TEST_F(UrlTableTest, PathLeadsToTheUrlBoundToIt) {
    ASSERT_TRUE(table_.Add(
        "p", "/a/b", kMethodPut, [](MsgIn&, MsgOut&, ProtoParam2&) {}, true));
    const UrlTable::Match match = table_.Find("/a/b", kMethodPut);
    ASSERT_NE(nullptr, match.binding);
    EXPECT_EQ("p", match.binding->plugin);
    EXPECT_EQ("/a/b", match.binding->url);
    EXPECT_EQ(kMethodPut, match.binding->method);
    EXPECT_TRUE(match.binding->open);
    EXPECT_TRUE(match.binding->json);
    EXPECT_THAT(match.numbers, ElementsAre("", "", "", ""));
}

TEST_F(UrlTableTest, UrlIsBoundInTheFormInWhichPathsAreCompared) {
    ASSERT_TRUE(Bind("/a%20b/", kMethodGet));
    EXPECT_EQ("/a b", UrlOf("/a b"));
    EXPECT_FALSE(Bind("/a b", kMethodGet));
    EXPECT_TRUE(table_.Delete("/a b/", kMethodAny));
}

TEST_F(UrlTableTest, UpToFourNumbersMayFollow) {
    ASSERT_TRUE(Bind("/a", kMethodGet));
    EXPECT_THAT(table_.Find("/a/1/-22/0/4", kMethodGet).numbers, ElementsAre("1", "-22", "0", "4"));
    EXPECT_THAT(table_.Find("/a/00123456789012345678901234567890", kMethodGet).numbers,
                ElementsAre("00123456789012345678901234567890", "", "", ""));
    EXPECT_EQ("none", UrlOf("/a/1/2/3/4/5"));
    EXPECT_EQ("none", UrlOf("/a/1/x"));
    EXPECT_EQ("none", UrlOf("/a/x/1"));
    EXPECT_EQ("none", UrlOf("/a/-"));
    EXPECT_EQ("none", UrlOf("/a/+1"));
    EXPECT_EQ("none", UrlOf("/a/1.0"));
    EXPECT_EQ("none", UrlOf("/a/--1"));
}

TEST_F(UrlTableTest, LongestBoundUrlDecides) {
    ASSERT_TRUE(Bind("/a", kMethodAny));
    ASSERT_TRUE(Bind("/a/1", kMethodGet));
    EXPECT_EQ("/a/1", UrlOf("/a/1"));
    EXPECT_EQ("/a/1", UrlOf("/a/1/2"));
    EXPECT_EQ("/a", UrlOf("/a/2/1"));
    const UrlTable::Match match = table_.Find("/a/1", kMethodPost);
    EXPECT_EQ(nullptr, match.binding);
    EXPECT_EQ("GET, HEAD", match.allow);
}

TEST_F(UrlTableTest, UnknownPathAllowsNothing) {
    ASSERT_TRUE(Bind("/a", kMethodAny));
    EXPECT_EQ("", table_.Find("/b", kMethodGet).allow);
    EXPECT_EQ("", table_.Find("/", kMethodGet).allow);
    EXPECT_EQ("", table_.Find("/1/2", kMethodGet).allow);
    EXPECT_EQ("", table_.Find("/A", kMethodGet).allow);
}

TEST_F(UrlTableTest, MethodsOfOneUrlMayBeBoundOneByOne) {
    ASSERT_TRUE(Bind("/a", kMethodPostGet, "first"));
    ASSERT_TRUE(Bind("/a", kMethodPut, "second"));
    EXPECT_EQ("first", table_.Find("/a", kMethodGet).binding->plugin);
    EXPECT_EQ("first", table_.Find("/a", kMethodPost).binding->plugin);
    EXPECT_EQ("second", table_.Find("/a", kMethodPut).binding->plugin);
    EXPECT_EQ("GET, HEAD, PUT, POST", table_.Find("/a", kMethodDelete).allow);
    ASSERT_TRUE(Bind("/a", kMethodDelete, "third"));
    EXPECT_EQ("third", table_.Find("/a", kMethodDelete).binding->plugin);
}

TEST_F(UrlTableTest, AnyServesEveryMethod) {
    ASSERT_TRUE(Bind("/a", kMethodAny));
    for (const Method method : {kMethodGet, kMethodPut, kMethodPost, kMethodDelete})
        EXPECT_EQ("/a", UrlOf("/a", method));
}

TEST_F(UrlTableTest, MethodThatIsBoundAlreadyIsRefused) {
    ASSERT_TRUE(Bind("/a", kMethodPost));
    for (const Method method : {kMethodPost, kMethodPostGet, kMethodAny}) {
        EXPECT_FALSE(Bind("/a", method, "other"));
        EXPECT_EQ(HttpError(kHttpErrorBound), LastError());
    }
    EXPECT_EQ("plugin", table_.Find("/a", kMethodPost).binding->plugin);
    EXPECT_EQ(nullptr, table_.Find("/a", kMethodGet).binding);
    ASSERT_TRUE(Bind("/b", kMethodAny));
    EXPECT_FALSE(Bind("/b", kMethodDelete));
}

TEST_F(UrlTableTest, WhatIsNoPlainPathIsRefused) {
    for (const char* url : {"", "a", "/a?b=1", "/a#b", "/a//b", "/../a", "/%zz", "/a\n", "/%2F", "http://host/a"}) {
        Error::SetLastError(Error::ErrorCode());
        EXPECT_FALSE(Bind(url, kMethodGet)) << url;
        EXPECT_EQ(HttpError(kHttpErrorBadUrl), LastError()) << url;
    }
    EXPECT_FALSE(Bind("/a", static_cast<Method>(6)));
    EXPECT_EQ(HttpError(kHttpErrorBadUrl), LastError());
}

TEST_F(UrlTableTest, EmptyFunctionIsRefused) {
    EXPECT_FALSE(table_.Add("p", "/a", kMethodGet, {}, false));
    EXPECT_EQ(HttpError(kHttpErrorNoFunction), LastError());
}

TEST_F(UrlTableTest, UrlsOfThePlatformAreRefused) {
    for (const char* url : {"/", "/login", "/logout", "/push", "/push/", "/%6cogin"}) {
        Error::SetLastError(Error::ErrorCode());
        EXPECT_FALSE(Bind(url, kMethodGet)) << url;
        EXPECT_EQ(HttpError(kHttpErrorReserved), LastError()) << url;
    }
    EXPECT_TRUE(Bind("/pushes", kMethodGet));
}

TEST_F(UrlTableTest, MarkedUrlsCarryNoJson) {
    ASSERT_TRUE(Bind("/a", kMethodGet, "p"));
    ASSERT_TRUE(Bind("/a", kMethodPost, "p"));
    ASSERT_TRUE(Bind("/a", kMethodPut, "other"));
    EXPECT_TRUE(table_.MarkNoneJson("p", {"/a/"}));
    EXPECT_FALSE(table_.Find("/a", kMethodGet).binding->json);
    EXPECT_FALSE(table_.Find("/a", kMethodPost).binding->json);
    EXPECT_TRUE(table_.Find("/a", kMethodPut).binding->json);
}

TEST_F(UrlTableTest, UrlThatThePluginHasNotBoundIsToldAndTheOthersAreMarked) {
    ASSERT_TRUE(Bind("/a", kMethodGet, "p"));
    ASSERT_TRUE(Bind("/b", kMethodGet, "other"));
    ASSERT_TRUE(Bind("/c", kMethodGet, "p"));
    EXPECT_FALSE(table_.MarkNoneJson("p", {"/a", "/b", "/unknown", "", "/c"}));
    EXPECT_EQ(HttpError(kHttpErrorNotBound), LastError());
    EXPECT_FALSE(table_.Find("/a", kMethodGet).binding->json);
    EXPECT_TRUE(table_.Find("/b", kMethodGet).binding->json);
    EXPECT_FALSE(table_.Find("/c", kMethodGet).binding->json);
    EXPECT_TRUE(table_.MarkNoneJson("p", {}));
}

TEST_F(UrlTableTest, AnyReleasesAllMethods) {
    ASSERT_TRUE(Bind("/a", kMethodGet));
    ASSERT_TRUE(Bind("/a", kMethodPut, "other"));
    EXPECT_TRUE(table_.Delete("/a", kMethodAny));
    EXPECT_EQ("none", UrlOf("/a"));
    EXPECT_EQ("", table_.Find("/a", kMethodGet).allow);
    EXPECT_TRUE(Bind("/a", kMethodAny));
}

TEST_F(UrlTableTest, OtherMethodsReleaseWhatWasBoundWithThem) {
    ASSERT_TRUE(Bind("/a", kMethodPostGet));
    ASSERT_TRUE(Bind("/a", kMethodPut));
    EXPECT_FALSE(table_.Delete("/a", kMethodGet));
    EXPECT_EQ(HttpError(kHttpErrorNotBound), LastError());
    EXPECT_TRUE(table_.Delete("/a", kMethodPostGet));
    EXPECT_EQ("none", UrlOf("/a", kMethodPost));
    EXPECT_EQ("/a", UrlOf("/a", kMethodPut));
}

TEST_F(UrlTableTest, ReleasingWhatIsNotBoundFails) {
    EXPECT_FALSE(table_.Delete("/a", kMethodAny));
    EXPECT_EQ(HttpError(kHttpErrorNotBound), LastError());
    EXPECT_FALSE(table_.Delete("a", kMethodAny));
    EXPECT_EQ(HttpError(kHttpErrorBadUrl), LastError());
}

TEST_F(UrlTableTest, ReleasedFunctionLivesAsLongAsACallThatRuns) {
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = held;
    ASSERT_TRUE(table_.Add(
        "p", "/a", kMethodGet, [held](MsgIn&, MsgOut&, ProtoParam2&) {}, false));
    held.reset();
    UrlTable::Match running = table_.Find("/a", kMethodGet);
    ASSERT_TRUE(table_.Delete("/a", kMethodAny));
    EXPECT_FALSE(watch.expired());
    running.binding.reset();
    EXPECT_TRUE(watch.expired());
}

TEST_F(UrlTableTest, FunctionThatAsksTheTableWhenItIsLetGoOfFindsItUnlocked) {
    const std::shared_ptr<int> asks(new int, [this](int* p) {
        delete p;
        table_.All();
    });
    ASSERT_TRUE(table_.Add(
        "p", "/a", kMethodGet, [asks](MsgIn&, MsgOut&, ProtoParam2&) {}, false));
    EXPECT_TRUE(table_.Delete("/a", kMethodAny));
}

TEST_F(UrlTableTest, AllAreListedByUrl) {
    ASSERT_TRUE(Bind("/b", kMethodGet));
    ASSERT_TRUE(Bind("/a", kMethodPut));
    ASSERT_TRUE(Bind("/a", kMethodGet));
    std::vector<std::string> urls;
    for (const auto& binding : table_.All()) urls.push_back(binding->url + std::to_string(binding->method));
    EXPECT_THAT(urls, ElementsAre("/a1", "/a0", "/b0"));
}

TEST_F(UrlTableTest, RequestsAreServedWhileOtherUrlsComeAndGo) {
    ASSERT_TRUE(Bind("/stays", kMethodGet));
    std::atomic<bool> done{false};
    std::thread changing([&] {
        for (int i = 0; i < 2000; ++i) {
            EXPECT_TRUE(Bind("/comes", kMethodAny));
            EXPECT_TRUE(table_.Delete("/comes", kMethodAny));
        }
        done = true;
    });
    while (!done) {
        EXPECT_EQ("/stays", UrlOf("/stays/1"));
        const UrlTable::Match match = table_.Find("/comes", kMethodPut);
        if (match.binding == nullptr) {
            EXPECT_EQ("", match.allow);
        } else {
            EXPECT_EQ("/comes", match.binding->url);
        }
    }
    changing.join();
}

}  // namespace
}  // namespace qarplatform
