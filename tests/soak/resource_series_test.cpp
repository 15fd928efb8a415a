#include "soak/resource_series.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace soak {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const GrowthLimits kLimits{0, 5, 1000, 500, 40, 6};

// Samples that differ by the step from one to the next.
std::vector<ResourceSample> Series(std::size_t count, const ResourceSample& step) {
    std::vector<ResourceSample> samples;
    ResourceSample sample{20, 30, 40000, 5000, 600, 21};
    for (std::size_t i = 0; i < count; ++i) {
        samples.push_back(sample);
        sample.threads += step.threads;
        sample.descriptors += step.descriptors;
        sample.memory_kib += step.memory_kib;
        sample.database_kib += step.database_kib;
        sample.rows += step.rows;
        sample.database_descriptors += step.database_descriptors;
    }
    return samples;
}

TEST(ResourceSeriesTest, SeriesThatStaysLevelHasNoGrowth) {
    EXPECT_THAT(FindGrowth(Series(10, {}), kLimits), IsEmpty());
}

TEST(ResourceSeriesTest, EachValueThatGrowsIsFound) {
    EXPECT_THAT(FindGrowth(Series(10, {1, 0, 0, 0, 0}), kLimits), ElementsAre(HasSubstr("threads grew from 24 to 29")));
    EXPECT_THAT(FindGrowth(Series(10, {0, 2, 0, 0, 0}), kLimits), ElementsAre(HasSubstr("descriptors grew")));
    EXPECT_THAT(FindGrowth(Series(10, {0, 0, 201, 0, 0}), kLimits), ElementsAre(HasSubstr("memory in KiB grew")));
    EXPECT_THAT(FindGrowth(Series(10, {0, 0, 0, 101, 0}), kLimits), ElementsAre(HasSubstr("database in KiB grew")));
    EXPECT_THAT(FindGrowth(Series(10, {0, 0, 0, 0, 9}), kLimits), ElementsAre(HasSubstr("rows grew")));
    EXPECT_THAT(FindGrowth(Series(10, {0, 0, 0, 0, 0, 2}), kLimits),
                ElementsAre(HasSubstr("descriptors of the database grew")));
}

TEST(ResourceSeriesTest, GrowthUpToTheLimitIsAllowed) {
    EXPECT_THAT(FindGrowth(Series(10, {0, 1, 200, 100, 8}), kLimits), IsEmpty());
}

TEST(ResourceSeriesTest, OneThreadMoreAtTheVeryEndIsFound) {
    auto samples = Series(10, {});
    ++samples.back().threads;
    EXPECT_THAT(FindGrowth(samples, kLimits), ElementsAre(HasSubstr("threads grew from 20 to 21")));
}

TEST(ResourceSeriesTest, WhatTheFirstHalfHadTheSecondMayHave) {
    auto samples = Series(10, {});
    ++samples[4].descriptors;
    ++samples[9].descriptors;
    EXPECT_THAT(FindGrowth(samples, kLimits), IsEmpty());
}

TEST(ResourceSeriesTest, FirstOfAnOddNumberIsLeftOut) {
    auto samples = Series(5, {});
    samples[0].threads = 100;
    ++samples[3].threads;
    EXPECT_THAT(FindGrowth(samples, kLimits), ElementsAre(HasSubstr("threads grew from 20 to 21")));
}

TEST(ResourceSeriesTest, SeriesThatIsTooShortIsAFault) {
    EXPECT_THAT(FindGrowth(Series(1, {}), kLimits), ElementsAre(HasSubstr("too few samples")));
    EXPECT_THAT(FindGrowth({}, kLimits), ElementsAre(HasSubstr("too few samples")));
}

}  // namespace
}  // namespace soak
