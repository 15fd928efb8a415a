#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace qarplatform {

/// What kind of statement a text begins with, as far as the database treats it apart.
enum class StatementKind {
    kNone,         ///< blanks, comments and semicolons only
    kTransaction,  ///< BEGIN, SAVEPOINT, COMMIT, END, ROLLBACK, RELEASE
    kAttach,       ///< ATTACH, DETACH
    kCreate,
    kDrop,
    kOther,
};

StatementKind KindOfStatement(std::string_view sql);

/// @return the names that stand before a "." anywhere in a text (schemas, tables, aliases), in lower case, unquoted
std::set<std::string> QualifyingNames(std::string_view sql);

/// Gives each sort term of a text's last ORDER BY a collation. Terms that name one of their own stay, as do the
/// ORDER BYs inside parentheses (sub-selects, windows). A text without such an ORDER BY comes back unchanged.
/// @param collation  name of the collation, quoted here
std::string WithCollation(const std::string& sql, const std::string& collation);

using SqlValue = std::variant<int64_t, std::string>;

/// A statement with "?" in the place of its numbers and strings: many texts differ in these only.
struct StatementTemplate {
    std::string text;
    std::vector<SqlValue> values;  ///< one for each "?"
};

/// Takes the values out of a single INSERT, UPDATE or DELETE on a table that is named with its schema. If what is left
/// can be prepared, it does with the values bound what the text does.
/// @return nullopt for any other text, and for a long one
std::optional<StatementTemplate> TakeValuesOut(std::string_view sql);

/// @return whether a name is made of ASCII letters, digits and underscores and begins with no digit
bool IsPlainName(std::string_view name);

/// @return whether two names are equal but for the case of ASCII letters
bool SameName(std::string_view a, std::string_view b);

/// Takes the quotes of a name away: "a", `a` or [a]. A bare name comes back as it is.
std::string UnquotedName(std::string_view name);

}  // namespace qarplatform
