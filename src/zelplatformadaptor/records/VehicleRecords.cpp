#include "qar/VehicleRecords.h"

namespace qar {

SVehicleCustomField::SVehicleCustomField() : reserved(nullptr) {}
SVehicleCustomField::SVehicleCustomField(const SVehicleCustomField& other) = default;
SVehicleCustomField::SVehicleCustomField(SVehicleCustomField&& other) = default;
SVehicleCustomField& SVehicleCustomField::operator=(const SVehicleCustomField& other) = default;
SVehicleCustomField& SVehicleCustomField::operator=(SVehicleCustomField&& other) = default;
SVehicleCustomField::~SVehicleCustomField() = default;

SVehicleInfo::SVehicleInfo() : reserved(nullptr) {}
SVehicleInfo::SVehicleInfo(const SVehicleInfo& other) = default;
SVehicleInfo::SVehicleInfo(SVehicleInfo&& other) = default;
SVehicleInfo& SVehicleInfo::operator=(const SVehicleInfo& other) = default;
SVehicleInfo& SVehicleInfo::operator=(SVehicleInfo&& other) = default;
SVehicleInfo::~SVehicleInfo() = default;

}  // namespace qar
