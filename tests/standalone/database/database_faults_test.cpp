// What happens to the database when its process is killed, its disk is full or its folder may not be written.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "standalone/config/LocalConfigControl.h"
#include "standalone/database/DatabaseManager.h"
#include "standalone/database/SqliteConnect.h"
#include "tests/standalone/database/temp_folder.h"

namespace {

using database_test::TempFolder;
using qarplatform::DatabaseManager;
using qarplatform::SqliteConnect;
using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr uid_t kNobody = 65534;

std::string ErrorOf(SqliteConnect& connect) {
    std::string text;
    connect.GetLastErrorText(text);
    return text;
}

long long Number(SqliteConnect& connect, const std::string& sql) {
    EXPECT_TRUE(connect.Query(sql)) << sql << ": " << ErrorOf(connect);
    return connect.GetInt("v");
}

qar::SDBParam ParamOf(const std::string& folder) {
    qar::SDBParam param;
    param.dbType = qarplatform::kDatabaseSqlite;
    param.dbName = folder;
    return param;
}

// A child process that runs `body` with the writing end of a pipe and then ends.
class Child {
public:
    explicit Child(const std::function<void(int)>& body) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        pid_ = fork();
        if (pid_ == 0) {
            close(ends[0]);
            body(ends[1]);
            _exit(0);
        }
        close(ends[1]);
        read_end_ = ends[0];
    }
    ~Child() {
        if (pid_ > 0) {
            Kill();
        }
        close(read_end_);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // @return false when the child has closed its end
    bool Read(int64_t& value) { return read(read_end_, &value, sizeof(value)) == sizeof(value); }

    std::string ReadAll() {
        std::string text;
        char buffer[4096];
        for (ssize_t n = read(read_end_, buffer, sizeof(buffer)); n > 0; n = read(read_end_, buffer, sizeof(buffer))) {
            text.append(buffer, static_cast<std::size_t>(n));
        }
        return text;
    }

    void Kill() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int read_end_ = -1;
};

void WriteAll(int fd, const void* data, std::size_t size) {
    if (write(fd, data, size) != static_cast<ssize_t>(size)) {
        _exit(1);
    }
}

TEST(DatabaseFaultsTest, WhatWasAnsweredTrueSurvivesAKillAtAnyPoint) {
    for (const int64_t after : {1, 40, 700}) {
        const TempFolder folder;
        Child child([&](int fd) {
            DatabaseManager manager;
            if (!manager.Open("p", 1, ParamOf(folder.Path())) ||
                !manager.Execute(
                    "p", 1, "CREATE TABLE s.t(id INTEGER PRIMARY KEY); CREATE TABLE s.u(id INTEGER PRIMARY KEY)")) {
                return;
            }
            for (;;) {
                const int64_t id = manager.GetNextID("");
                const std::string value = "(id) VALUES(" + std::to_string(id) + ")";
                const bool both = id % 2 == 0;
                if (manager.Execute("p", 1,
                                    "INSERT INTO s.t" + value + (both ? ";INSERT INTO s.u" + value : std::string()))) {
                    WriteAll(fd, &id, sizeof(id));
                }
            }
        });
        std::set<int64_t> answered;
        int64_t id = 0;
        while (static_cast<int64_t>(answered.size()) < after && child.Read(id)) {
            answered.insert(id);
        }
        ASSERT_EQ(static_cast<int64_t>(answered.size()), after);
        child.Kill();
        while (child.Read(id)) {
            answered.insert(id);
        }

        DatabaseManager manager;
        ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder.Path())));
        std::set<int64_t> rows[2];
        for (int i = 0; i < 2; ++i) {
            ASSERT_TRUE(manager.ExecuteQuery("p", 1, i ? "SELECT id FROM s.u" : "SELECT id FROM s.t",
                                             [&](db_layer::CConnect* connect) {
                                                 for (; !connect->IsEnd(); connect->MoveNext()) {
                                                     rows[i].insert(connect->GetInt("id"));
                                                 }
                                             }));
        }
        for (const int64_t each : answered) {
            EXPECT_EQ(rows[0].count(each), 1u) << each;
        }
        EXPECT_LE(rows[0].size(), answered.size() + 1);  // at most the statement that was under way
        for (const int64_t each : rows[0]) {             // a text of two statements is there whole or not at all
            EXPECT_EQ(rows[1].count(each), each % 2 == 0 ? 1u : 0u) << each;
        }
        const int64_t next = manager.GetNextID("");
        EXPECT_EQ(rows[0].count(next), 0u);
        EXPECT_GT(next, *answered.rbegin());
    }
}

// Files of this process cannot grow beyond a size; restored at the end.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        old_handler_ = signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &old_);
        rlimit limit = old_;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        signal(SIGXFSZ, old_handler_);
    }

private:
    rlimit old_;
    void (*old_handler_)(int);
};

TEST(DatabaseFaultsTest, AFullDiskFailsWithATextLeavesNothingHalfDoneAndEndsWhenThereIsRoom) {
    const TempFolder folder;
    std::string error;
    const auto connect = SqliteConnect::Open(folder.Path(), milliseconds(1000), error);
    ASSERT_TRUE(connect) << error;
    ASSERT_TRUE(connect->Execute("CREATE TABLE s.t(v); INSERT INTO s.t VALUES('first')"));
    const std::string big = "INSERT INTO s.t VALUES(zeroblob(100000))";
    {
        const FileSizeLimit limit(256 * 1024);
        bool full = false;
        long long stored = 1;
        for (int i = 0; i < 100 && !full; ++i) {
            full = !connect->Execute(big + ";" + big);
            stored += full ? 0 : 2;
        }
        EXPECT_TRUE(full);
        EXPECT_THAT(ErrorOf(*connect), HasSubstr("File too large"));
        EXPECT_EQ(Number(*connect, "SELECT count(*) AS v FROM s.t"), stored);
        EXPECT_FALSE(connect->Execute("CREATE TABLE s.u AS SELECT zeroblob(1000000)"));
        EXPECT_FALSE(connect->Query("SELECT * FROM s.u"));
    }
    EXPECT_TRUE(connect->Execute(big + ";" + big)) << ErrorOf(*connect);
    ASSERT_TRUE(connect->Query("PRAGMA s.integrity_check"));
    EXPECT_EQ(connect->GetString("integrity_check"), "ok");
}

TEST(DatabaseFaultsTest, APlugInGoesOnAfterAFullDisk) {
    const TempFolder folder;
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder.Path())));
    ASSERT_TRUE(manager.Execute("p", 1, "CREATE TABLE s.t(v)"));
    const std::string big = "INSERT INTO s.t VALUES(zeroblob(1000000))";
    {
        const FileSizeLimit limit(256 * 1024);
        testing::internal::CaptureStderr();
        EXPECT_FALSE(manager.Execute("p", 1, big));
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("plug-in p: disk I/O error: File too large"));
    EXPECT_TRUE(manager.Execute("p", 1, big));
}

// @return what `body` gives in a child process that permissions bind
std::string AsOrdinaryUser(const std::function<std::string()>& body) {
    Child child([&](int fd) {
        if (geteuid() == 0 && setuid(kNobody) != 0) {
            _exit(1);
        }
        const std::string text = body();
        WriteAll(fd, text.data(), text.size());
    });
    return child.ReadAll();
}

TEST(DatabaseFaultsTest, AFolderThatMayNotBeWrittenIsRefusedWithItsPath) {
    const TempFolder folder;
    ASSERT_EQ(chmod(folder.Path().c_str(), 0555), 0);
    const std::string error = AsOrdinaryUser([&] {
        std::string text;
        return SqliteConnect::Open(folder.Path(), milliseconds(100), text) ? std::string("opened") : text;
    });
    EXPECT_EQ(error, folder / "main.db: cannot be made: Permission denied");
}

TEST(DatabaseFaultsTest, AFileThatMayNotBeWrittenIsReadAndRefusesChanges) {
    const TempFolder folder;
    std::string error;
    {
        const auto connect = SqliteConnect::Open(folder.Path(), milliseconds(100), error);
        ASSERT_TRUE(connect) << error;
        ASSERT_TRUE(connect->Execute("CREATE TABLE s.t(v); INSERT INTO s.t VALUES(5)"));
        chmod((folder / "s.db").c_str(), 0444);
        chmod((folder / "main.db").c_str(), 0666);
    }
    chmod(folder.Path().c_str(), 0777);
    const std::string found = AsOrdinaryUser([&] {
        std::string text;
        const auto connect = SqliteConnect::Open(folder.Path(), milliseconds(100), text);
        if (!connect) {
            return text;
        }
        text = std::to_string(Number(*connect, "SELECT v FROM s.t"));
        text += connect->Execute("INSERT INTO s.t VALUES(6)") ? " changed" : " " + ErrorOf(*connect);
        text += connect->Execute("CREATE TABLE t(v); INSERT INTO t VALUES(1)") ? " goes on" : " " + ErrorOf(*connect);
        return text;
    });
    EXPECT_EQ(found, "5 attempt to write a readonly database goes on");
}

// A small file system of its own in a folder, seen by this process alone.
class SmallDisk {
public:
    // @return false when this process may not mount
    bool Mount(const std::string& folder) {
        folder_ = folder;
        mounted_ = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=600k") == 0;
        return mounted_;
    }
    bool MakeReadOnly() { return mount("tmpfs", folder_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0; }
    ~SmallDisk() {
        if (mounted_) {
            umount2(folder_.c_str(), MNT_DETACH);
        }
    }

private:
    std::string folder_;
    bool mounted_ = false;
};

TEST(DatabaseFaultsTest, AFileSystemWithoutRoomFailsEachCallWithATextUntilThereIsRoom) {
    const TempFolder folder;
    SmallDisk disk;
    if (!disk.Mount(folder.Path())) {
        GTEST_SKIP() << "this process may not mount a file system";
    }
    DatabaseManager manager;
    ASSERT_TRUE(manager.Open("p", 1, ParamOf(folder / "db")));
    ASSERT_TRUE(manager.Execute("p", 1, "CREATE TABLE s.t(v)"));
    {
        std::ofstream rest(folder / "rest");
        const std::string block(1000, 'x');
        while (rest << block << std::flush) {
        }
    }
    testing::internal::CaptureStderr();
    const std::string insert = "INSERT INTO s.t VALUES(zeroblob(20000))";
    EXPECT_FALSE(manager.Execute("p", 1, insert));
    EXPECT_FALSE(manager.Execute("p", 1, "CREATE TABLE z.t(v)"));
    EXPECT_EQ(manager.GetNextID(""), 0);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("plug-in p: database or disk is full"));
    EXPECT_THAT(log, HasSubstr("plug-in p: schema z cannot be attached: " + (folder / "db/z.db")));
    std::filesystem::remove(folder / "rest");
    EXPECT_TRUE(manager.Execute("p", 1, insert));
    EXPECT_TRUE(manager.Execute("p", 1, "CREATE TABLE z.t(v)"));
    EXPECT_GT(manager.GetNextID(""), 0);
    EXPECT_TRUE(manager.ExecuteQuery("p", 1, "SELECT count(*) AS v FROM s.t",
                                     [](db_layer::CConnect* connect) { EXPECT_EQ(connect->GetInt("v"), 1); }));
}

TEST(DatabaseFaultsTest, AReadOnlyFileSystemIsRefusedWithItsPath) {
    const TempFolder folder;
    SmallDisk disk;
    if (!disk.Mount(folder.Path()) || !disk.MakeReadOnly()) {
        GTEST_SKIP() << "this process may not mount a file system";
    }
    DatabaseManager manager;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(manager.Open("p", 1, ParamOf(folder.Path())));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("plug-in p: " + (folder / "main.db") + ": cannot be made: Read-only file system"));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(manager.Open("p", 1, ParamOf(folder / "db")));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr((folder / "db") + ": cannot be made: Read-only file system"));
}

}  // namespace
