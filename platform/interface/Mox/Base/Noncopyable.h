#pragma once

namespace Mox {
namespace Base {

/// Base of classes that cannot be copied.
class CNoncopyable {
public:
    CNoncopyable(const CNoncopyable&) = delete;
    CNoncopyable& operator=(const CNoncopyable&) = delete;

protected:
    CNoncopyable() = default;
    ~CNoncopyable() = default;
};

}  // namespace Base
}  // namespace Mox
