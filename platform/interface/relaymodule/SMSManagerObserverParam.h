#pragma once

#include "ZELPlatform/BaseContent.h"

namespace relaymodule {

/// Parameter of the topic "LEN_SMSManager".
class CSMSManagerObserverParam : public ZELPlatform::CObserverParam {
public:
    CSMSManagerObserverParam() : n_sms_id_(-1) {}
    int GetSMSId() const { return n_sms_id_; }
    void SetSMSId(int id) { n_sms_id_ = id; }

private:
    int n_sms_id_;
};

}  // namespace relaymodule
