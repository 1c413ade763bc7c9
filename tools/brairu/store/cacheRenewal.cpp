#include "store/cacheRenewal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "engine/engineProcess.h"
#include "engine/enrolledPalms.h"
#include "store/changeNote.h"
#include "store/readOnlyDatabase.h"
#include "store/templateStore.h"

namespace brairu::tool {
namespace {

constexpr mode_t kOthersMask = 0077;
constexpr char kLookAtCache[] =
    "The next start of the engine tries again. Look for a full disk and at the rights of the file.";

bool exists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
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

void start(const ConfiguredStore& store, Report& report, bool showLines, const char* failure) {
    const EngineEnd end = runApart([&] { return startOn(store); }, report, showLines);
    if (!end.verdict) {
        throw explainedEnd(end);
    }
    if (*end.verdict != Ending::done) {
        throw EngineFault(failure + store.files.cache + " could not be built", kLookAtCache);
    }
}

}  // namespace

void leaveNote(const StoreFiles& files) {
    if (!exists(files.cache)) {
        return;
    }
    ChangeNote(files.changeNote()).leave();
    if (!exists(files.changeNote())) {
        throw EngineFault(files.changeNote() + " cannot be written",
                          "Look for a full disk, and whose the folder is.");
    }
}

// What cannot be emptied is compared and overwritten by the next start.
void emptyCache(const StoreFiles& files) {
    [[maybe_unused]] const int ignored = ::truncate(files.cache.c_str(), 0);
}

CacheState rebuildCache(const ConfiguredStore& store, Report& report, bool showLines) {
    if (!exists(store.files.cache)) {
        return CacheState::missing;
    }
    start(store, report, showLines, "the change is done, but the feature cache ");
    return CacheState::rebuilt;
}

void makeStore(const ConfiguredStore& store, Report& report, bool showLines) {
    requireWritableStore(store.files.database);
    const mode_t before = ::umask(kOthersMask);
    try {
        start(store, report, showLines, "the feature cache ");
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
