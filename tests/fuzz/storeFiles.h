// The files of a template store, for targets that make one after another.
#pragma once

#include "config/configStore.h"
#include "store/templateStore.h"
#include "support/temporaryFolder.h"

namespace brairu::fuzz {

class StoreFiles {
public:
    // Settings of a store on these files, and of the matching on it.
    ConfigDocument settings(int centres) const;

    std::string databasePath() const { return folder_.file("palms.db"); }
    std::string cachePath() const { return folder_.file("palms.bin"); }

    void writeDatabase(const std::string& bytes) const { folder_.write("palms.db", bytes); }
    void remove() const;

private:
    test::TemporaryFolder folder_;
};

// A store that leaves nothing behind: its mapping would otherwise stay to the end of the process.
class ShortLivedStore {
public:
    explicit ShortLivedStore(const ConfigDocument& settings) : store_(settings) {}
    ~ShortLivedStore();
    ShortLivedStore(const ShortLivedStore&) = delete;
    ShortLivedStore& operator=(const ShortLivedStore&) = delete;

    TemplateStore& operator*() { return store_; }
    TemplateStore* operator->() { return &store_; }

private:
    TemplateStore store_;
};

}  // namespace brairu::fuzz
