#include "demo_cameras/io_thread.h"

namespace demo {

IoThread::IoThread() : work_(boost::asio::make_work_guard(context_)), thread_([this] { context_.run(); }) {}

IoThread::~IoThread() {
    context_.stop();
    thread_.join();
}

}  // namespace demo
