#include <gtest/gtest.h>

#include <ctime>
#include <regex>
#include <string>

#include "standalone/auth/PasswordHash.h"

namespace {

using qarplatform::ForgetPassword;
using qarplatform::HashPassword;
using qarplatform::kLongestPassword;
using qarplatform::PasswordTest;
using qarplatform::PretendToTestPassword;
using qarplatform::ScryptCost;
using qarplatform::TestPassword;

constexpr ScryptCost kCheap{10, 1, 1};

// 16 bytes of salt, 32 bytes of hash
constexpr const char* kSalt = "AAECAwQFBgcICQoLDA0ODw==";
constexpr const char* kHash = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=";

std::string Text(const std::string& cost, const std::string& salt = kSalt, const std::string& hash = kHash) {
    return "scrypt$" + cost + "$" + salt + "$" + hash;
}

double ProcessorSeconds() {
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

TEST(PasswordHashTest, HashIsTextWithCostSaltAndHash) {
    EXPECT_TRUE(std::regex_match(HashPassword("correct horse"),
                                 std::regex(R"(scrypt\$15\$8\$1\$[A-Za-z0-9+/]{22}==\$[A-Za-z0-9+/]{43}=)")));
}

TEST(PasswordHashTest, OnlyTheSamePasswordIsRight) {
    const std::string hash = HashPassword("correct horse", kCheap);
    EXPECT_EQ(TestPassword("correct horse", hash), PasswordTest::kRight);
    EXPECT_EQ(TestPassword("correct Horse", hash), PasswordTest::kWrong);
    EXPECT_EQ(TestPassword("correct horse ", hash), PasswordTest::kWrong);
    EXPECT_EQ(TestPassword("", hash), PasswordTest::kWrong);
}

TEST(PasswordHashTest, EmptyAndLongestPasswordsAndThoseWithNulAreTold) {
    const std::string with_nul("ab\0cd", 5);
    for (const std::string& password : {std::string(), std::string(kLongestPassword, 'x'), with_nul}) {
        EXPECT_EQ(TestPassword(password, HashPassword(password, kCheap)), PasswordTest::kRight);
    }
    EXPECT_EQ(TestPassword("ab", HashPassword(with_nul, kCheap)), PasswordTest::kWrong);
}

TEST(PasswordHashTest, SamePasswordHashesAnewEachTime) {
    EXPECT_NE(HashPassword("correct horse", kCheap), HashPassword("correct horse", kCheap));
}

TEST(PasswordHashTest, HashOfAnotherProgramIsRight) {
    EXPECT_EQ(TestPassword("pleaseletmein",
                           "scrypt$14$8$1$U29kaXVtQ2hsb3JpZGU=$"
                           "cCO9yzr9c0hGHAbNgf046/2o+7qQT44+qbVD9lRdofLVQylVYT8Pz2LUlwUkKpr55h6F3A1lHkDfzwF7RVdYhw=="),
              PasswordTest::kRight);
}

TEST(PasswordHashTest, CostComesFromTheText) {
    const std::string hash = HashPassword("correct horse", {11, 4, 2});
    EXPECT_EQ(hash.rfind("scrypt$11$4$2$", 0), 0U) << hash;
    EXPECT_EQ(TestPassword("correct horse", hash), PasswordTest::kRight);
    EXPECT_EQ(TestPassword("correct horse", "scrypt$11$4$1$" + hash.substr(14)), PasswordTest::kWrong);
}

TEST(PasswordHashTest, LargestCostThatIsTakenCanBeReckoned) {
    EXPECT_EQ(TestPassword("x", Text("18$8$1")), PasswordTest::kWrong);
}

TEST(PasswordHashTest, TextsThatAreNoHashOrOfACostBeyondReasonAreRefused) {
    EXPECT_EQ(TestPassword("x", Text("10$1$1")), PasswordTest::kWrong) << "the text that the others are made from";
    for (const std::string& text : {std::string(),
                                    std::string("scrypt$"),
                                    std::string("plain"),
                                    Text("9$8$1"),
                                    Text("21$1$1"),
                                    Text("19$8$1"),
                                    Text("15$0$1"),
                                    Text("15$33$1"),
                                    Text("15$8$0"),
                                    Text("15$8$9"),
                                    Text("-15$8$1"),
                                    Text("15$8"),
                                    Text("15$8$1$1"),
                                    Text("99999999999$8$1"),
                                    Text("15 $8$1"),
                                    "bcrypt$" + Text("15$8$1").substr(7),
                                    Text("10$1$1", ""),
                                    Text("10$1$1", "****"),
                                    Text("10$1$1", "A"),
                                    Text("10$1$1", kSalt, ""),
                                    Text("10$1$1", kSalt, "AAECAwQFBgcICQoLDA0ODw=="),
                                    Text("10$1$1", kSalt, std::string(kHash) + "\n"),
                                    Text("10$1$1", "===="),
                                    Text("10$1$1", kSalt, std::string(88, 'A') + "AAAA"),
                                    Text("10$1$1") + "$"}) {
        EXPECT_EQ(TestPassword("x", text), PasswordTest::kUnreadable) << text;
    }
}

TEST(PasswordHashTest, CostBeyondReasonIsNotHashedEither) {
    EXPECT_EQ(HashPassword("x", {30, 8, 1}), "");
    EXPECT_EQ(HashPassword("x", {15, -8, 1}), "");
}

TEST(PasswordHashTest, PretendedTestTakesTheWorkOfATest) {
    const std::string hash = HashPassword("correct horse");
    const double begin = ProcessorSeconds();
    EXPECT_EQ(TestPassword("wrong horse", hash), PasswordTest::kWrong);
    const double tested = ProcessorSeconds();
    PretendToTestPassword("wrong horse");
    const double pretended = ProcessorSeconds();
    EXPECT_GT(pretended - tested, (tested - begin) / 3);
    EXPECT_LT(pretended - tested, (tested - begin) * 3);
}

TEST(PasswordHashTest, ForgottenPasswordIsOverwritten) {
    std::string password = "correct horse battery staple";
    const char* data = password.data();
    ForgetPassword(password);
    EXPECT_EQ(password, "");
    EXPECT_EQ(data[5], '\0');
}

}  // namespace
