#include "standalone/database/StatementCache.h"

#include <algorithm>
#include <utility>

namespace qarplatform {

namespace {

constexpr std::size_t kMostStatements = 16;

}  // namespace

sqlite::Statement* StatementCache::Find(const std::string& text) {
    auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.text == text; });
    if (found == entries_.end()) {
        sqlite::Statement statement = database_.Prepare(text);
        if (!statement) {
            return nullptr;
        }
        if (entries_.size() == kMostStatements) {
            entries_.pop_back();
        }
        found = entries_.insert(entries_.end(), Entry{text, std::move(statement)});
    }
    std::rotate(entries_.begin(), found, found + 1);
    return &entries_.front().statement;
}

}  // namespace qarplatform
