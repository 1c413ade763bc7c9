// A mutex that clang's thread-safety analysis understands, and its scoped lock.
#pragma once

#include <mutex>

#if defined(__clang__)
#define BRAIRU_THREAD(attribute) __attribute__((attribute))
#else
#define BRAIRU_THREAD(attribute)
#endif

namespace brairu {

class BRAIRU_THREAD(capability("mutex")) Mutex {
public:
    void lock() BRAIRU_THREAD(acquire_capability()) { mutex_.lock(); }
    bool tryLock() BRAIRU_THREAD(try_acquire_capability(true)) { return mutex_.try_lock(); }
    void unlock() BRAIRU_THREAD(release_capability()) { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

class BRAIRU_THREAD(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) BRAIRU_THREAD(acquire_capability(mutex)) : mutex_(mutex) {
        mutex_.lock();
    }
    ~MutexLock() BRAIRU_THREAD(release_capability()) { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace brairu
