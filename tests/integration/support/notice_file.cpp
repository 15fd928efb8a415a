#include "integration/support/notice_file.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <sstream>

#include "demo_cameras/time_text.h"
#include "integration/support/eventually.h"
#include "integration/support/temp_folder.h"

namespace qartest {

namespace {

// Takes "key=value" off the stream.
std::optional<std::string> Field(std::istream& line, const std::string& key) {
    std::string word;
    if (!(line >> word) || word.rfind(key + "=", 0) != 0) return std::nullopt;
    return word.substr(key.size() + 1);
}

std::optional<Notice> Parse(const std::string& text) {
    std::istringstream line(text);
    Notice notice;
    line >> notice.kind;
    const auto camera = Field(line, "camera");
    const auto busi = Field(line, "busi");
    const auto begin = Field(line, "begin");
    const auto end = Field(line, "end");
    if (!camera || !busi || !begin || !end) return std::nullopt;
    const auto begin_time = demo::ParseIso(*begin);
    const auto end_time = demo::ParseIso(*end);
    if (!begin_time || !end_time) return std::nullopt;
    notice.camera = std::stoi(*camera);
    notice.busi = std::stoi(*busi);
    notice.begin = *begin;
    notice.end = *end;
    notice.begin_utc_s = begin_time->utc_s;
    notice.end_utc_s = end_time->utc_s;
    notice.end_offset_s = end_time->offset_s;
    std::getline(line >> std::ws, notice.rest);
    return notice;
}

}  // namespace

std::vector<Notice> NoticeFile::All() const {
    std::vector<Notice> all;
    std::istringstream lines(ReadText(path_));
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        if (auto notice = Parse(line)) all.push_back(std::move(*notice));
    }
    return all;
}

bool NoticeFile::WaitFor(const std::function<bool(const Notice&)>& wanted, Notice* out) const {
    return Eventually([&] {
        const auto found = Find(wanted);
        if (!found.empty() && out != nullptr) *out = found.front();
        return !found.empty();
    });
}

std::vector<Notice> NoticeFile::Find(const std::function<bool(const Notice&)>& wanted) const {
    std::vector<Notice> found;
    const auto all = All();
    std::copy_if(all.begin(), all.end(), std::back_inserter(found), wanted);
    return found;
}

}  // namespace qartest
