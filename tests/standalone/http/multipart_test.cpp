#include "standalone/http/Multipart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qarplatform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using ZELPlatform::MsgMimePart;

constexpr const char* kType = "multipart/form-data; boundary=xyz";

std::vector<MsgMimePart> PartsOf(const std::string& body, const std::string& type = kType) {
    std::vector<MsgMimePart> parts;
    std::string error;
    EXPECT_TRUE(ReadMultipart(type, body, parts, error)) << error;
    return parts;
}

std::string RefusalOf(const std::string& body, const std::string& type = kType) {
    std::vector<MsgMimePart> parts;
    std::string error;
    return ReadMultipart(type, body, parts, error) ? "" : error;
}

// A body of one part with these header lines.
std::string WithHead(const std::string& head) { return "--xyz\r\n" + head + "\r\n\r\ndata\r\n--xyz--\r\n"; }

std::string FileNameOf(const std::string& parameters) {
    const auto parts = PartsOf(WithHead("Content-Disposition: form-data; name=n; " + parameters));
    return parts.empty() ? "no part" : parts[0].str_file_name;
}

TEST(MultipartTest, PartsAreReadInOrder) {
    const auto parts = PartsOf(
        "--xyz\r\n"
        "Content-Disposition: form-data; name=\"title\"\r\n"
        "\r\n"
        "two\r\nlines\r\n"
        "--xyz\r\n"
        "content-type:  image/png \r\n"
        "CONTENT-DISPOSITION: form-data; name=\"file\"; filename=\"a b.png\"\r\n"
        "Content-Transfer-Encoding: binary\r\n"
        "X-Other: 1\r\n"
        "\r\n" +
        std::string("\0\r\n--xy\n--xyz", 13) + "\r\n--xyz--\r\n");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ("title", parts[0].str_name);
    EXPECT_EQ("form-data; name=\"title\"", parts[0].str_content_disposition);
    EXPECT_EQ("", parts[0].str_content_type);
    EXPECT_EQ("", parts[0].str_file_name);
    EXPECT_EQ("", parts[0].str_transfer_encoding);
    EXPECT_EQ("Content-Disposition: form-data; name=\"title\"\r\n", parts[0].str_headers);
    EXPECT_EQ("two\r\nlines", parts[0].str_data);
    EXPECT_EQ("file", parts[1].str_name);
    EXPECT_EQ("image/png", parts[1].str_content_type);
    EXPECT_EQ("a b.png", parts[1].str_file_name);
    EXPECT_EQ("binary", parts[1].str_transfer_encoding);
    EXPECT_EQ(
        "content-type:  image/png \r\nCONTENT-DISPOSITION: form-data; name=\"file\"; filename=\"a b.png\"\r\n"
        "Content-Transfer-Encoding: binary\r\nX-Other: 1\r\n",
        parts[1].str_headers);
    EXPECT_EQ(std::string("\0\r\n--xy\n--xyz", 13), parts[1].str_data);
}

TEST(MultipartTest, BoundaryMayBeQuoted) {
    const std::string type = "Multipart/Form-Data; charset=utf-8; BOUNDARY=\"a b(?)\"";
    const auto parts = PartsOf("--a b(?)\r\nContent-Disposition: form-data; name=n\r\n\r\n1\r\n--a b(?)--", type);
    ASSERT_THAT(parts, SizeIs(1));
    EXPECT_EQ("1", parts[0].str_data);
}

TEST(MultipartTest, WhatLiesBeforeTheFirstAndBehindTheLastBoundaryIsPassedOver) {
    const auto parts =
        PartsOf("before --xyz\r\n" + WithHead("Content-Disposition: form-data; name=n") + "behind\r\n--xyz");
    ASSERT_THAT(parts, SizeIs(1));
    EXPECT_EQ("data", parts[0].str_data);
}

TEST(MultipartTest, BodyWithoutPartsIsTaken) { EXPECT_THAT(PartsOf("--xyz--\r\n"), IsEmpty()); }

TEST(MultipartTest, PartMayBeEmpty) {
    const std::string head = "--xyz\r\nContent-Disposition: form-data; name=n\r\n\r\n";
    const auto parts = PartsOf(head + "\r\n" + head + "--xyz--");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ("", parts[0].str_data);
    EXPECT_EQ("", parts[1].str_data);
}

TEST(MultipartTest, LineThatOnlyBeginsWithTheBoundaryIsData) {
    const auto parts = PartsOf(
        "--xyz\r\nContent-Disposition: form-data; name=n\r\n\r\n1\r\n--xyzz\r\n--xyz-\r\n--xyz \t\r\n"
        "Content-Disposition: form-data; name=m\r\n\r\n2\r\n--xyz--");
    ASSERT_THAT(parts, SizeIs(2));
    EXPECT_EQ("1\r\n--xyzz\r\n--xyz-", parts[0].str_data);
    EXPECT_EQ("2", parts[1].str_data);
}

TEST(MultipartTest, EscapesOfQuotedNamesAreUndone) {
    EXPECT_EQ("a\"b\\c", FileNameOf("filename=\"a\\\"b\\\\c\""));
    EXPECT_EQ("C:\\dir\\x.txt", FileNameOf("filename=\"C:\\dir\\x.txt\""));
    EXPECT_EQ("a;b=c", FileNameOf("filename=\"a;b=c\""));
    EXPECT_EQ("token.bin", FileNameOf("filename=token.bin"));
    EXPECT_EQ("", FileNameOf("filename=\"\""));
}

TEST(MultipartTest, ExtendedFileNameWins) {
    EXPECT_EQ("\xC3\xA4 %.png", FileNameOf("filename=\"plain.png\"; filename*=UTF-8''%C3%A4%20%25.png"));
    EXPECT_EQ("a.png", FileNameOf("filename*=utf-8'en'a.png; filename=\"plain.png\""));
}

TEST(MultipartTest, ExtendedFileNameThatCannotBeReadLeavesThePlainOne) {
    EXPECT_EQ("plain", FileNameOf("filename=plain; filename*=iso-8859-1''%E4"));
    EXPECT_EQ("plain", FileNameOf("filename=plain; filename*=UTF-8''%E4"));
    EXPECT_EQ("plain", FileNameOf("filename=plain; filename*=UTF-8''a%0Db"));
    EXPECT_EQ("plain", FileNameOf("filename=plain; filename*=UTF-8''a%2"));
    EXPECT_EQ("plain", FileNameOf("filename=plain; filename*=UTF-8'a"));
    EXPECT_EQ("plain", FileNameOf("filename=plain; filename*=a"));
}

TEST(MultipartTest, ContentTypeWithoutAProperBoundaryIsRefused) {
    const std::string refusal = "the content type names no proper boundary";
    EXPECT_EQ(refusal, RefusalOf("--xyz--", "multipart/form-data"));
    EXPECT_EQ(refusal, RefusalOf("--xyz--", "multipart/form-data; boundary="));
    EXPECT_EQ(refusal, RefusalOf("--xyz--", "multipart/form-data; boundary=\"\""));
    EXPECT_EQ(refusal, RefusalOf("--xyz--", "multipart/form-data; boundary=\"xyz"));
    EXPECT_EQ(refusal, RefusalOf("--xyz --", "multipart/form-data; boundary=\"xyz \""));
    EXPECT_EQ(refusal, RefusalOf("--x\"--", "multipart/form-data; boundary=\"x\\\"\""));
    EXPECT_EQ(refusal, RefusalOf("--xyz--", "multipart/mixed; boundary=xyz"));
    const std::string longest(70, 'b');
    EXPECT_EQ("", RefusalOf("--" + longest + "--", "multipart/form-data; boundary=" + longest));
    EXPECT_EQ(refusal, RefusalOf("--" + longest + "b--", "multipart/form-data; boundary=" + longest + "b"));
}

TEST(MultipartTest, MissingBoundariesAreRefused) {
    EXPECT_EQ("the body holds no boundary line", RefusalOf(""));
    EXPECT_EQ("the body holds no boundary line", RefusalOf("text --xyz--"));
    EXPECT_EQ("the body holds no boundary line", RefusalOf("\n--xyz--"));
    const std::string part = "--xyz\r\nContent-Disposition: form-data; name=n\r\n\r\ndata";
    EXPECT_EQ("part 1 has no boundary line behind it", RefusalOf(part));
    EXPECT_EQ("part 1 has no boundary line behind it", RefusalOf(part + "--xyz--"));
    EXPECT_EQ("part 1 has no boundary line behind it", RefusalOf(part + "\n--xyz--"));
    EXPECT_EQ("part 2 has header lines without an end", RefusalOf(part + "\r\n--xyz\r\n"));
    EXPECT_EQ("part 1 has no boundary line behind it", RefusalOf(part + "\r\n--xyz"));
}

TEST(MultipartTest, BadHeadsAreRefused) {
    EXPECT_EQ("part 1 has a line in its head that is no header", RefusalOf(WithHead("nothing")));
    EXPECT_EQ("part 1 has a line in its head that is no header", RefusalOf(WithHead(" folded: 1")));
    EXPECT_EQ("part 1 has a line in its head that is no header", RefusalOf(WithHead(": 1")));
    EXPECT_EQ("part 1 has a control character in its head", RefusalOf(WithHead("a: \nb")));
    EXPECT_EQ("part 1 has a control character in its head", RefusalOf(WithHead(std::string("a: \0", 4))));
    EXPECT_EQ("part 1 has no Content-Disposition", RefusalOf(WithHead("Content-Type: text/plain")));
    EXPECT_EQ("part 1 has no Content-Disposition", RefusalOf("--xyz\r\n\r\ndata\r\n--xyz--"));
    EXPECT_EQ("part 1 has two Content-Dispositions",
              RefusalOf(WithHead("Content-Disposition: form-data; name=n\r\nContent-Disposition: form-data; name=n")));
    EXPECT_EQ("part 1 has a Content-Disposition that is no form-data",
              RefusalOf(WithHead("Content-Disposition: attachment; name=n")));
    EXPECT_EQ("part 1 has a Content-Disposition that is no form-data",
              RefusalOf(WithHead("Content-Disposition: form-data; name=\"n")));
    EXPECT_EQ("part 1 has no name", RefusalOf(WithHead("Content-Disposition: form-data; filename=n")));
    EXPECT_EQ("part 1 has a name that is no UTF-8",
              RefusalOf(WithHead("Content-Disposition: form-data; name=\"\xE4\"")));
    EXPECT_EQ("part 1 has a name that is no UTF-8",
              RefusalOf(WithHead("Content-Disposition: form-data; name=n; filename=\"\xE4\"")));
}

TEST(MultipartTest, HeadOfSixteenKibibytesIsTakenAndAByteMoreIsRefused) {
    const std::string disposition = "Content-Disposition: form-data; name=n\r\nx: ";
    const std::size_t filler = 16 * 1024 - disposition.size() - 4;  // the line's end and the empty line
    EXPECT_EQ("", RefusalOf(WithHead(disposition + std::string(filler, 'a'))));
    EXPECT_EQ("part 1 has header lines above 16 KiB", RefusalOf(WithHead(disposition + std::string(filler + 1, 'a'))));
}

TEST(MultipartTest, ThousandPartsAreTakenAndOneMoreIsRefused) {
    const std::string part = "--xyz\r\nContent-Disposition: form-data; name=n\r\n\r\n\r\n";
    std::string body;
    for (int i = 0; i < 1000; ++i) body += part;
    EXPECT_THAT(PartsOf(body + "--xyz--"), SizeIs(1000));
    EXPECT_EQ("part 1001 is one too many", RefusalOf(body + part + "--xyz--"));
}

}  // namespace
}  // namespace qarplatform
