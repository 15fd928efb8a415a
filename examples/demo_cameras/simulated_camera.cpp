#include "demo_cameras/simulated_camera.h"

#include "demo_cameras/time_text.h"

namespace demo {

namespace {

constexpr std::chrono::milliseconds kDripPause{1000};

std::string Rubbish() {
    std::string bytes(256, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(static_cast<unsigned char>(i * 167 + 13));
    }
    return bytes;
}

}  // namespace

SimulatedCamera::SimulatedCamera(IoThread& io, const ScaledClock& clock, CameraOptions options)
    : io_(io),
      clock_(clock),
      options_(std::move(options)),
      recording_(options_.seed, options_.id),
      skew_s_(options_.skew_s) {
    io_.Run([this] {
        probe_listener_ = std::make_unique<PortListener>(
            io_.Context(), options_.address, [this](boost::asio::ip::tcp::socket socket) {
                Serve(std::move(socket), [this](const std::string& head) { return RespondToProbe(head); });
            });
        archive_listener_ = std::make_unique<PortListener>(
            io_.Context(), options_.address, [this](boost::asio::ip::tcp::socket socket) {
                Serve(std::move(socket), [this](const std::string& head) { return RespondToArchive(head); });
            });
        probe_port_ = probe_listener_->Port();
        archive_port_ = archive_listener_->Port();
    });
}

SimulatedCamera::~SimulatedCamera() {
    io_.Run([this] {
        Close();
        probe_listener_.reset();
        archive_listener_.reset();
    });
}

std::int64_t SimulatedCamera::ComeBack() {
    return io_.Run([this] {
        const std::int64_t before = clock_.NowMs();
        away_ = false;
        probe_listener_->Open();
        archive_listener_->Open();
        return before;
    });
}

std::int64_t SimulatedCamera::GoAway() {
    return io_.Run([this] {
        Close();
        return clock_.NowMs();
    });
}

void SimulatedCamera::Close() {
    probe_listener_->Close();
    archive_listener_->Close();
    for (const auto& connection : connections_) {
        connection->Cut();
    }
    connections_.clear();
    away_ = true;
}

void SimulatedCamera::SetProbeBehaviour(ProbeBehaviour behaviour) {
    io_.Run([this, behaviour] { options_.probe = behaviour; });
}

void SimulatedCamera::SetDateBehaviour(DateBehaviour behaviour) {
    io_.Run([this, behaviour] { options_.date = behaviour; });
}

void SimulatedCamera::SetArchivePause(std::chrono::milliseconds pause) {
    io_.Run([this, pause] { options_.archive_pause = pause; });
}

void SimulatedCamera::FailArchive(int count) {
    io_.Run([this, count] { options_.archive_failures = count; });
}

void SimulatedCamera::JumpClock(std::int64_t seconds) { skew_s_ += seconds; }

std::string SimulatedCamera::ProbeUrl() const { return Url("rtsp", probe_port_, "/"); }

std::string SimulatedCamera::ArchiveUrl() const { return Url("http", archive_port_, "/archive"); }

std::int64_t SimulatedCamera::ClockS() const { return clock_.NowMs() / 1000 + skew_s_; }

void SimulatedCamera::Serve(boost::asio::ip::tcp::socket socket, Connection::Respond respond) {
    auto connection =
        std::make_shared<Connection>(std::move(socket), recording_, std::move(respond),
                                     [this](const std::shared_ptr<Connection>& ended) { connections_.erase(ended); });
    connections_.insert(connection);
    connection->Start();
}

std::optional<std::string> SimulatedCamera::Date() const {
    switch (options_.date) {
        case DateBehaviour::kNone:
            return std::nullopt;
        case DateBehaviour::kYear1970:
            return FormatHttpDate(0);
        case DateBehaviour::kOwnClock:
            break;
    }
    return FormatHttpDate(ClockS());
}

std::optional<Reply> SimulatedCamera::RespondToProbe(const std::string& head) {
    if (options_.probe == ProbeBehaviour::kSilent) {
        return std::nullopt;
    }
    if (options_.probe == ProbeBehaviour::kRubbish) {
        Reply reply;
        reply.text = Rubbish();
        return reply;
    }
    Reply reply = AnswerRtsp(head, Date());
    if (options_.probe == ProbeBehaviour::kDrip) {
        reply.pause_per_byte = kDripPause;
    }
    ++probes_answered_;
    return reply;
}

Reply SimulatedCamera::RespondToArchive(const std::string& head) {
    ++archive_requests_;
    if (options_.archive_failures > 0) {
        --options_.archive_failures;
        return HttpFailure("500 Internal Server Error", Date());
    }
    const ArchiveContent content{options_.id, clock_.StartSeconds() - kRecordedBeforeStartS + skew_s_, ClockS()};
    Reply reply = AnswerHttp(head, content, Date());
    reply.pause = options_.archive_pause;
    return reply;
}

std::string SimulatedCamera::Url(const std::string& scheme, std::uint16_t port, const std::string& path) const {
    const bool ipv6 = options_.address.find(':') != std::string::npos;
    return scheme + "://" + (ipv6 ? "[" + options_.address + "]" : options_.address) + ":" + std::to_string(port) +
           path;
}

}  // namespace demo
