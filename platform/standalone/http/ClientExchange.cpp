#include "standalone/http/ClientExchange.h"

#include <utility>  // before Asio: its coroutine header lacks it

#include "standalone/http/AnswerText.h"
#include "standalone/http/HttpConnection.h"

namespace qarplatform {

ClientExchange::ClientExchange(std::shared_ptr<PostGate> gate, std::weak_ptr<HttpConnection> connection)
    : gate_(std::move(gate)), connection_(std::move(connection)) {}

void ClientExchange::Send(AnswerHead head, std::string_view body, std::function<void(SendResult)> done) {
    if (!answered_ && !IsSendable(head)) {
        done(SendResult::kBadHead);
        return;
    }
    if (!Claim()) {
        done(SendResult::kAnswered);
        return;
    }
    head_ = std::move(head);
    body_ = body;
    done_ = std::move(done);
    if (!gate_->Post([self = shared_from_this()] { self->Deliver(); })) {
        std::exchange(done_, nullptr)(SendResult::kStopped);
    }
}

void ClientExchange::Deliver() {
    if (const std::shared_ptr<HttpConnection> open = connection_.lock()) {
        open->Answer(head_, body_, std::exchange(done_, nullptr));
    } else {
        std::exchange(done_, nullptr)(SendResult::kGone);
    }
}

void ClientExchange::Accept(std::shared_ptr<PushListener> listener) {
    if (!Claim()) {
        return;
    }
    gate_->Post([connection = connection_, listener = std::move(listener)] {
        if (const std::shared_ptr<HttpConnection> open = connection.lock()) {
            open->Accept(listener);
        }
    });
}

}  // namespace qarplatform
