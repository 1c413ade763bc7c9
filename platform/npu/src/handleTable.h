#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace brairu::npu {

/// The next handle number. Numbers are not addresses and come back only after the counter has gone
/// round, so a handle that was released is told from every live one.
inline std::uintptr_t nextHandleNumber() {
    static std::atomic<std::uintptr_t> last{0};
    std::uintptr_t number = 0;
    while (number == 0)
        number = ++last;
    return number;
}

/// The live objects of one kind, by the opaque handle that the caller holds, each made in a context
/// (null for those that belong to none). Safe for use by several threads.
template <class Handle, class Object, class Owner>
class HandleTable {
public:
    Handle add(std::shared_ptr<Object> object, Owner owner) {
        const std::lock_guard lock(mutex_);
        Handle handle = nextHandle();
        while (entries_.count(handle) != 0) {
            handle = nextHandle();
        }
        entries_.emplace(handle, Entry{std::move(object), owner});
        return handle;
    }

    /// Null for a handle that is not live.
    std::shared_ptr<Object> find(Handle handle) const {
        const std::lock_guard lock(mutex_);
        const auto entry = entries_.find(handle);
        return entry == entries_.end() ? nullptr : entry->second.object;
    }

    Owner ownerOf(Handle handle) const {
        const std::lock_guard lock(mutex_);
        const auto entry = entries_.find(handle);
        return entry == entries_.end() ? Owner{} : entry->second.owner;
    }

    /// Whether the handle was live.
    bool remove(Handle handle) {
        std::unique_lock lock(mutex_);
        const auto node = entries_.extract(handle);
        lock.unlock();  // the object is destroyed without the lock
        return !node.empty();
    }

    void removeOwnedBy(Owner owner) {
        const std::lock_guard lock(mutex_);
        std::erase_if(entries_, [owner](const auto& e) { return e.second.owner == owner; });
    }

    std::size_t size() const {
        const std::lock_guard lock(mutex_);
        return entries_.size();
    }

private:
    static Handle nextHandle() {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number, and never followed
        return reinterpret_cast<Handle>(nextHandleNumber());
    }

    struct Entry {
        std::shared_ptr<Object> object;
        Owner owner;
    };

    mutable std::mutex mutex_;
    std::map<Handle, Entry> entries_;
};

}  // namespace brairu::npu
