#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "standalone/http/HttpServer.h"
#include "standalone/http/PostGate.h"

namespace qarplatform {

/// What waits for one WebSocket. A frame counts for the limit with its data and what it takes beside them. It may
/// outlive the WebSocket and its server.
class PushQueue : public PushChannel {
public:
    struct Frame {
        std::shared_ptr<const std::string> data;
        bool text = false;
    };
    struct End {
        uint16_t code = 0;
        std::string reason;     ///< UTF-8, at most 123 bytes
        bool overflow = false;  ///< the queue grew beyond its limit
    };

    /// @param wake  called on the gate's thread when there is something to take
    PushQueue(std::size_t limit, std::shared_ptr<PostGate> gate, std::function<void()> wake);

    bool Send(std::shared_ptr<const std::string> data, bool text) override;
    void Close(uint16_t code, const std::string& reason) override;

    /// Takes the next frame, which counts for the limit until the one behind it is asked for.
    std::optional<Frame> TakeFrame();
    /// @return how the WebSocket ends behind the frames that are left; once, as soon as it is known
    std::optional<End> TakeEnd();
    /// Drops what waits, the end too; nothing more is taken in.
    void Drop();

private:
    const std::size_t limit_;
    const std::shared_ptr<PostGate> gate_;
    const std::function<void()> wake_;

    std::mutex mutex_;  // not held while wake_ runs
    // guarded by mutex_
    std::deque<Frame> frames_;
    std::size_t bytes_ = 0;  // what frames_ and the taken frame count
    std::size_t taken_bytes_ = 0;
    bool ended_ = false;  // nothing more is taken in
    std::optional<End> end_;
};

}  // namespace qarplatform
