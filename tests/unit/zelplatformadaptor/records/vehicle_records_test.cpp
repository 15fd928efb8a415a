#include <gtest/gtest.h>

#include <utility>

#include "qar/VehicleRecords.h"

namespace qar {
namespace {

SVehicleCustomField FilledField(void* reserved) {
    SVehicleCustomField field;
    field.str_field_0 = "0";
    field.n_field_1 = 1;
    field.str_field_2 = "2";
    field.vec_field_3 = {"a", "b"};
    field.reserved = reserved;
    return field;
}

TEST(VehicleRecordTest, CustomFieldIsCopiedAndMovedWhole) {
    int target = 0;
    EXPECT_EQ(SVehicleCustomField().reserved, nullptr);
    const SVehicleCustomField source = FilledField(&target);
    SVehicleCustomField copy(source);
    SVehicleCustomField moved(std::move(copy));
    SVehicleCustomField assigned;
    assigned = moved;
    SVehicleCustomField field;
    field = std::move(assigned);
    EXPECT_EQ(field.str_field_0, "0");
    EXPECT_EQ(field.n_field_1, 1);
    EXPECT_EQ(field.str_field_2, "2");
    EXPECT_EQ(field.vec_field_3, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(field.reserved, &target);
    EXPECT_EQ(assigned.reserved, &target);  // NOLINT(bugprone-use-after-move)
}

TEST(VehicleRecordTest, VehicleIsCopiedAndMovedWithItsCustomFields) {
    int target = 0;
    EXPECT_EQ(SVehicleInfo().reserved, nullptr);
    SVehicleInfo source;
    source.n_field_0 = 0;
    source.str_field_1 = "1";
    source.str_field_2 = "2";
    source.str_field_3 = "3";
    source.str_field_4 = "4";
    source.n_field_5 = 5;
    source.n_field_6 = 6;
    source.n_field_7 = 7;
    source.str_field_8 = "8";
    source.str_field_9 = "9";
    source.str_field_10 = "10";
    source.str_field_11 = "11";
    source.str_field_12 = "12";
    source.n_field_13 = 13;
    source.n_field_14 = 14;
    source.str_field_15 = "15";
    source.list_custom_fields.push_back(FilledField(&target));
    source.reserved = &target;

    SVehicleInfo copy(source);
    SVehicleInfo moved(std::move(copy));
    SVehicleInfo assigned;
    assigned = moved;
    SVehicleInfo vehicle;
    vehicle = std::move(assigned);
    EXPECT_EQ(vehicle.n_field_0, 0);
    EXPECT_EQ(vehicle.str_field_1, "1");
    EXPECT_EQ(vehicle.str_field_2, "2");
    EXPECT_EQ(vehicle.str_field_3, "3");
    EXPECT_EQ(vehicle.str_field_4, "4");
    EXPECT_EQ(vehicle.n_field_5, 5);
    EXPECT_EQ(vehicle.n_field_6, 6);
    EXPECT_EQ(vehicle.n_field_7, 7);
    EXPECT_EQ(vehicle.str_field_8, "8");
    EXPECT_EQ(vehicle.str_field_9, "9");
    EXPECT_EQ(vehicle.str_field_10, "10");
    EXPECT_EQ(vehicle.str_field_11, "11");
    EXPECT_EQ(vehicle.str_field_12, "12");
    EXPECT_EQ(vehicle.n_field_13, 13);
    EXPECT_EQ(vehicle.n_field_14, 14);
    EXPECT_EQ(vehicle.str_field_15, "15");
    ASSERT_EQ(vehicle.list_custom_fields.size(), 1u);
    EXPECT_EQ(vehicle.list_custom_fields.front().str_field_2, "2");
    EXPECT_EQ(vehicle.reserved, &target);
    EXPECT_EQ(assigned.reserved, &target);  // NOLINT(bugprone-use-after-move)
}

}  // namespace
}  // namespace qar
