#pragma once

#include "ZELPlatform/BaseContent.h"

namespace DepotModule {

/// Parameter of the topic "LEN_StorageServerManager".
class CStorageManagerObserverParam : public ZELPlatform::CObserverParam {
public:
    CStorageManagerObserverParam() : n_storage_id_(-1) {}
    int GetStorageId() const { return n_storage_id_; }
    void SetStorageId(int id) { n_storage_id_ = id; }

private:
    int n_storage_id_;
};

}  // namespace DepotModule
