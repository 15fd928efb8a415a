#pragma once

#include <string>
#include <vector>

#include "bench/options.h"

struct sqlite3;

namespace bench {

/// Stops the program with a text when something that has to succeed does not.
void Require(bool done, const std::string& what);

/// A SQLite connection used bare: sqlite3_exec and nothing around it.
class RawConnection {
public:
    /// @param folder  holds main.db and the schema's file, as the embedded database lays them out
    explicit RawConnection(const std::string& folder);
    ~RawConnection();
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    void Execute(const std::string& sql);
    /// @return the first column of the first row
    long long Number(const std::string& sql);
    sqlite3* Handle() { return handle_; }

private:
    sqlite3* handle_ = nullptr;
};

inline constexpr char kPlugin[] = "bench";
inline constexpr char kTable[] = "bench.camera_history";
inline constexpr char kKeyColumn[] = "id";
inline constexpr int kBusiType = 1;
inline constexpr int kFirstCamera = 1;

/// @return moment number `n`, a second each, as "YYYY-MM-DD HH:MM:SS"
std::string PlainTime(int n);
/// @return the same with "T" and the offset +00:00
std::string IsoTime(int n);

/// The folder of the plug-in's database, and another one with the same rows for the raw engine. Each camera has
/// options.rows / options.cameras points of state 2, one second apart, the first of them moment 0.
class HistoryTables {
public:
    explicit HistoryTables(const Options& options);

    RawConnection& Raw() { return raw_; }
    /// A raw connection to the plug-in's own database, to look at what was done.
    RawConnection& Ours() { return ours_; }
    int PointsOfCamera() const { return options_.rows / options_.cameras; }

    /// Stops the program unless both tables hold the same points.
    void RequireEqual();

private:
    const Options& options_;
    RawConnection raw_;
    RawConnection ours_;
};

}  // namespace bench
