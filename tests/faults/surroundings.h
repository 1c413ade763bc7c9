// A started engine with enrolled palms, and what may happen around it: disks that are full or
// cannot be written, other processes at its files.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "brairu.h"
#include "palms.h"
#include "support/childProcess.h"
#include "support/engineFolder.h"

namespace brairu::test {

// The exported calls that work on the store, one after another, with what they say.
struct CallResults {
    int add;
    int update;
    int remove;
    int wipe;
    int exists;
    int list;
    int recognise;  // the user, 0 for none
    int enrol;      // the status
    int set;

    bool operator==(const CallResults&) const = default;
};
std::ostream& operator<<(std::ostream& out, const CallResults& results);

// In that order. The palm of user 1 is enrolled; wipe comes last.
CallResults callEverything();
inline constexpr CallResults kAllWell{1, 1, 1, 1, 1, 1, 1, PVA_REGISTER_COMMITTED, 1};
// The store refuses all.
inline constexpr CallResults kAllRefused{0, 0, 0, 0, 0, 0, 0, PVA_REGISTER_FAILED, 1};

// Recognised in a capture of that user's palm; 0 for none.
std::int64_t userOf(std::int64_t userid);

// A folder with an engine's files, some of which a test puts elsewhere or spoils.
class Surroundings {
public:
    Surroundings();

    std::string file(const std::string& name) const { return folder_.file(name); }
    std::string databasePath() const { return file("palms.db"); }
    std::string cachePath() const { return file("palms.bin"); }
    std::string configPath() const { return folder_.configPath(); }
    std::uint32_t start() const { return init_pva(configPath().c_str()); }

    // Enrols the users 1 to 3 in a process of its own.
    void enrolThree() const;
    // Runs an action in a process of its own that ends after 30 seconds at the latest, where every
    // expectation must hold; what it printed.
    ChildResult freshly(const std::function<void()>& action) const;
    // Expects a fresh process to recognise the users.
    void expectRecognised(const std::vector<std::int64_t>& users) const;

    EngineFolder folder_;
};

// Mounts, in a name space of the calling process alone. False where it may not.
bool mountMemoryDisk(const std::string& folder, const std::string& size);
bool makeReadOnly(const std::string& folder);
bool makeFileReadOnly(const std::string& file);
// Whether such mounts are allowed here. Not even root may in most containers.
bool mayMount();

// Another process that holds the database locked as long as the object lives.
class LockedDatabase {
public:
    explicit LockedDatabase(const std::string& path);
    ~LockedDatabase();
    LockedDatabase(const LockedDatabase&) = delete;
    LockedDatabase& operator=(const LockedDatabase&) = delete;

private:
    pid_t process_ = -1;
    int release_ = -1;
};

}  // namespace brairu::test
