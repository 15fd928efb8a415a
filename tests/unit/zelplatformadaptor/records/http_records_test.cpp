#include <gtest/gtest.h>

#include <utility>

#include "qar/HttpRecords.h"

namespace qar {
namespace {

TEST(HttpRecordTest, MimeIsCopiedAndMovedWithItsReservedPointer) {
    int target = 0;
    SHttpMime source;
    EXPECT_EQ(source.reserved, nullptr);
    source.str_mime_0 = "0";
    source.str_mime_1 = "1";
    source.str_mime_2 = "2";
    source.str_mime_3 = "3";
    source.str_mime_4 = "4";
    source.str_mime_5 = "5";
    source.str_mime_6 = std::string("a\0b", 3);
    source.reserved = &target;

    SHttpMime copy(source);
    SHttpMime moved(std::move(copy));
    SHttpMime assigned;
    assigned = moved;
    SHttpMime move_assigned;
    move_assigned = std::move(assigned);
    EXPECT_EQ(move_assigned.str_mime_0, "0");
    EXPECT_EQ(move_assigned.str_mime_1, "1");
    EXPECT_EQ(move_assigned.str_mime_2, "2");
    EXPECT_EQ(move_assigned.str_mime_3, "3");
    EXPECT_EQ(move_assigned.str_mime_4, "4");
    EXPECT_EQ(move_assigned.str_mime_5, "5");
    EXPECT_EQ(move_assigned.str_mime_6, std::string("a\0b", 3));
    EXPECT_EQ(move_assigned.reserved, &target);
    EXPECT_EQ(copy.reserved, &target);      // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(assigned.reserved, &target);  // NOLINT(bugprone-use-after-move)
}

TEST(HttpRecordTest, RequestStartsUnset) {
    const SHttpRequest request;
    EXPECT_EQ(request.n_connection_id, -1);
    EXPECT_FALSE(request.b_access_type_https);
    EXPECT_EQ(request.n_method, -1);
    EXPECT_EQ(request.str_url, "");
    EXPECT_TRUE(request.vec_url_ids.empty());
    EXPECT_TRUE(request.map_params.empty());
    EXPECT_TRUE(request.vec_mime.empty());
    EXPECT_EQ(request.reserved, nullptr);
}

TEST(HttpRecordTest, RequestIsCopiedAndMovedWhole) {
    int target = 0;
    SHttpRequest source;
    source.n_connection_id = 5000000000LL;
    source.b_access_type_https = true;
    source.str_url = "/a";
    source.n_method = 2;
    source.str_request_text = "text";
    source.vec_url_ids = {1, 2};
    source.map_params = {{"k", "v"}};
    source.str_body = "body";
    source.vec_mime.push_back(std::make_shared<SHttpMime>());
    source.reserved = &target;
    const auto mime = source.vec_mime[0];

    SHttpRequest copy(source);
    SHttpRequest moved(std::move(copy));
    SHttpRequest assigned;
    assigned = moved;
    SHttpRequest move_assigned;
    move_assigned = std::move(assigned);
    EXPECT_EQ(move_assigned.n_connection_id, 5000000000LL);
    EXPECT_TRUE(move_assigned.b_access_type_https);
    EXPECT_EQ(move_assigned.str_url, "/a");
    EXPECT_EQ(move_assigned.n_method, 2);
    EXPECT_EQ(move_assigned.str_request_text, "text");
    EXPECT_EQ(move_assigned.vec_url_ids, (std::vector<long long>{1, 2}));
    EXPECT_EQ(move_assigned.map_params.at("k"), "v");
    EXPECT_EQ(move_assigned.str_body, "body");
    EXPECT_EQ(move_assigned.vec_mime.at(0), mime);
    EXPECT_EQ(move_assigned.reserved, &target);
    EXPECT_EQ(assigned.reserved, &target);  // NOLINT(bugprone-use-after-move)
}

TEST(HttpRecordTest, ResponseStartsWithoutMimePartAndWithAutoReply) {
    SHttpResponse response;
    EXPECT_EQ(response.str_body, "");
    EXPECT_FALSE(response.b_no_auto_reply);
    EXPECT_EQ(response.GetHttpMime(), nullptr);
}

TEST(HttpRecordTest, ResponseKeepsMimePartBesideItsBodyAndSharesItWithItsCopies) {
    const auto mime = std::make_shared<SHttpMime>();
    SHttpResponse source;
    source.str_body = "body";
    source.str_spare_text = "spare";
    source.b_no_auto_reply = true;
    source.SetHttpMime(mime);

    SHttpResponse copy(source);
    SHttpResponse assigned;
    assigned = copy;
    source.SetHttpMime(nullptr);
    EXPECT_EQ(copy.GetHttpMime(), mime);
    EXPECT_EQ(assigned.GetHttpMime(), mime);
    EXPECT_EQ(assigned.str_body, "body");
    EXPECT_EQ(assigned.str_spare_text, "spare");
    EXPECT_TRUE(assigned.b_no_auto_reply);
    EXPECT_EQ(source.GetHttpMime(), nullptr);

    const SHttpResponse& same = assigned;
    assigned = same;
    EXPECT_EQ(assigned.GetHttpMime(), mime);
}

}  // namespace
}  // namespace qar
