#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace qartest {

/// One line of a plug-in's journal: "told camera=101 busi=1 begin=… end=…", and the like.
struct Notice {
    std::string kind;
    int camera = 0;
    int busi = 0;
    std::string begin;
    std::string end;
    std::int64_t begin_utc_s = 0;
    std::int64_t end_utc_s = 0;
    std::int64_t end_offset_s = 0;
    std::string rest;  ///< what follows

    std::int64_t Seconds() const { return end_utc_s - begin_utc_s; }
};

/// What a plug-in writes down.
class NoticeFile {
public:
    explicit NoticeFile(std::filesystem::path path) : path_(std::move(path)) {}

    /// All whole lines so far, in order. Lines of another form are left out.
    std::vector<Notice> All() const;

    /// Waits until a line is as wanted. @param out  gets the first one, where not null
    bool WaitFor(const std::function<bool(const Notice&)>& wanted, Notice* out = nullptr) const;

    std::vector<Notice> Find(const std::function<bool(const Notice&)>& wanted) const;

private:
    const std::filesystem::path path_;
};

}  // namespace qartest
