#include "mock/FakeLocalConfig.h"

#include <utility>

namespace qarmock {

using ZELPlatform::CLocalDBInfo;

FakeLocalConfig::FakeLocalConfig() : info_(std::make_shared<CLocalDBInfo>()) {
    info_->SetValdbType(1);
    info_->SetValdbIp("127.0.0.1");
    info_->SetValdbPort(5432);
    info_->SetValdbUser("user");
    info_->SetValdbPasswd("password");
    info_->SetValdbName("database");
}

void FakeLocalConfig::Set(std::shared_ptr<CLocalDBInfo> info) {
    std::lock_guard<std::mutex> lock(mutex_);
    info_ = std::move(info);
}

std::shared_ptr<CLocalDBInfo> FakeLocalConfig::GetLocationDBInfo() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return info_ ? std::make_shared<CLocalDBInfo>(*info_) : nullptr;
}

}  // namespace qarmock
