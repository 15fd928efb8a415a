#include "standalone/database/SqlText.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include "standalone/base/LowerCase.h"
#include "standalone/database/sqlite/Database.h"

namespace qarplatform {

namespace {

struct Token {
    enum class Kind { kEnd, kWord, kQuotedName, kString, kSign };

    Kind kind = Kind::kEnd;
    std::string_view text;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsWordPart(char c) { return IsLetter(c) || IsDigit(c) || c == '$' || static_cast<unsigned char>(c) >= 0x80; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Cuts a text into tokens and passes over blanks and comments. What is left open at the end reaches to the end.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    Token Next() {
        SkipBlanksAndComments();
        if (at_ >= text_.size()) {
            return Token();
        }
        const std::size_t begin = at_;
        const char c = text_[at_];
        Token::Kind kind = Token::Kind::kSign;
        if (IsWordPart(c)) {
            kind = Token::Kind::kWord;
            at_ = static_cast<std::size_t>(
                std::find_if_not(text_.begin() + static_cast<std::ptrdiff_t>(at_), text_.end(), IsWordPart) -
                text_.begin());
        } else if (c == '\'') {
            kind = Token::Kind::kString;
            SkipQuoted(c);
        } else if (c == '"' || c == '`') {
            kind = Token::Kind::kQuotedName;
            SkipQuoted(c);
        } else if (c == '[') {
            kind = Token::Kind::kQuotedName;
            SkipPast("]");
        } else {
            ++at_;
        }
        return Token{kind, text_.substr(begin, at_ - begin)};
    }

private:
    void SkipBlanksAndComments() {
        while (at_ < text_.size()) {
            if (IsBlank(text_[at_])) {
                ++at_;
            } else if (text_.compare(at_, 2, "--") == 0) {
                SkipPast("\n");
            } else if (text_.compare(at_, 2, "/*") == 0) {
                at_ += 2;
                SkipPast("*/");
            } else {
                return;
            }
        }
    }

    void SkipPast(std::string_view end) {
        const std::size_t found = text_.find(end, at_);
        at_ = found == std::string_view::npos ? text_.size() : found + end.size();
    }

    // A doubled quote inside stands for itself.
    void SkipQuoted(char quote) {
        ++at_;
        while (at_ < text_.size()) {
            if (text_[at_++] == quote) {
                if (at_ >= text_.size() || text_[at_] != quote) {
                    return;
                }
                ++at_;
            }
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

bool IsWord(const Token& token, std::string_view word) {
    return token.kind == Token::Kind::kWord && SameName(token.text, word);
}

bool IsSign(const Token& token, char sign) { return token.kind == Token::Kind::kSign && token.text[0] == sign; }

template <std::size_t N>
bool IsAnyWord(const Token& token, const std::string_view (&words)[N]) {
    return std::any_of(std::begin(words), std::end(words), [&](std::string_view word) { return IsWord(token, word); });
}

// The tokens that stand in no parentheses; a group in parentheses is its two signs.
std::vector<Token> OuterTokens(std::string_view sql) {
    std::vector<Token> outer;
    Scanner scanner(sql);
    int depth = 0;
    for (Token token = scanner.Next(); token.kind != Token::Kind::kEnd; token = scanner.Next()) {
        if (IsSign(token, ')') && depth > 0) {
            --depth;
        }
        if (depth == 0) {
            outer.push_back(token);
        }
        if (IsSign(token, '(')) {
            ++depth;
        }
    }
    return outer;
}

using TokenIterator = std::vector<Token>::const_iterator;

// The sort terms of the last ORDER BY: what follows it up to a LIMIT or the end of the statement.
void FindSortTerms(const std::vector<Token>& tokens, TokenIterator& begin, TokenIterator& end) {
    begin = end = tokens.end();
    for (auto token = tokens.begin(); token != tokens.end(); ++token) {
        if (IsSign(*token, ';') && token + 1 != tokens.end()) {
            begin = tokens.end();
        } else if (IsWord(*token, "order") && token + 1 != tokens.end() && IsWord(*(token + 1), "by")) {
            begin = token + 2;
        }
    }
    end = std::find_if(begin, tokens.end(), [](const Token& t) { return IsSign(t, ';') || IsWord(t, "limit"); });
}

// At most eighteen digits, which fit, and no part of "1.5".
bool IsWholeNumber(std::string_view sql, const Token& token) {
    constexpr std::size_t kMostDigits = 18;
    const auto begin = static_cast<std::size_t>(token.text.data() - sql.data());
    const std::size_t end = begin + token.text.size();
    return token.kind == Token::Kind::kWord && token.text.size() <= kMostDigits &&
           std::all_of(token.text.begin(), token.text.end(), IsDigit) && (begin == 0 || sql[begin - 1] != '.') &&
           (end == sql.size() || sql[end] != '.');
}

SqlValue ValueOf(const Token& token) {
    if (token.kind == Token::Kind::kString) {
        return UnquotedName(token.text);
    }
    int64_t number = 0;
    std::from_chars(token.text.data(), token.text.data() + token.text.size(), number);
    return number;
}

// Whether a text with this token must run as it is: a value may count for more than itself (the number of a sort term,
// the name of a column), further tables come in, it has parameters of its own, or it goes on behind its first
// statement.
bool KeepsValuesIn(const Token& before, const Token& token) {
    static constexpr std::string_view kWords[] = {"select", "with", "returning", "order", "group", "limit"};
    static constexpr std::string_view kParameters = "?:@";
    if (token.kind == Token::Kind::kString) {  // an odd number of quotes: it is not closed
        return std::count(token.text.begin(), token.text.end(), '\'') % 2 != 0;
    }
    return IsAnyWord(token, kWords) || (IsWord(token, "from") && !IsWord(before, "delete")) || token.text[0] == '$' ||
           (token.kind == Token::Kind::kSign && kParameters.find(token.text[0]) != std::string_view::npos) ||
           IsSign(before, ';');
}

}  // namespace

StatementKind KindOfStatement(std::string_view sql) {
    static constexpr std::string_view kTransactionWords[] = {"begin", "savepoint", "commit",
                                                             "end",   "rollback",  "release"};
    static constexpr std::string_view kAttachWords[] = {"attach", "detach"};
    Scanner scanner(sql);
    Token token = scanner.Next();
    while (IsSign(token, ';')) {
        token = scanner.Next();
    }
    if (token.kind == Token::Kind::kEnd) {
        return StatementKind::kNone;
    }
    if (IsAnyWord(token, kTransactionWords)) {
        return StatementKind::kTransaction;
    }
    if (IsAnyWord(token, kAttachWords)) {
        return StatementKind::kAttach;
    }
    if (IsWord(token, "create")) {
        return StatementKind::kCreate;
    }
    return IsWord(token, "drop") ? StatementKind::kDrop : StatementKind::kOther;
}

std::set<std::string> QualifyingNames(std::string_view sql) {
    std::set<std::string> names;
    Scanner scanner(sql);
    Token before;
    for (Token token = scanner.Next(); token.kind != Token::Kind::kEnd; token = scanner.Next()) {
        if (IsSign(token, '.') && before.kind != Token::Kind::kEnd && before.kind != Token::Kind::kSign) {
            names.insert(LowerCase(UnquotedName(before.text)));
        }
        before = token;
    }
    return names;
}

std::string WithCollation(const std::string& sql, const std::string& collation) {
    static constexpr std::string_view kDirectionWords[] = {"asc", "desc", "nulls"};
    const std::vector<Token> tokens = OuterTokens(sql);
    TokenIterator term;
    TokenIterator end;
    FindSortTerms(tokens, term, end);

    std::string result;
    const char* copied = sql.data();
    const auto copy_to = [&](const char* to) {
        result.append(copied, to);
        copied = to;
    };
    while (term != end) {
        const auto term_end = std::find_if(term, end, [](const Token& t) { return IsSign(t, ','); });
        if (term != term_end) {
            const auto body_end =
                std::find_if(term + 1, term_end, [](const Token& t) { return IsAnyWord(t, kDirectionWords); });
            if (std::none_of(term, body_end, [](const Token& t) { return IsWord(t, "collate"); })) {
                const std::string_view last = (body_end - 1)->text;
                copy_to(term->text.data());
                result += '(';
                copy_to(last.data() + last.size());
                result += ") COLLATE " + sqlite::QuotedName(collation);
            }
        }
        term = term_end == end ? end : term_end + 1;
    }
    copy_to(sql.data() + sql.size());
    return result;
}

std::optional<StatementTemplate> TakeValuesOut(std::string_view sql) {
    static constexpr std::string_view kFirstWords[] = {"insert", "update", "delete"};
    static constexpr std::string_view kHeadWords[] = {"insert", "update",  "delete", "into", "from",    "or",
                                                      "ignore", "replace", "abort",  "fail", "rollback"};
    constexpr std::size_t kMostCharacters = 1000;
    constexpr std::size_t kMostValues = 32;
    if (sql.size() > kMostCharacters) {
        return std::nullopt;
    }
    StatementTemplate result;
    const char* copied = sql.data();
    bool in_head = true;
    bool is_schema = false;
    Token before;
    Scanner scanner(sql);
    for (Token token = scanner.Next(); token.kind != Token::Kind::kEnd; token = scanner.Next()) {
        if (before.kind == Token::Kind::kEnd && !IsAnyWord(token, kFirstWords)) {
            return std::nullopt;
        }
        const bool is_behind_schema = is_schema;
        is_schema = in_head && !IsAnyWord(token, kHeadWords);
        in_head = in_head && !is_schema;
        if ((is_behind_schema && !IsSign(token, '.')) || KeepsValuesIn(before, token) ||
            result.values.size() == kMostValues) {
            return std::nullopt;
        }
        if (token.kind == Token::Kind::kString || IsWholeNumber(sql, token)) {
            result.text.append(copied, token.text.data());
            result.text += '?';
            copied = token.text.data() + token.text.size();
            result.values.push_back(ValueOf(token));
        }
        before = token;
    }
    if (in_head) {
        return std::nullopt;
    }
    result.text.append(copied, sql.data() + sql.size());
    return result;
}

bool IsPlainName(std::string_view name) {
    return !name.empty() && IsLetter(name[0]) &&
           std::all_of(name.begin(), name.end(), [](char c) { return IsLetter(c) || IsDigit(c); });
}

bool SameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string UnquotedName(std::string_view name) {
    if (name.size() < 2 || (name[0] != '"' && name[0] != '`' && name[0] != '[' && name[0] != '\'')) {
        return std::string(name);
    }
    const char quote = name[0] == '[' ? ']' : name[0];
    std::string bare;
    for (std::size_t i = 1; i + 1 < name.size(); ++i) {
        bare += name[i];
        if (name[i] == quote) {
            ++i;
        }
    }
    return bare;
}

}  // namespace qarplatform
