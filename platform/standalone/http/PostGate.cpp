#include "standalone/http/PostGate.h"

#include <boost/asio/post.hpp>
#include <utility>  // before Asio: its coroutine header lacks it

namespace qarplatform {

bool PostGate::Post(std::function<void()> task) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (closed_) {
        return false;
    }
    boost::asio::post(io_, std::move(task));
    return true;
}

void PostGate::Close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
}

}  // namespace qarplatform
