#include "standalone/bus/TypeSet.h"

namespace qarplatform {

void TypeSet::Add(const std::set<int>& types) {
    if (types.empty()) {
        all_ = true;
        listed_.clear();
    } else if (all_) {
        for (const int type : types) listed_.erase(type);
    } else {
        listed_.insert(types.begin(), types.end());
    }
}

void TypeSet::Remove(const std::set<int>& types) {
    if (types.empty()) {
        all_ = false;
        listed_.clear();
    } else if (all_) {
        listed_.insert(types.begin(), types.end());
    } else {
        for (const int type : types) listed_.erase(type);
    }
}

}  // namespace qarplatform
