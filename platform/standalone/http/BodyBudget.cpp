#include "standalone/http/BodyBudget.h"

namespace qarplatform {

BodyShare::~BodyShare() {
    if (budget_) {
        budget_->held_ -= bytes_;
    }
}

bool BodyShare::Grow(uint64_t bytes) {
    const uint64_t more = bytes - bytes_;
    if (budget_->held_.fetch_add(more) + more > budget_->bytes_) {
        budget_->held_ -= more;
        return false;
    }
    bytes_ = bytes;
    return true;
}

}  // namespace qarplatform
