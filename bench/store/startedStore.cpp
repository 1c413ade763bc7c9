#include "store/startedStore.h"

#include <sys/mman.h>

#include <stdexcept>

#include "silence.h"

namespace brairu::bench {

StartedStore::StartedStore(const StoredPalms& palms) {
    store_.emplace(palms.config()).runStartupPass();
    if (!store_->cache()->isMapped()) {
        throw std::runtime_error("no cache at " + palms.cache());
    }
}

// A store leaves its cache to the end of the process, which here comes late.
StartedStore::~StartedStore() {
    const Silence silence;
    auto* const mapping = const_cast<std::uint8_t*>(store_->cache()->flags());
    const auto size = static_cast<std::size_t>(store_->cache()->fileSize());
    store_.reset();
    ::munmap(mapping, size);
}

}  // namespace brairu::bench
