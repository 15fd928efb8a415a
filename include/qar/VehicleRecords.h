#pragma once

#include <list>
#include <string>
#include <vector>

#include "qar/Export.h"

namespace qar {

// The library only copies these records. Their integers are left uninitialised by the constructor.

/// One further field of a vehicle.
struct QARCOMMON_API SVehicleCustomField {
    SVehicleCustomField();
    SVehicleCustomField(const SVehicleCustomField& other);
    SVehicleCustomField(SVehicleCustomField&& other);
    SVehicleCustomField& operator=(const SVehicleCustomField& other);
    SVehicleCustomField& operator=(SVehicleCustomField&& other);
    ~SVehicleCustomField();

    std::string str_field_0;
    int n_field_1;
    std::string str_field_2;
    std::vector<std::string> vec_field_3;
    void* reserved;  ///< the library's own; copied as it is
};

/// A vehicle.
struct QARCOMMON_API SVehicleInfo {
    SVehicleInfo();
    SVehicleInfo(const SVehicleInfo& other);
    SVehicleInfo(SVehicleInfo&& other);
    SVehicleInfo& operator=(const SVehicleInfo& other);
    SVehicleInfo& operator=(SVehicleInfo&& other);
    ~SVehicleInfo();

    int n_field_0;
    std::string str_field_1;
    std::string str_field_2;
    std::string str_field_3;
    std::string str_field_4;
    int n_field_5;
    int n_field_6;
    int n_field_7;
    std::string str_field_8;
    std::string str_field_9;
    std::string str_field_10;
    std::string str_field_11;
    std::string str_field_12;
    int n_field_13;
    int n_field_14;
    std::string str_field_15;
    std::list<SVehicleCustomField> list_custom_fields;
    void* reserved;  ///< the library's own; copied as it is
};

}  // namespace qar
