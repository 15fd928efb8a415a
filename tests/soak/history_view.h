#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

struct sqlite3;

namespace soak {

/// The table camera_history of a schema's file, read beside a running host.
class HistoryView {
public:
    /// @throws std::runtime_error  where it cannot be opened; so of the readings
    explicit HistoryView(const std::filesystem::path& file);
    ~HistoryView();
    HistoryView(const HistoryView&) = delete;
    HistoryView& operator=(const HistoryView&) = delete;

    /// The latest moment at which a camera was found in order: its wall clock in seconds since 1970 as if it were UTC;
    /// 0 where there is none.
    std::int64_t LastInOrderS(int camera, int busi) const;

    /// Whether a point of contact stands at or behind a moment; the moment as LastInOrderS gives it.
    bool HasContact(int camera, int busi, std::int64_t since_s) const;

    std::size_t Rows() const;

private:
    sqlite3* database_ = nullptr;
};

}  // namespace soak
