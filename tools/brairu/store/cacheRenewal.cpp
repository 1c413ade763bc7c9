#include "store/cacheRenewal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>

#include "engine/enrolledPalms.h"
#include "store/changeNote.h"
#include "store/readOnlyDatabase.h"
#include "store/templateStore.h"
#include "utils/fileDescriptor.h"

namespace brairu::tool {
namespace {

constexpr mode_t kOthersMask = 0077;
constexpr std::uintmax_t kCacheBytesPerTemplate = kMirroredPalms * (1 + kBlockBytes);
constexpr char kLookAtCache[] =
    "The next start of the engine tries again. Look for a full disk and at the rights of the file.";
constexpr char kLookAtCachePath[] =
    "Look at database.search_index_path in the configuration. If it does name the feature cache, "
    "delete the file: the next start of the engine makes it anew.";

bool exists(const std::string& path) {
    std::error_code fault;
    const bool found = std::filesystem::exists(path, fault);
    if (fault) {
        throw EngineFault(path + " cannot be looked at: " + fault.message(),
                          "Run the command as the user that owns it.");
    }
    return found;
}

bool isLaidOutLikeCache(const std::string& path) {
    std::error_code fault;
    if (!std::filesystem::is_regular_file(path, fault)) {
        return false;
    }
    const std::uintmax_t size = std::filesystem::file_size(path, fault);
    return !fault && size % kCacheBytesPerTemplate == 0;
}

bool areOneFile(const std::string& a, const std::string& b) {
    std::error_code ignored;
    return std::filesystem::equivalent(a, b, ignored);
}

bool empty(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    return file.isOpen() && ::ftruncate(file.get(), 0) == 0 && ::fsync(file.get()) == 0;
}

// Whether the library counts as many palms as there are rows that it mirrors.
Ending startOn(const ConfiguredStore& configured) {
    TemplateStore store(configured.document);
    store.runStartupPass();
    const std::string rows =
        ReadOnlyDatabase(configured.files.database)
            .answer("SELECT COUNT(*) FROM userInfo WHERE id BETWEEN 1 AND 10000;")
            .value_or("");
    return rows == std::to_string(store.palmCount()) ? Ending::done : Ending::engineFault;
}

void start(const ConfiguredStore& store, Report& report, bool showLines) {
    const EngineEnd end = runApart([&] { return startOn(store); }, report, showLines);
    if (!end.verdict) {
        throw explainedEnd(end);
    }
    if (*end.verdict != Ending::done) {
        throw EngineFault("the feature cache " + store.files.cache + " could not be built",
                          kLookAtCache);
    }
}

// Of a start whose fault is told together with what came before it.
Ending quietStartOn(const ConfiguredStore& configured) {
    try {
        return startOn(configured);
    } catch (const std::exception& fault) {
        (void)std::fprintf(stderr, "%s\n", fault.what());
        return Ending::engineFault;
    }
}

std::string reasonOf(const EngineEnd& end) {
    if (end.verdict) {
        return "its file or the database cannot be used";
    }
    const int signal = WIFSIGNALED(end.waitStatus) ? WTERMSIG(end.waitStatus) : 0;
    if (signal == SIGINT || signal == SIGTERM) {
        return "the command was stopped";
    }
    return explainedEnd(end).what();
}

EngineFault changedWithoutCache(const StoreFiles& files, const std::string& reason) {
    return {"the change is done, but the feature cache " + files.cache +
                " is not built anew: " + reason,
            "The next start of the engine builds it. Look for a full disk and at the rights of the "
            "file."};
}

EngineEnd endOfRebuild(const ConfiguredStore& store, Report& report, bool showLines) {
    try {
        return runApart([&] { return quietStartOn(store); }, report, showLines);
    } catch (const std::exception& fault) {
        throw changedWithoutCache(store.files, fault.what());
    }
}

}  // namespace

void requireCacheOrNone(const StoreFiles& files) {
    if (areOneFile(files.cache, files.database)) {
        throw EngineFault(
            "the configuration names one file as database and as feature cache: " + files.cache,
            "Name another in database.search_index_path: the cache is written over.");
    }
    if (exists(files.cache) && !isLaidOutLikeCache(files.cache)) {
        throw EngineFault(files.cache + " is no feature cache", kLookAtCachePath);
    }
}

void leaveNote(const StoreFiles& files) {
    if (!exists(files.cache)) {
        return;
    }
    if (!ChangeNote(files.changeNote()).leave()) {
        throw EngineFault(files.changeNote() + " cannot be written",
                          "Look for a full disk, and whose the folder is.");
    }
}

void emptyCache(const StoreFiles& files) {
    if (exists(files.cache) && !empty(files.cache)) {
        throw EngineFault("the feature cache " + files.cache +
                              " cannot be emptied: " + std::generic_category().message(errno),
                          "The database was not changed. Run the command as the user that owns the "
                          "file.");
    }
}

EngineFault unfinishedRebuild(const StoreFiles& files, const EngineEnd& end) {
    return changedWithoutCache(files, reasonOf(end));
}

CacheState rebuildCache(const ConfiguredStore& store, Report& report, bool showLines) {
    std::error_code ignored;
    if (!std::filesystem::exists(store.files.cache, ignored)) {
        return CacheState::missing;
    }
    const EngineEnd end = endOfRebuild(store, report, showLines);
    if (end.verdict != Ending::done) {
        throw unfinishedRebuild(store.files, end);
    }
    return CacheState::rebuilt;
}

void makeStore(const ConfiguredStore& store, Report& report, bool showLines) {
    requireWritableStore(store.files.database);
    requireCacheOrNone(store.files);
    const mode_t before = ::umask(kOthersMask);
    try {
        start(store, report, showLines);
    } catch (...) {
        ::umask(before);
        throw;
    }
    ::umask(before);
}

const char* idOf(CacheState state) {
    return state == CacheState::rebuilt ? "rebuilt" : "made_at_next_start";
}

}  // namespace brairu::tool
