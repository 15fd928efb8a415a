#include "kill/support/statement_record.h"

#include <map>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "integration/support/temp_folder.h"

namespace qartest {

StatementRecord StatementRecord::Read(const std::filesystem::path& file) {
    const std::string text = ReadText(file);
    StatementRecord record;
    std::map<int, RecordedStatement> open;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        if (end == std::string::npos) break;  // the kill tore it
        std::istringstream line(text.substr(at, end - at));
        at = end + 1;
        std::string kind;
        RecordedStatement statement;
        line >> kind >> statement.thread;
        const auto begun = open.find(statement.thread);
        if (kind == "begin" && begun == open.end()) {
            std::size_t length = 0;
            line >> statement.plugin >> length;
            if (text.size() < at + length + 1) break;
            statement.sql = text.substr(at, length);
            at += length + 1;
            open.emplace(statement.thread, std::move(statement));
        } else if ((kind == "true" || kind == "false") && begun != open.end()) {
            (kind == "true" ? record.done : record.refused).push_back(std::move(begun->second));
            open.erase(begun);
        } else {
            throw std::runtime_error(file.string() + ": \"" + line.str() + "\" stands where it cannot");
        }
    }
    for (auto& [thread, statement] : open) record.open.push_back(std::move(statement));
    return record;
}

}  // namespace qartest
