#pragma once

#include <optional>

#include "store/storedPalms.h"
#include "store/templateStore.h"

namespace brairu::bench {

// A store as a start of the engine leaves it. It ends without a word.
class StartedStore {
public:
    explicit StartedStore(const StoredPalms& palms);
    ~StartedStore();
    StartedStore(const StartedStore&) = delete;
    StartedStore& operator=(const StartedStore&) = delete;

    TemplateStore& get() { return *store_; }

private:
    std::optional<TemplateStore> store_;
};

}  // namespace brairu::bench
