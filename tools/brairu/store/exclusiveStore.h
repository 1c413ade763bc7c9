// The database for a change by hand: no engine runs on it, and no other program reads or writes it.
#pragma once

#include <string>

#include "store/sqlite.h"
#include "store/storeFiles.h"

namespace brairu::tool {

class ExclusiveStore {
public:
    // Locks the database. Throws Fault, whose ending is "no", while another process has the store
    // open; throws EngineFault for a store that is not there, is damaged, has palms of another
    // number of templates, or is not this user's to change.
    explicit ExclusiveStore(const StoreFiles& files);

    const SqliteConnection& connection() const { return connection_; }
    const StoreFiles& files() const { return files_; }

    // Processes of which it could not be told whether they have the store open.
    int unseenProcesses() const { return unseen_; }

    // One number out of the database. Throws EngineFault.
    std::int64_t number(const char* sql) const;

    // Throws EngineFault with SQLite's text for the last fault.
    [[noreturn]] void fail(const std::string& what) const;

    // Makes the changes last, and has the next start of the library build the cache anew. Throws
    // EngineFault; the database is as it was then.
    void commit();

private:
    void lock();
    void refuseHolders();
    void requireWhole() const;
    void requireTable() const;
    void requireFittingRows() const;

    StoreFiles files_;
    SqliteConnection connection_;
    int unseen_ = 0;
};

}  // namespace brairu::tool
