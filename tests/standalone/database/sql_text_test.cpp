#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "standalone/database/SqlText.h"

namespace {

using qarplatform::IsPlainName;
using qarplatform::KindOfStatement;
using qarplatform::QualifyingNames;
using qarplatform::SqlValue;
using qarplatform::StatementKind;
using qarplatform::TakeValuesOut;
using qarplatform::UnquotedName;
using qarplatform::WithCollation;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(SqlTextTest, TextsWithoutStatementAreBlanksCommentsAndSemicolons) {
    for (const char* text :
         {"", " \t\r\n", ";", " ; ;; ", "-- all of it", "-- one\n-- two\n", "/* a */ /* b", ";/*;*/"}) {
        EXPECT_EQ(KindOfStatement(text), StatementKind::kNone) << text;
    }
}

TEST(SqlTextTest, KindIsThatOfTheFirstWordWhateverStandsBeforeIt) {
    const std::vector<std::pair<std::string, StatementKind>> cases = {
        {"SELECT 1", StatementKind::kOther},           {"begin", StatementKind::kTransaction},
        {"Commit;", StatementKind::kTransaction},      {"END", StatementKind::kTransaction},
        {"savepoint a", StatementKind::kTransaction},  {"release a", StatementKind::kTransaction},
        {"rollback", StatementKind::kTransaction},     {"\n;CREATE TABLE a(b)", StatementKind::kCreate},
        {"/* x */drop table a", StatementKind::kDrop}, {"-- begin\n;attach 'a' as b", StatementKind::kAttach},
        {"DETACH b", StatementKind::kAttach},          {"'begin'", StatementKind::kOther},
        {"beginning", StatementKind::kOther},          {"(begin)", StatementKind::kOther},
    };
    for (const auto& [text, kind] : cases) {
        EXPECT_EQ(KindOfStatement(text), kind) << text;
    }
}

TEST(SqlTextTest, QualifyingNamesStandBeforeADotOutsideStringsAndComments) {
    EXPECT_THAT(QualifyingNames("SELECT A.x, \"B c\".y FROM s . t AS a JOIN [u].v, `w`.z"),
                ElementsAre("a", "b c", "s", "u", "w"));
    EXPECT_THAT(QualifyingNames("SELECT \"a\"\".b\".c"), ElementsAre("a\".b"));
    EXPECT_THAT(QualifyingNames("SELECT 'a.b' -- c.d\n /* e.f */"), IsEmpty());
    EXPECT_THAT(QualifyingNames("SELECT 1"), IsEmpty());
    EXPECT_THAT(QualifyingNames("."), IsEmpty());
}

TEST(SqlTextTest, CollationGoesToEachTermOfTheLastOuterOrderBy) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        // plain terms, directions, what follows
        {"SELECT a FROM t ORDER BY a", "SELECT a FROM t ORDER BY (a) COLLATE \"c\""},
        {"SELECT a FROM t order  by a , b", "SELECT a FROM t order  by (a) COLLATE \"c\" , (b) COLLATE \"c\""},
        {"SELECT a FROM t ORDER BY a ASC, b DESC",
         "SELECT a FROM t ORDER BY (a) COLLATE \"c\" ASC, (b) COLLATE \"c\" DESC"},
        {"SELECT a FROM t ORDER BY a NULLS LAST", "SELECT a FROM t ORDER BY (a) COLLATE \"c\" NULLS LAST"},
        {"SELECT a FROM t ORDER BY a LIMIT 5 OFFSET 2", "SELECT a FROM t ORDER BY (a) COLLATE \"c\" LIMIT 5 OFFSET 2"},
        {"SELECT a FROM t ORDER BY a desc limit 1, 2;", "SELECT a FROM t ORDER BY (a) COLLATE \"c\" desc limit 1, 2;"},
        {"SELECT a FROM t ORDER BY 1", "SELECT a FROM t ORDER BY (1) COLLATE \"c\""},
        {"SELECT a FROM t ORDER BY offset", "SELECT a FROM t ORDER BY (offset) COLLATE \"c\""},
        {"SELECT a FROM t ORDER BY a;  -- end", "SELECT a FROM t ORDER BY (a) COLLATE \"c\";  -- end"},
        {"SELECT a FROM t ORDER BY a -- why\n, b",
         "SELECT a FROM t ORDER BY (a) COLLATE \"c\" -- why\n, (b) COLLATE \"c\""},
        // terms that are expressions
        {"SELECT a FROM t ORDER BY lower(a, b), a || b",
         "SELECT a FROM t ORDER BY (lower(a, b)) COLLATE \"c\", (a || b) COLLATE \"c\""},
        {"SELECT a FROM t ORDER BY CASE WHEN a THEN 'x, DESC' END DESC",
         "SELECT a FROM t ORDER BY (CASE WHEN a THEN 'x, DESC' END) COLLATE \"c\" DESC"},
        {"SELECT a FROM t ORDER BY (SELECT b FROM u ORDER BY c LIMIT 1)",
         "SELECT a FROM t ORDER BY ((SELECT b FROM u ORDER BY c LIMIT 1)) COLLATE \"c\""},
        {"SELECT a FROM t ORDER BY \"limit\", [a, b]",
         "SELECT a FROM t ORDER BY (\"limit\") COLLATE \"c\", ([a, b]) COLLATE \"c\""},
        // a collation of its own stays
        {"SELECT a FROM t ORDER BY a COLLATE nocase DESC, b",
         "SELECT a FROM t ORDER BY a COLLATE nocase DESC, (b) COLLATE \"c\""},
        // inner ones are left alone
        {"SELECT * FROM (SELECT a FROM t ORDER BY a)", "SELECT * FROM (SELECT a FROM t ORDER BY a)"},
        {"SELECT row_number() OVER (ORDER BY a) FROM t", "SELECT row_number() OVER (ORDER BY a) FROM t"},
        {"SELECT * FROM (SELECT a FROM t ORDER BY a) ORDER BY b",
         "SELECT * FROM (SELECT a FROM t ORDER BY a) ORDER BY (b) COLLATE \"c\""},
        // the words elsewhere
        {"SELECT 'ORDER BY a' FROM t", "SELECT 'ORDER BY a' FROM t"},
        {"SELECT a FROM t -- ORDER BY a", "SELECT a FROM t -- ORDER BY a"},
        {"SELECT a FROM t /* ORDER BY */ ORDER /* x */ BY a",
         "SELECT a FROM t /* ORDER BY */ ORDER /* x */ BY (a) COLLATE \"c\""},
        {"SELECT 'it''s' FROM t ORDER BY a", "SELECT 'it''s' FROM t ORDER BY (a) COLLATE \"c\""},
        // the last statement counts
        {"SELECT a FROM t ORDER BY a; SELECT b FROM u", "SELECT a FROM t ORDER BY a; SELECT b FROM u"},
        {"SELECT a FROM t ORDER BY a; SELECT b FROM u ORDER BY b",
         "SELECT a FROM t ORDER BY a; SELECT b FROM u ORDER BY (b) COLLATE \"c\""},
        // nothing or nonsense
        {"", ""},
        {"SELECT a FROM t ORDER BY", "SELECT a FROM t ORDER BY"},
        {"SELECT a FROM t ORDER BY ,", "SELECT a FROM t ORDER BY ,"},
        {"SELECT a FROM t) ORDER BY a", "SELECT a FROM t) ORDER BY (a) COLLATE \"c\""},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(WithCollation(text, "c"), expected);
    }
}

TEST(SqlTextTest, CollationNameIsQuoted) {
    EXPECT_EQ(WithCollation("SELECT a FROM t ORDER BY a", "x\"y z"),
              "SELECT a FROM t ORDER BY (a) COLLATE \"x\"\"y z\"");
}

TEST(SqlTextTest, PlainNamesAreLettersDigitsAndUnderscores) {
    for (const char* name : {"a", "_", "Abc_9", "backfill"}) {
        EXPECT_TRUE(IsPlainName(name)) << name;
    }
    for (const char* name : {"", "9a", "a-b", "a.b", "../a", "a/b", "a b", "\xC3\xA4", "a\"", "a$"}) {
        EXPECT_FALSE(IsPlainName(name)) << name;
    }
}

TEST(SqlTextTest, QuotesOfNamesAreTakenAway) {
    EXPECT_EQ(UnquotedName("abc"), "abc");
    EXPECT_EQ(UnquotedName("\"a\"\"b\""), "a\"b");
    EXPECT_EQ(UnquotedName("`a`"), "a");
    EXPECT_EQ(UnquotedName("[a]"), "a");
    EXPECT_EQ(UnquotedName("\""), "\"");
    EXPECT_EQ(UnquotedName(""), "");
}

TEST(SqlTextTest, NumbersAndStringsAreTakenOutOfAChangeInTheirOrder) {
    const auto result = TakeValuesOut("UPDATE s.t SET a = 'it''s' WHERE b = -12 AND c=''and d < 7.5 AND e = 007;");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->text, "UPDATE s.t SET a = ? WHERE b = -? AND c=?and d < 7.5 AND e = ?;");
    EXPECT_THAT(result->values,
                ElementsAre(SqlValue("it's"), SqlValue(int64_t{12}), SqlValue(""), SqlValue(int64_t{7})));
}

TEST(SqlTextTest, ValuesThatAreNoShortWholeNumbersStay) {
    const auto result = TakeValuesOut(
        "INSERT INTO \"s\".t VALUES(1.5, .5, 5., 1e2, 0x1F, 1234567890123456789, 123456789012345678, NULL, \"9\", a1)");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->text,
              "INSERT INTO \"s\".t VALUES(1.5, .5, 5., 1e2, 0x1F, 1234567890123456789, ?, NULL, \"9\", a1)");
    EXPECT_THAT(result->values, ElementsAre(SqlValue(int64_t{123456789012345678})));
}

TEST(SqlTextTest, FromOtherTextsNoValuesAreTaken) {
    for (const char* text : {"",
                             "SELECT 1 FROM s.t",
                             "CREATE TABLE s.t(a DEFAULT 1)",
                             "BEGIN",
                             "DELETE FROM t WHERE a = 1",
                             "DELETE FROM t WHERE t.a = 1",
                             "UPDATE t SET a = 1",
                             "INSERT INTO t VALUES(1)",
                             "INSERT INTO s.t SELECT 1",
                             "INSERT INTO s.t VALUES(1) RETURNING 1",
                             "UPDATE s.t SET a = 1 FROM u",
                             "DELETE FROM s.t WHERE a = 1 ORDER BY 1 LIMIT 1",
                             "DELETE FROM s.t WHERE a = 1; DELETE FROM s.t",
                             "DELETE FROM s.t WHERE a = 1;;",
                             "UPDATE s.t SET a = ?",
                             "UPDATE s.t SET a = ?1",
                             "UPDATE s.t SET a = :a",
                             "UPDATE s.t SET a = @a",
                             "UPDATE s.t SET a = $a",
                             "UPDATE s.t SET a = 'open",
                             "UPDATE s.t SET a = 'open''"}) {
        EXPECT_FALSE(TakeValuesOut(text)) << text;
    }
    EXPECT_FALSE(TakeValuesOut("UPDATE s.t SET a = '" + std::string(1000, 'x') + "'"));
}

}  // namespace
