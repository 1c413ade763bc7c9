#include "surroundings.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <ostream>
#include <stdexcept>

#include "palms.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

constexpr unsigned kLongestLife = 30;
constexpr std::int64_t kNewcomer = 9;

bool ownNameSpace() {
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const CallResults& results) {
    return out << "add " << results.add << ", update " << results.update << ", delete "
               << results.remove << ", wipe " << results.wipe << ", exists " << results.exists
               << ", list " << results.list << ", recognise " << results.recognise << ", enrol "
               << results.enrol << ", set " << results.set;
}

std::int64_t userOf(std::int64_t userid) {
    return recognised(captureOfUser(userid));
}

CallResults callEverything() {
    const PvaUserKey first = keyOfUser(1);
    const PvaUserKey second = keyOfUser(2);
    const PvaUserKey third = keyOfUser(3);
    CallResults results{};
    results.exists = pvaDataBaseExistUser(&first);
    results.list = rowsOfUser(1);
    results.recognise = static_cast<int>(userOf(1));
    results.add = addUser(kNewcomer + 1);
    results.update = pvaDataBaseUpdateUser(&second, templateOfUser(2).data());
    results.remove = pvaDataBaseDeleteUser(&third);
    results.enrol = enrolUser(kNewcomer);
    results.set = static_cast<int>(pvaConfigSetAuthThreshold(0.5f));
    results.wipe = pvaDataBaseDeleteAllPalm();
    return results;
}

Surroundings::Surroundings() {
    folder_.document["database"]["regis_max_count"] = 2;
    folder_.document["handpose"]["dynamic_detection_level"] = 0;
    folder_.writeConfig();
}

void Surroundings::enrolThree() const {
    freshly([this] {
        start();
        for (const std::int64_t user : {1, 2, 3}) {
            EXPECT_EQ(enrolUser(user), PVA_REGISTER_COMMITTED);
        }
    });
}

ChildResult Surroundings::freshly(const std::function<void()>& action) const {
    ChildResult result = inChild([&] {
        ::alarm(kLongestLife);
        action();
    });
    EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
    return result;
}

void Surroundings::expectRecognised(const std::vector<std::int64_t>& users) const {
    freshly([&] {
        EXPECT_EQ(start(), 1u);
        for (const std::int64_t user : users) {
            EXPECT_EQ(userOf(user), user);
        }
    });
}

bool mountMemoryDisk(const std::string& folder, const std::string& size) {
    const std::string options = "size=" + size;
    return ownNameSpace() && ::mount("none", folder.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

bool makeReadOnly(const std::string& folder) {
    return ownNameSpace() &&
           ::mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
           ::mount("none", folder.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
}

bool makeFileReadOnly(const std::string& file) {
    return makeReadOnly(file);
}

bool mayMount() {
    const TemporaryFolder folder;
    const auto trial = [&] { ::_exit(mountMemoryDisk(folder.path(), "1m") ? 0 : 1); };
    return inChild(trial).exitStatus == 0;
}

LockedDatabase::LockedDatabase(const std::string& path) {
    std::array<int, 2> ready{};
    std::array<int, 2> release{};
    if (::pipe(ready.data()) != 0 || ::pipe(release.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    process_ = ::fork();
    if (process_ == 0) {
        ::close(release[1]);
        sqlite3* connection = nullptr;
        sqlite3_open(path.c_str(), &connection);
        const int locked = sqlite3_exec(connection, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr);
        char byte = locked == SQLITE_OK ? 'y' : 'n';
        [[maybe_unused]] ssize_t moved = ::write(ready[1], &byte, 1);
        moved = ::read(release[0], &byte, 1);
        ::_exit(0);
    }
    char byte = 'n';
    const ssize_t moved = ::read(ready[0], &byte, 1);
    ::close(ready[0]);
    ::close(ready[1]);
    ::close(release[0]);
    release_ = release[1];
    if (moved != 1 || byte != 'y') {
        throw std::runtime_error("cannot lock " + path);
    }
}

LockedDatabase::~LockedDatabase() {
    ::close(release_);
    ::waitpid(process_, nullptr, 0);
}

}  // namespace brairu::test
