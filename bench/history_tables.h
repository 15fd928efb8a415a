#pragma once

#include <string>
#include <vector>

#include "bench/options.h"
#include "bench/statements.h"

struct sqlite3;

namespace bench {

/// Stops the program with a text when something that has to succeed does not.
void Require(bool done, const std::string& what);

/// A SQLite connection used bare, opened with the flags and PRAGMAs of the embedded database: sqlite3_exec and nothing
/// around it.
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
    std::string Text(const std::string& sql);
    sqlite3* Handle() { return handle_; }

private:
    sqlite3* handle_ = nullptr;
};

inline constexpr char kPlugin[] = "bench";
inline constexpr char kTable[] = "bench.camera_history";
inline constexpr char kKeyColumn[] = "id";
inline constexpr int kBusiTypes = 4;  // 1 to 4
inline constexpr int kFirstCamera = 1;

/// @return time line number `n`, counted over and over; neighbours in number are none in the table
Line LineAt(const Options& options, int n);

/// @return moment number `n`, a second each, as "YYYY-MM-DD HH:MM:SS"
std::string PlainTime(int n);
/// @return the same with "T" and the offset +00:00
std::string IsoTime(int n);

/// Creates a history table with its index, and points of state `state` in it: for each time line `points`, a second
/// each, from moment 0.
std::string TableText(const std::string& table);
std::string PointsText(const Options& options, const std::string& table, int points, const std::string& state);

/// The folder of the plug-in's database, and another one with the same rows for the raw engine: points of state 2.
class HistoryTables {
public:
    explicit HistoryTables(const Options& options);

    RawConnection& Raw() { return raw_; }
    /// A raw connection to the plug-in's own database, to look at what was done.
    RawConnection& Ours() { return ours_; }
    int PointsOfLine() const { return options_.rows / (options_.cameras * kBusiTypes); }
    int Rows() const { return PointsOfLine() * options_.cameras * kBusiTypes; }

    /// Runs a statement on both tables.
    void ExecuteOnBoth(const std::string& sql);
    /// Stops the program unless both tables hold the same points.
    void RequireEqual();

private:
    const Options& options_;
    RawConnection raw_;
    RawConnection ours_;
};

}  // namespace bench
