#include "standalone/device/ReplyHead.h"

#include <algorithm>

namespace qarplatform {

namespace {

constexpr std::string_view kDateName = "date";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// @return where the digits end that begin at `position`
std::size_t SkipDigits(const std::string& text, std::size_t position) {
    while (position < text.size() && IsDigit(text[position])) {
        ++position;
    }
    return position;
}

}  // namespace

ReplyHead::ReplyHead(std::string_view protocol) : prefix_(std::string(protocol) + "/") {}

ReplyHead::State ReplyHead::Add(std::string_view bytes) {
    for (const char c : bytes) {
        if (state_ != State::kNeedMore) {
            break;
        }
        if (++size_ > kLongest) {
            state_ = State::kTooLong;
        } else if (c == '\n') {
            state_ = EndLine();
        } else {
            line_ += c;
            if (!has_status_ && !MayBeStatusLine()) {
                state_ = State::kRubbish;
            }
        }
    }
    return state_;
}

ReplyHead::State ReplyHead::EndLine() {
    if (!line_.empty() && line_.back() == '\r') {
        line_.pop_back();
    }
    State state = State::kNeedMore;
    if (!has_status_) {
        has_status_ = IsStatusLine();
        state = has_status_ ? State::kNeedMore : State::kRubbish;
    } else if (line_.empty()) {
        state = State::kWhole;
    } else if (!date_) {
        ReadHeader();
    }
    line_.clear();
    return state;
}

bool ReplyHead::MayBeStatusLine() const {
    const std::size_t compared = std::min(line_.size(), prefix_.size());
    return line_.compare(0, compared, prefix_, 0, compared) == 0;
}

// "RTSP/1.0 200 OK"; the words behind the code may be missing.
bool ReplyHead::IsStatusLine() const {
    if (!line_.starts_with(prefix_)) {
        return false;
    }
    const std::size_t point = SkipDigits(line_, prefix_.size());
    if (point == prefix_.size() || point == line_.size() || line_[point] != '.') {
        return false;
    }
    const std::size_t blank = SkipDigits(line_, point + 1);
    if (blank == point + 1 || blank == line_.size() || line_[blank] != ' ') {
        return false;
    }
    const std::size_t end = SkipDigits(line_, blank + 1);
    return end == blank + 4 && (end == line_.size() || line_[end] == ' ');
}

void ReplyHead::ReadHeader() {
    const std::size_t colon = line_.find(':');
    if (colon != kDateName.size() || !std::equal(kDateName.begin(), kDateName.end(), line_.begin(),
                                                 [](char name, char c) { return name == Lower(c); })) {
        return;
    }
    const std::size_t first = line_.find_first_not_of(" \t", colon + 1);
    if (first == std::string::npos) {
        date_ = "";
        return;
    }
    date_ = line_.substr(first, line_.find_last_not_of(" \t") - first + 1);
}

}  // namespace qarplatform
