#pragma once

#include <atomic>
#include <mutex>

#include "Mox/Base/Noncopyable.h"

namespace Mox {
namespace Base {

/// One object of a class per process, made at first use and never destroyed, so that it outlives every static object.
/// A class without a public constructor (tuk::CDeviceManager) has Instance() specialised by the platform.
/// Threads: any; a second caller waits while the first one constructs. A constructor that throws leaves the next call
/// able to try again.
template <class T>
class CSingleton : public CNoncopyable {
public:
    /// @return the one object, never null; owned by the process
    static T* Instance() {
        T* instance = Slot().load(std::memory_order_acquire);
        if (instance == nullptr) {
            std::lock_guard<std::mutex> lock(Mutex());
            instance = Slot().load(std::memory_order_relaxed);
            if (instance == nullptr) {
                instance = new T();
                Slot().store(instance, std::memory_order_release);
            }
        }
        return instance;
    }

protected:
    CSingleton() = default;
    ~CSingleton() = default;

private:
    static std::atomic<T*>& Slot() {
        static std::atomic<T*> slot(nullptr);
        return slot;
    }
    static std::mutex& Mutex() {
        static std::mutex& mutex = *new std::mutex;
        return mutex;
    }
};

}  // namespace Base
}  // namespace Mox
