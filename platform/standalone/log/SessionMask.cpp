#include "standalone/log/SessionMask.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <string_view>

namespace qarplatform {

namespace {

constexpr std::size_t kIdLength = 32;
constexpr std::size_t kShown = 6;
constexpr std::size_t kStars = 10;
constexpr std::string_view kKey = "SID";
constexpr std::string_view kAssignments[] = {"=", "%3D", "%3d"};

using Characters = std::array<bool, 256>;

constexpr Characters Listed(std::string_view further) {
    Characters listed{};
    for (std::size_t c = 0; c < listed.size(); ++c) {
        listed[c] = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    }
    for (const char c : further) {
        listed[static_cast<unsigned char>(c)] = true;
    }
    return listed;
}

constexpr Characters kOfAnId = Listed("");
constexpr Characters kOfAValue = Listed("-._~%*");

bool IsOf(const Characters& characters, char c) { return characters[static_cast<unsigned char>(c)]; }

std::string Masked(std::string_view text) {
    std::string masked(text);
    if (text.size() == kIdLength) {
        masked.replace(kShown, kIdLength - 2 * kShown, kStars, '*');
    } else {
        const std::size_t stars = std::max<std::size_t>(1, text.size() * 3 / 10);
        masked.replace((text.size() - stars) / 2, stars, stars, '*');
    }
    return masked;
}

void MaskValues(std::string& text) {
    for (std::size_t at = text.find(kKey); at != std::string::npos; at = text.find(kKey, at)) {
        at += kKey.size();
        for (const std::string_view assignment : kAssignments) {
            if (text.compare(at, assignment.size(), assignment) == 0) {
                at += assignment.size();
                std::size_t end = at;
                while (end < text.size() && IsOf(kOfAValue, text[end])) {
                    ++end;
                }
                const std::string_view value = std::string_view(text).substr(at, end - at);
                if (!value.empty() && value.find('*') == std::string_view::npos) {
                    text.replace(at, value.size(), Masked(value));
                }
                break;
            }
        }
    }
}

}  // namespace

void SessionMask::Add(const std::string& session_id) {
    const std::lock_guard<std::shared_mutex> lock(mutex_);
    known_.insert(session_id);
    count_ = known_.size();
}

void SessionMask::Remove(const std::string& session_id) {
    const std::lock_guard<std::shared_mutex> lock(mutex_);
    known_.erase(session_id);
    count_ = known_.size();
}

void SessionMask::Apply(std::string& text) const {
    if (count_.load(std::memory_order_relaxed) != 0) {
        MaskKnown(text);
    }
    MaskValues(text);
}

/// Looks for a run from its far end, so that most characters of a line are never looked at.
void SessionMask::MaskKnown(std::string& text) const {
    std::size_t at = 0;  // behind the last character that is of no id
    while (at + kIdLength <= text.size()) {
        std::size_t end = at + kIdLength;
        while (end > at && IsOf(kOfAnId, text[end - 1])) {
            --end;
        }
        if (end > at) {
            at = end;
            continue;
        }
        end = at + kIdLength;
        while (end < text.size() && IsOf(kOfAnId, text[end])) {
            ++end;
        }
        if (end - at == kIdLength) {
            const std::string run = text.substr(at, kIdLength);
            const std::shared_lock<std::shared_mutex> lock(mutex_);
            if (known_.count(run) != 0) {
                const std::string masked = Masked(run);
                text.replace(at, kIdLength, masked);
                end = at + masked.size();
            }
        }
        at = end;
    }
}

}  // namespace qarplatform
