// Requests that the server answers by itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "standalone/http/http_server_fixture.h"
#include "standalone/log/temp_log.h"

namespace http_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct BadRequest {
    const char* name;
    std::string text;
    int status;
};

std::string Get(const std::string& headers) { return "GET / HTTP/1.1\r\nHost: h\r\n" + headers + "\r\n"; }

std::string Post(const std::string& headers, const std::string& body) {
    return "POST / HTTP/1.1\r\nHost: h\r\n" + headers + "\r\n" + body;
}

class MalformedRequestTest : public HttpServerTest, public ::testing::WithParamInterface<BadRequest> {};

TEST_P(MalformedRequestTest, IsRefusedAndTheConnectionEnds) {
    StartServer();
    RawClient client(server_.Port());
    client.Send(GetParam().text);
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, GetParam().status);
    EXPECT_EQ(answer.headers.at("content-type"), "application/json");
    EXPECT_EQ(answer.headers.at("connection"), "close");
    EXPECT_THAT(answer.body, StartsWith("{\"status\":" + std::to_string(GetParam().status) + ",\"error\":\""));
    EXPECT_TRUE(client.Ends());
    EXPECT_TRUE(requests_.Now().empty());
    EXPECT_EQ(HttpServerTest::Get().status, 200);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, MalformedRequestTest,
    ::testing::Values(BadRequest{"NoLine", "nonsense\r\n\r\n", 400}, BadRequest{"EmptyLine", "\r\n\r\n", 400},
                      BadRequest{"NoVersion", "GET /\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"TlsHello", std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03\r\n\r\n", 15),
                                 400},
                      BadRequest{"BareLineFeeds", "GET / HTTP/1.1\nHost: h\n\n", 400},
                      BadRequest{"NulInVerb", std::string("G\0T / HTTP/1.1\r\nHost: h\r\n\r\n", 26), 400},
                      BadRequest{"NulInTarget", std::string("GET /\0 HTTP/1.1\r\nHost: h\r\n\r\n", 28), 400},
                      BadRequest{"BlankInTarget", "GET /a b HTTP/1.1\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"RelativeTarget", "GET a HTTP/1.1\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"StarTarget", "GET * HTTP/1.1\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"AbsoluteTargetWithoutHost", "GET http:///x HTTP/1.1\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"AbsoluteTargetWithUser", "GET http://u@h/x HTTP/1.1\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"Connect", "CONNECT h:80 HTTP/1.1\r\nHost: h\r\n\r\n", 501},
                      BadRequest{"Trace", "TRACE / HTTP/1.1\r\nHost: h\r\n\r\n", 501},
                      BadRequest{"Version2", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 505},
                      BadRequest{"Version12", "GET / HTTP/1.2\r\nHost: h\r\n\r\n", 505},
                      BadRequest{"Version09", "GET / HTTP/0.9\r\n\r\n", 505},
                      BadRequest{"OtherProtocol", "GET / FTTP/1.1\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"LongLine", "GET /" + std::string(20'000, 'a') + " HTTP/1.1\r\nHost: h\r\n\r\n", 431}),
    [](const auto& bad) { return bad.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Headers, MalformedRequestTest,
    ::testing::Values(BadRequest{"NoHost", "GET / HTTP/1.1\r\n\r\n", 400},
                      BadRequest{"TwoHosts", Get("Host: h\r\n"), 400},
                      BadRequest{"BlankInHost", "GET / HTTP/1.1\r\nHost: a b\r\n\r\n", 400},
                      BadRequest{"PathInHost", "GET / HTTP/1.1\r\nHost: a/b\r\n\r\n", 400},
                      BadRequest{"NoColon", Get("X\r\n"), 400}, BadRequest{"BlankBeforeColon", Get("X : 1\r\n"), 400},
                      BadRequest{"NoName", Get(": 1\r\n"), 400},
                      BadRequest{"NulInValue", Get(std::string("X: a\0b\r\n", 8)), 400},
                      BadRequest{"NulInName", Get(std::string("X\0: a\r\n", 7)), 400},
                      BadRequest{"BareReturnInValue", Get("X: a\rb\r\n"), 400},
                      BadRequest{"EmptyHostAndAnother", "GET / HTTP/1.1\r\nHost:\r\nHost: h\r\n\r\n", 400},
                      BadRequest{"EmptyOriginAndAnother", Get("Origin:\r\nOrigin: b\r\n"), 400},
                      BadRequest{"EmptyTypeAndAnother", Get("Content-Type:\r\nContent-Type: text/plain\r\n"), 400},
                      BadRequest{"EmptyExpectationAndAnother", Get("Expect:\r\nExpect: 100-continue\r\n"), 400},
                      BadRequest{"TwoOrigins", Get("Origin: a\r\nOrigin: b\r\n"), 400},
                      BadRequest{"Expectation", Get("Expect: a-miracle\r\n"), 417},
                      BadRequest{"LongHeader", Get("X: " + std::string(20'000, 'a') + "\r\n"), 431},
                      BadRequest{"ManyHeaders",
                                 [] {
                                     std::string headers;
                                     for (int i = 0; i < 3'000; ++i) {
                                         headers += "X: 1\r\n";
                                     }
                                     return Get(headers);
                                 }(),
                                 431},
                      BadRequest{"EndlessHeader", "GET / HTTP/1.1\r\nX: " + std::string(100'000, 'a'), 431}),
    [](const auto& bad) { return bad.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Lengths, MalformedRequestTest,
    ::testing::Values(
        BadRequest{"LengthAndChunked", Post("Content-Length: 3\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"), 400},
        BadRequest{"ChunkedAndLength", Post("Transfer-Encoding: chunked\r\nContent-Length: 3\r\n", "0\r\n\r\n"), 400},
        BadRequest{"GzipAndLength", Post("Transfer-Encoding: gzip\r\nContent-Length: 3\r\n", "abc"), 400},
        BadRequest{"TwoLengths", Post("Content-Length: 3\r\nContent-Length: 4\r\n", "abcd"), 400},
        BadRequest{"SameLengthTwice", Post("Content-Length: 3\r\nContent-Length: 3\r\n", "abc"), 400},
        BadRequest{"NegativeLength", Post("Content-Length: -1\r\n", ""), 400},
        BadRequest{"SignedLength", Post("Content-Length: +3\r\n", "abc"), 400},
        BadRequest{"HexLength", Post("Content-Length: 0x3\r\n", "abc"), 400},
        BadRequest{"EmptyLength", Post("Content-Length: \r\n", "abc"), 400},
        BadRequest{"LengthBeyondNumbers", Post("Content-Length: 99999999999999999999999\r\n", ""), 400},
        BadRequest{"OtherEncoding", Post("Transfer-Encoding: gzip\r\n", ""), 501},
        BadRequest{"EncodingBeforeChunked", Post("Transfer-Encoding: gzip, chunked\r\n", "0\r\n\r\n"), 501},
        BadRequest{"ChunkedBeforeEncoding", Post("Transfer-Encoding: chunked, gzip\r\n", "0\r\n\r\n"), 501},
        BadRequest{"ChunkedTwice", Post("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"),
                   400},
        BadRequest{"EmptyEncodingAndChunked", Post("Transfer-Encoding:\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"),
                   400},
        BadRequest{"EmptyEncoding", Post("Transfer-Encoding: \r\n", ""), 501},
        BadRequest{"OldClientWithoutLength", "POST / HTTP/1.0\r\n\r\nabc", 411},
        BadRequest{"OldClientWithChunks", "POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400}),
    [](const auto& bad) { return bad.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Chunks, MalformedRequestTest,
    ::testing::Values(
        BadRequest{"NoSize", Post("Transfer-Encoding: chunked\r\n", "x\r\n\r\n"), 400},
        BadRequest{"NegativeSize", Post("Transfer-Encoding: chunked\r\n", "-1\r\n\r\n"), 400},
        BadRequest{"SizeBeyondNumbers", Post("Transfer-Encoding: chunked\r\n", "FFFFFFFFFFFFFFFFFF\r\nabc"), 400},
        BadRequest{"ShortSize", Post("Transfer-Encoding: chunked\r\n", "2\r\nabc\r\n0\r\n\r\n"), 400},
        BadRequest{"HugeSize", Post("Transfer-Encoding: chunked\r\n", "FFFFFFFFFFFFFFFF\r\nabc"), 413},
        BadRequest{"EndlessExtension", Post("Transfer-Encoding: chunked\r\n", "1;" + std::string(100'000, 'x')), 431},
        BadRequest{"EndlessTrailer", Post("Transfer-Encoding: chunked\r\n", "0\r\nX: " + std::string(100'000, 'x')),
                   431},
        BadRequest{"LengthInTrailer", Post("Transfer-Encoding: chunked\r\n", "0\r\nContent-Length: 5\r\n\r\n"), 400}),
    [](const auto& bad) { return bad.param.name; });

TEST_F(HttpServerTest, HeadOfExactlyTheLimitIsTakenAndOneByteMoreIsNot) {
    options_.header_bytes = 100;
    StartServer();
    const std::string start = "GET / HTTP/1.1\r\nHost: h\r\nX: ";
    const auto request = [&](std::size_t size) {
        return start + std::string(size - start.size() - 4, 'x') + "\r\n\r\n";
    };
    RawClient client(server_.Port());
    client.Send(request(100));
    EXPECT_EQ(client.ReadAnswer().status, 200);
    client.Send(request(101));
    const http_test::Answer answer = client.ReadAnswer();
    EXPECT_EQ(answer.status, 431);
    EXPECT_EQ(
        answer.body,
        "{\"status\":431,\"error\":\"Request Header Fields Too Large\",\"reason\":\"the request's head or the head "
        "of a chunk is longer than 100 bytes\"}");
}

TEST_F(HttpServerTest, RequestThatComesByteByByteIsServed) {
    StartServer();
    RawClient client(server_.Port());
    for (const char byte :
         std::string("POST /slow HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n3;a=b\r\nabc\r\n"
                     "2\r\nde\r\n0\r\nX-Trailer: 1\r\nHost: other\r\n\r\n")) {
        client.Send(std::string_view(&byte, 1));
    }
    EXPECT_EQ(client.ReadAnswer().body, "POST /slow abcde");
    EXPECT_EQ(requests_.WaitFor(1)[0].host, "h");
}

TEST_F(HttpServerTest, RequestThatEndsInItsMiddleIsRefused) {
    StartServer();
    for (const std::string part :
         {"GET / HTT", "GET / HTTP/1.1\r\nHost: h\r\n", "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n\r\nabc",
          "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab"}) {
        RawClient client(server_.Port());
        client.Send(part);
        client.EndSending();
        EXPECT_EQ(client.ReadAnswer().status, 400) << part;
        EXPECT_TRUE(client.Ends());
    }
    EXPECT_TRUE(requests_.Now().empty());
}

TEST_F(HttpServerTest, OptionsOfTheWholeServerIsAnsweredByIt) {
    StartServer();
    RawClient client(server_.Port());
    for (int i = 0; i < 2; ++i) {
        client.Send("OPTIONS * HTTP/1.1\r\nHost: h\r\n\r\n");
        EXPECT_EQ(client.ReadAnswer().status, 204);
    }
    EXPECT_TRUE(requests_.Now().empty());
}

TEST_F(HttpServerTest, FaultsOfAKindGetALineASecondWithTheirNumberAndNothingOfTheRequests) {
    TempLog log;
    StartServer();
    for (int i = 0; i < 5; ++i) {
        RawClient client(server_.Port());
        client.Send("GET /x?SID=secret HTTP/1.1\r\nHost: h\r\nHost: h\r\nCookie: SID=secret\r\n\r\n");
        EXPECT_EQ(client.ReadAnswer().status, 400);
    }
    RawClient client(server_.Port());
    client.Send("TRACE /x?SID=secret HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(client.ReadAnswer().status, 501);
    server_.Stop();
    uint64_t told = 0;
    bool told_verb = false;
    for (const std::string& line : log.Lines()) {
        EXPECT_EQ(line.find("secret"), std::string::npos) << line;
        EXPECT_EQ(line.find("/x"), std::string::npos) << line;
        if (line.find("refused with 400, the header Host is there more than once") == std::string::npos) {
            EXPECT_EQ(line,
                      "W [QARPlatform] http: a request was refused with 501, the verb is not served, client "
                      "127.0.0.1");
            told_verb = true;
            continue;
        }
        const std::size_t number = line.find("; ");
        told += line.find(", client 127.0.0.1") != std::string::npos ? 1 : 0;
        told += number != std::string::npos ? std::stoull(line.substr(number + 2)) : 0;
    }
    EXPECT_EQ(told, 5u);
    EXPECT_TRUE(told_verb);
}

}  // namespace
}  // namespace http_test
