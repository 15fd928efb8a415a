#pragma once

#include <string>

#include "Mox/Base/ThreadPool.h"

namespace qarplatform {

/// A task that can say what it does, for those who wait for it.
class DescribedTask : public Mox::Base::CTask {
public:
    /// @return whose work it is, without anything secret: "subscriber recorder"; "" while there is none. Called while
    ///         Exec runs, on any thread
    virtual std::string Description() const = 0;
};

}  // namespace qarplatform
