#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace qarplatform {

/// A request's body on disk: a file that only its owner may read and that has no name, so that it is gone with its last
/// user, however that ends. Threads: one at a time; every operation may wait for the disk.
class BodySpool {
public:
    BodySpool() = default;
    ~BodySpool();
    BodySpool(const BodySpool&) = delete;
    BodySpool& operator=(const BodySpool&) = delete;

    /// @return 0, or an error number
    int Open(const std::string& folder);

    /// @return 0, or an error number
    int Append(std::string_view data);

    /// Makes what was appended readable as memory. Once, as the last call.
    /// @param body  readable while the returned owner lives
    /// @param error  gets an error number when nothing is returned
    std::shared_ptr<const void> Map(std::string_view& body, int& error);

private:
    void Close();

    int fd_ = -1;
    std::size_t size_ = 0;
};

}  // namespace qarplatform
