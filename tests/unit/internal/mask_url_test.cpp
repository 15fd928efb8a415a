#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "internal/MaskUrl.h"

// std::regex takes ten times as long there.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QAR_REGEX_IS_SLOW
#endif
#endif

namespace qar::internal {
namespace {

const std::string kSession = "0123456789abcdefghijklmnopqrstuv";
const std::string kSessionMasked = "012345**********qrstuv";

std::string Url(const std::string& text) { return MaskUrlForLog(text, true); }
std::string Whole(const std::string& text) { return MaskUrlForLog(text, false); }

// --- the rule --------------------------------------------------------------------------------------------------------

TEST(MaskUrlTest, EmptyTextStaysEmpty) {
    EXPECT_EQ(Url(""), "");
    EXPECT_EQ(Whole(""), "");
}

TEST(MaskUrlTest, TextOf32CharactersKeepsSixAtEitherEndAroundTenStars) {
    ASSERT_EQ(kSession.size(), 32u);
    EXPECT_EQ(Whole(kSession), kSessionMasked);
    EXPECT_EQ(Whole(std::string(32, '*')), std::string(22, '*'));
}

TEST(MaskUrlTest, OtherTextsKeepTheirLengthAndLoseThreeTenthsInTheMiddle) {
    const std::string text = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    const std::vector<std::string> masked = {
        "",           "*",           "*b",           "a*c",           "a*cd",
        "ab*de",      "ab*def",      "ab**efg",      "abc**fgh",      "abc**fghi",
        "abc***ghij", "abcd***hijk", "abcd***hijkl", "abcde***ijklm", "abcde****jklmn",
    };
    for (std::size_t n = 0; n < masked.size(); ++n) EXPECT_EQ(Whole(text.substr(0, n)), masked[n]);
    EXPECT_EQ(Whole(text.substr(0, 20)), "abcdefg******nopqrst");
    EXPECT_EQ(Whole(text.substr(0, 31)), "abcdefghijk*********uvwxyz01234");
    EXPECT_EQ(Whole(text.substr(0, 33)), "abcdefghijkl*********vwxyz0123456");
    EXPECT_EQ(Whole(text), "abcdefghijklmn************0123456789ABCD");
}

TEST(MaskUrlTest, BytesCountNotCharacters) {
    EXPECT_EQ(Whole("\xC3\xA4\xC3\xB6"), "\xC3*\xC3\xB6");
    EXPECT_EQ(Whole(std::string("a\0c", 3)), "a*c");
}

TEST(MaskUrlTest, WithoutMatchingTheWholeTextIsMaskedWhateverItHolds) {
    EXPECT_EQ(Whole("SID=abc"), "SI**abc");
    EXPECT_EQ(Whole("SID="), "S*D=");
    EXPECT_EQ(Whole("/a?SID=&x=1"), "/a?S***&x=1");
}

// --- URLs ------------------------------------------------------------------------------------------------------------

TEST(MaskUrlTest, UrlWithoutASessionStaysAsItIs) {
    for (const char* url : {"/", "/doors/7?door=3&x=y", "SID", "/a?SI=D=abc", "/a?sid=abc", "/a?Sid=abc", "/a?SID =abc",
                            "/a?SID%3Dabc", "/a?S ID=abc", "SSISID"}) {
        EXPECT_EQ(Url(url), url);
    }
    EXPECT_EQ(Url(kSession), kSession);
}

TEST(MaskUrlTest, SessionOf32CharactersIsMaskedInItsPlace) {
    EXPECT_EQ(Url("/doors?SID=" + kSession), "/doors?SID=" + kSessionMasked);
    EXPECT_EQ(Url("/doors?SID=" + kSession + "&x=1"), "/doors?SID=" + kSessionMasked + "&x=1");
    EXPECT_EQ(Url("SID=" + kSession), "SID=" + kSessionMasked);
}

TEST(MaskUrlTest, ShortValuesAreMaskedInTheirPlace) {
    EXPECT_EQ(Url("/a?SID=x"), "/a?SID=*");
    EXPECT_EQ(Url("/a?SID=xy&b=c"), "/a?SID=*y&b=c");
    EXPECT_EQ(Url("/a?SID=abc"), "/a?SID=a*c");
    EXPECT_EQ(Url("/a?SID=abcdefghij&b=c"), "/a?SID=abc***ghij&b=c");
}

TEST(MaskUrlTest, EmptyFirstValueLeavesTheTextAsItIsAlsoBeforeAFullOne) {
    EXPECT_EQ(Url("SID="), "SID=");
    EXPECT_EQ(Url("/a?SID=&x=1"), "/a?SID=&x=1");
    EXPECT_EQ(Url("/a?SID=&SID=abc"), "/a?SID=&SID=abc");
}

TEST(MaskUrlTest, KeyIsFoundAlsoAtTheEndOfALongerOne) {
    EXPECT_EQ(Url("/a?PSID=abc"), "/a?PSID=a*c");
    EXPECT_EQ(Url("SSID=abc"), "SSID=a*c");
    EXPECT_EQ(Url("SISID=abc"), "SISID=a*c");
    EXPECT_EQ(Url("SIDSID=abc"), "SIDSID=a*c");
}

TEST(MaskUrlTest, ValueEndsAtAnAmpersandAndNothingElse) {
    EXPECT_EQ(Url("SID=ab?de;fg#hi"), "SID=ab?d***g#hi");
    EXPECT_EQ(Url("SID=a\nb\r\n"), "SID=a\n*\r\n");
    EXPECT_EQ(Url("SID=a\xE2\x80\xA8"
                  "b&c"),
              "SID=a\xE2*\xA8"
              "b&c");
    EXPECT_EQ(Url(std::string("SID=a\0c&x\0y", 11)), std::string("SID=a*c&x\0y", 11));
    EXPECT_EQ(Url(std::string("x\0SID=abc", 9)), std::string("x\0SID=a*c", 9));
}

TEST(MaskUrlTest, KeyInsideAValueBelongsToTheValue) {
    EXPECT_EQ(Url("SID=SID=abc"), "SID=SI**abc");
    EXPECT_EQ(Url("SID=SID=&x"), "SID=S*D=&x");
}

TEST(MaskUrlTest, EveryMatchGetsTheMaskOfTheFirst) {
    EXPECT_EQ(Url("SID=abc&x=1&SID=" + kSession + "&SID=&SID=z"), "SID=a*c&x=1&SID=a*c&SID=a*c&SID=a*c");
    EXPECT_EQ(Url("SID=" + kSession + "&SID=abc"), "SID=" + kSessionMasked + "&SID=" + kSessionMasked);
}

TEST(MaskUrlTest, DollarSignsAreNoReferences) {
    EXPECT_EQ(Url("SID=$1"), "SID=*1");
    EXPECT_EQ(Url("SID=$&b"), "SID=*&b");
    EXPECT_EQ(Url("SID=$1$2$3&SID=x"), "SID=$1*2$3&SID=$1*2$3");
    EXPECT_EQ(Url("SID=$0$1$$fghijklmnopqrstuvwxyz$0$1$`"), "SID=$0$1$$fghijk*********uvwxyz$0$1$`");
    EXPECT_EQ(Url("SID=$0$1$$ghijklmnopqrstuvwxyz$0$1$`"), "SID=$0$1$$**********$0$1$`");
}

// --- beside the regular expression -----------------------------------------------------------------------------------

#ifdef QAR_REGEX_IS_SLOW
constexpr std::size_t kTexts = 100'000;
#else
constexpr std::size_t kTexts = 1'000'000;
#endif

std::string MaskedByRule(const std::string& text) {
    const auto n = static_cast<std::ptrdiff_t>(text.size());
    if (n == 32) return text.substr(0, 6) + "**********" + text.substr(26, 6);
    auto k = static_cast<std::ptrdiff_t>(static_cast<double>(n) * 0.3);
    if (k < 1 && n >= 1) k = 1;
    std::ptrdiff_t s = (n - k) / 2;
    if (s < 0) s = 0;
    if (s + k > n) k = n - s;
    std::string masked = text;
    for (std::ptrdiff_t i = s; i < s + k; ++i) masked[static_cast<std::size_t>(i)] = '*';
    return masked;
}

/// What a text says to the regular expression.
struct Matched {
    std::string result;
    std::size_t matches = 0;
    std::size_t first_value = 0;
};

Matched MaskedByRegex(const std::string& text) {
    static const std::regex expression("SID=([^&]*)", std::regex::ECMAScript);
    Matched matched{text};
    std::string replacement;
    std::string replaced;
    auto behind = text.cbegin();
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match) {
        if (++matched.matches == 1) {
            const std::string value = (*match)[1].str();
            matched.first_value = value.size();
            if (value.empty()) return matched;
            replacement = "SID=" + MaskedByRule(value);
        }
        replaced.append(behind, (*match)[0].first);
        replaced.append(replacement);
        behind = (*match)[0].second;
    }
    if (matched.matches == 0) return matched;
    replaced.append(behind, text.cend());
    matched.result = replaced;
    return matched;
}

/// Texts of at most 60 bytes that are rich in what the expression and its replacement could take for their own.
class RandomTexts {
public:
    explicit RandomTexts(uint64_t seed) : random_(seed) {}

    std::string Next() {
        static const std::vector<std::string> pieces = {
            "SID=", "SID=", "SID",  "ID=",          "S", "I", "D", "=", "&",  "&",  "a", std::string(1, '\0'),
            "\n",   "\r",   "\r\n", "\xE2\x80\xA8", "7", "0", "z", "?", "$1", "$&", "$", "*",
        };
        const std::size_t size = Below(61);
        std::string text;
        while (text.size() < size) {
            if (Below(40) == 0) {
                text += "SID=" + ValueOf32() + "&";
            } else {
                text += pieces[Below(pieces.size())];
            }
        }
        text.resize(size);
        return text;
    }

private:
    std::size_t Below(std::size_t count) { return static_cast<std::size_t>(random_() % count); }

    std::string ValueOf32() {
        static const std::string characters("SID=a7$1\n\r?", 11);
        std::string value;
        while (value.size() < 32) value += characters[Below(characters.size())];
        return value;
    }

    std::mt19937_64 random_;
};

TEST(MaskUrlTest, RandomTextsComeOutAsTheRegularExpressionHasThem) {
    const char* const given = std::getenv("QAR_SEED");
    const uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 10) : 20240301;
    std::cout << "QAR_SEED=" << seed << "\n";
    RandomTexts texts(seed);
    std::size_t without = 0;
    std::size_t empty = 0;
    std::size_t several = 0;
    std::size_t of_32 = 0;
    for (std::size_t number = 0; number < kTexts; ++number) {
        const std::string text = texts.Next();
        const Matched expected = MaskedByRegex(text);
        if (expected.matches == 0) ++without;
        if (expected.matches != 0 && expected.first_value == 0) ++empty;
        if (expected.matches > 1) ++several;
        if (expected.first_value == 32) ++of_32;
        ASSERT_EQ(Url(text), expected.result)
            << "text " << number << " of seed " << seed << ": " << ::testing::PrintToString(text);
        ASSERT_EQ(Whole(text), MaskedByRule(text))
            << "text " << number << " of seed " << seed << ": " << ::testing::PrintToString(text);
    }
    EXPECT_GT(without, kTexts / 10);
    EXPECT_GT(empty, kTexts / 100);
    EXPECT_GT(several, kTexts / 10);
    EXPECT_GT(of_32, kTexts / 200);
}

// --- size ------------------------------------------------------------------------------------------------------------

constexpr std::size_t kLarge = std::size_t{64} * 1024 * 1024;

// 64 MiB in a failure's text help nobody, so these compare by EXPECT_TRUE.

std::string Repeated(const std::string& piece) {
    std::string text;
    text.reserve(kLarge);
    while (text.size() + piece.size() <= kLarge) text += piece;
    return text;
}

std::string LargeMasked(std::string text) {
    const std::size_t masked = text.size() * 3 / 10;
    text.replace((text.size() - masked) / 2, masked, masked, '*');
    return text;
}

TEST(MaskUrlTest, ValueOf64MebibytesIsMasked) {
    const std::string value(kLarge, 'a');
    EXPECT_TRUE(Url("/a?SID=" + value + "&x=1") == "/a?SID=" + LargeMasked(value) + "&x=1");
    EXPECT_TRUE(Whole(value) == LargeMasked(value));
}

TEST(MaskUrlTest, TextOf64MebibytesWithoutASessionStaysAsItIs) {
    for (const char* piece : {"SSSSSSSS", "SISISID", "SID%3D&"}) {
        const std::string text = Repeated(piece);
        EXPECT_TRUE(Url(text) == text) << piece;
    }
}

TEST(MaskUrlTest, KeyRepeatedOver64MebibytesIsOneValue) {
    const std::string text = Repeated("SID=");
    EXPECT_TRUE(Url(text) == "SID=" + LargeMasked(text.substr(4)));
}

TEST(MaskUrlTest, ValuesRepeatedOver64MebibytesAreAllMasked) {
    EXPECT_TRUE(Url(Repeated("SID=abc&")) == Repeated("SID=a*c&"));
    const std::string empty = Repeated("SID=&");
    EXPECT_TRUE(Url(empty) == empty);
}

}  // namespace
}  // namespace qar::internal
