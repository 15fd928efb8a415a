#include "demo_run/journal.h"

#include <charconv>
#include <fstream>
#include <iterator>
#include <map>

namespace demo {

namespace {

const std::map<std::string, JournalEvent> kEvents{{"told", JournalEvent::kTold},
                                                  {"fetching", JournalEvent::kFetching},
                                                  {"failed", JournalEvent::kFailed},
                                                  {"done", JournalEvent::kDone}};

/// The keys of "word key=value key=value"; "file" and "error" stand last and take the rest of the line.
std::map<std::string, std::string> KeysOf(const std::string& line, std::size_t at) {
    std::map<std::string, std::string> keys;
    while (at < line.size()) {
        const std::size_t equals = line.find('=', at + 1);
        if (equals == std::string::npos) {
            break;
        }
        const std::string key = line.substr(at + 1, equals - at - 1);
        const bool takes_rest = key == "file" || key == "error";
        const std::size_t end = takes_rest ? line.size() : std::min(line.find(' ', equals), line.size());
        keys[key] = line.substr(equals + 1, end - equals - 1);
        at = end;
    }
    return keys;
}

bool ReadNumber(const std::string& text, int& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::optional<JournalLine> ParseJournalLine(const std::string& line) {
    const std::size_t word_end = std::min(line.find(' '), line.size());
    const auto event = kEvents.find(line.substr(0, word_end));
    if (event == kEvents.end()) {
        return std::nullopt;
    }
    auto keys = KeysOf(line, word_end);
    const std::optional<OffsetTime> begin = ParseIso(keys["begin"]);
    const std::optional<OffsetTime> end = ParseIso(keys["end"]);
    JournalLine parsed;
    if (!begin || !end || !ReadNumber(keys["camera"], parsed.camera) || !ReadNumber(keys["busi"], parsed.busi)) {
        return std::nullopt;
    }
    parsed.event = event->second;
    parsed.begin = *begin;
    parsed.end = *end;
    parsed.error = keys["error"];
    parsed.text = line;
    return parsed;
}

std::vector<JournalLine> JournalTail::Read() {
    std::vector<JournalLine> lines;
    std::ifstream file(file_, std::ios::binary);
    if (!file || !file.seekg(read_)) {
        return lines;
    }
    const std::string added((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    read_ += static_cast<std::streamoff>(added.size());
    rest_ += added;
    std::size_t begin = 0;
    for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', begin)) {
        if (auto line = ParseJournalLine(rest_.substr(begin, end - begin))) {
            lines.push_back(std::move(*line));
        } else {
            ++unreadable_;
        }
        begin = end + 1;
    }
    rest_.erase(0, begin);
    return lines;
}

}  // namespace demo
