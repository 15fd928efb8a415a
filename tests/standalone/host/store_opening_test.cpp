#include <gtest/gtest.h>

#include "host/StoreOpening.h"
#include "integration/support/temp_folder.h"

namespace qarhost {
namespace {

class StoreOpeningTest : public testing::Test {
protected:
    StoreOpeningTest() {
        file_.data_dir = folder_.Path().string();
        file_.site.database_dir = "/first";
        file_.clock_origin_ms = 1000;
        file_.clock_start_ms = 2000;
    }

    qarplatform::Site Open() {
        qarplatform::SiteStore store;
        qarplatform::Site site;
        std::string error;
        EXPECT_TRUE(OpenStore(file_, store, error)) << error;
        EXPECT_TRUE(store.Load(site, origin_ms_, start_ms_, error)) << error;
        return site;
    }

    qartest::TempFolder folder_;
    qarplatform::SiteFile file_;
    int64_t origin_ms_ = 0;
    int64_t start_ms_ = 0;
};

TEST_F(StoreOpeningTest, SiteIsImportedOnceWithItsClock) {
    EXPECT_EQ("/first", Open().database_dir);
    EXPECT_EQ(1000, origin_ms_);
    EXPECT_EQ(2000, start_ms_);
    file_.site.database_dir = "/second";
    EXPECT_EQ("/first", Open().database_dir);
}

TEST_F(StoreOpeningTest, ClockStartsAtItsOriginWhereNothingElseIsSaid) {
    file_.clock_start_ms.reset();
    Open();
    EXPECT_EQ(1000, start_ms_);
}

TEST_F(StoreOpeningTest, UsersAreImportedOnce) {
    EXPECT_EQ(0U, Open().users.size());
    file_.site.users = {{1, "anna", {}, 0, false}};
    EXPECT_EQ(1U, Open().users.size());
    file_.site.users.push_back({2, "bert", {}, 0, false});
    EXPECT_EQ(1U, Open().users.size());
}

TEST_F(StoreOpeningTest, StoreThatCannotBeMadeIsTold) {
    file_.data_dir = folder_.Path() / "none";
    qarplatform::SiteStore store;
    std::string error;
    EXPECT_FALSE(OpenStore(file_, store, error));
    EXPECT_EQ(file_.data_dir + "/site.db: cannot be made: No such file or directory", error);
}

}  // namespace
}  // namespace qarhost
