#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "ZELPlatform/BaseContent.h"

namespace qarplatform {

class Lane;

/// Who gets messages: one function, and the lane in which its calls are made one after another.
struct Receiver {
    using Function = std::function<void(const std::string& observer, int type,
                                        const std::shared_ptr<ZELPlatform::CBaseContent>& content)>;

    Receiver(std::shared_ptr<Lane> its_lane, Function its_function)
        : lane(std::move(its_lane)), function(std::move(its_function)) {}

    const std::shared_ptr<Lane> lane;
    const Function function;
};

}  // namespace qarplatform
