#include "soak/journal_tail.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "demo_cameras/time_text.h"

namespace soak {

namespace {

// Takes "key=value" off the stream.
std::string Field(std::istream& line, const std::string& key) {
    std::string word;
    line >> word;
    return word.rfind(key + "=", 0) == 0 ? word.substr(key.size() + 1) : "";
}

JournalEntry Parse(const std::string& text) {
    std::istringstream line(text);
    JournalEntry entry;
    line >> entry.kind;
    const std::string camera = Field(line, "camera");
    const std::string busi = Field(line, "busi");
    const auto begin = demo::ParseIso(Field(line, "begin"));
    const auto end = demo::ParseIso(Field(line, "end"));
    if (camera.empty() || busi.empty() || !begin || !end) throw std::runtime_error("no line of a journal: " + text);
    entry.camera = std::stoi(camera);
    entry.busi = std::stoi(busi);
    entry.begin_s = begin->utc_s;
    entry.end_s = end->utc_s;
    return entry;
}

}  // namespace

std::vector<JournalEntry> JournalTail::Read() {
    std::vector<JournalEntry> entries;
    std::ifstream file(file_, std::ios::binary);
    if (!file || !file.seekg(read_)) return entries;
    const std::string added((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    read_ += static_cast<std::streamoff>(added.size());
    rest_ += added;
    std::size_t begin = 0;
    for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', begin)) {
        entries.push_back(Parse(rest_.substr(begin, end - begin)));
        begin = end + 1;
    }
    rest_.erase(0, begin);
    return entries;
}

}  // namespace soak
