#pragma once

#include <set>

namespace qarplatform {

/// The message types of a subscription: those listed, or all but those listed.
class TypeSet {
public:
    /// @param types  empty: all
    void Add(const std::set<int>& types);
    /// @param types  empty: all
    void Remove(const std::set<int>& types);

    bool Contains(int type) const { return all_ != (listed_.count(type) > 0); }
    /// @return whether no type is left
    bool Empty() const { return !all_ && listed_.empty(); }

private:
    bool all_ = false;
    std::set<int> listed_;
};

}  // namespace qarplatform
