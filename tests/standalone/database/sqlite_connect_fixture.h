#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "standalone/database/SqliteConnect.h"
#include "tests/standalone/database/temp_folder.h"

namespace database_test {

/// Connections to a folder of the case's own.
class SqliteConnectFixture : public testing::Test {
protected:
    std::unique_ptr<qarplatform::SqliteConnect> Connect(
        std::chrono::milliseconds busy_timeout = std::chrono::milliseconds(20000)) {
        std::string error;
        auto connect = qarplatform::SqliteConnect::Open(folder_.Path(), busy_timeout, error);
        EXPECT_TRUE(connect) << error;
        return connect;
    }

    static std::string Error(qarplatform::SqliteConnect& connect) {
        std::string text;
        connect.GetLastErrorText(text);
        return text;
    }

    static void Run(qarplatform::SqliteConnect& connect, const std::string& sql) {
        ASSERT_TRUE(connect.Execute(sql)) << sql << ": " << Error(connect);
    }

    static std::vector<std::string> Column(qarplatform::SqliteConnect& connect, const std::string& column) {
        std::vector<std::string> values;
        for (; !connect.IsEnd(); connect.MoveNext()) {
            values.push_back(connect.GetString(column));
        }
        return values;
    }

    static std::vector<std::string> Values(qarplatform::SqliteConnect& connect, const std::string& sql) {
        EXPECT_TRUE(connect.Query(sql)) << sql << ": " << Error(connect);
        return Column(connect, "v");
    }

    static long long Number(qarplatform::SqliteConnect& connect, const std::string& sql) {
        EXPECT_TRUE(connect.Query(sql)) << sql << ": " << Error(connect);
        return connect.GetInt("v");
    }

    bool Exists(const std::string& file) const { return std::ifstream(folder_ / file).good(); }

    TempFolder folder_;
};

}  // namespace database_test
