#include "examination/storeExamination.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "engine/engineSetup.h"
#include "engine/enrolledPalms.h"
#include "engine/temporaryFolder.h"
#include "examination/fileExamination.h"
#include "fault.h"
#include "report/numbers.h"
#include "store/compaction.h"
#include "store/featureCacheFile.h"
#include "store/palmTemplate.h"
#include "store/readOnlyDatabase.h"
#include "store/storeFiles.h"
#include "store/templateBlob.h"

namespace brairu::tool {
namespace {

constexpr char kDatabase[] = "database";
constexpr char kCache[] = "cache";

// What goes through the rows once and counts what is odd.
class RowCensus {
public:
    explicit RowCensus(int centreCount)
        : rowBytes_(static_cast<std::size_t>(centreCount) * kTemplateBytes) {}

    void visit(const StoredPalm& palm) {
        ++palms_;
        otherSizes_ += palm.templates.size() != rowBytes_ ? 1 : 0;
        beyondCache_ += isMirrored(palm.rowId) ? 0 : 1;
        repeated_ += keys_.insert({palm.userid, palm.palmindex}).second ? 0 : 1;
        blank_ += isBlank(palm.templates) ? 1 : 0;
    }

    Findings findings() const {
        Findings found{{Level::fine, kDatabase, counted(palms_, "palm") + " enrolled", ""}};
        add(found, Level::warning, otherSizes_,
            "with templates of another size than " + std::to_string(rowBytes_) + " bytes",
            "The next start of the engine cuts or repeats them to fit: if regis_center_count is a "
            "typing error, set it right before.");
        add(found, Level::warning, beyondCache_, "with a row number outside 1 to 10000",
            "The search does not reach them: \"brairu db compact\" numbers the rows anew.");
        add(found, Level::warning, repeated_, "enrolled again under a number that is in use",
            "Delete the number with \"brairu db delete\" and enrol it once.");
        add(found, Level::warning, blank_, "with templates of zeros",
            "They match nobody: delete and enrol them anew.");
        return found;
    }

private:
    static bool isBlank(std::span<const std::uint8_t> templates) {
        return std::ranges::all_of(templates, [](std::uint8_t byte) { return byte == 0; });
    }

    static void add(Findings& found, Level level, long long count, const std::string& what,
                    const char* advice) {
        if (count > 0) {
            found.push_back({level, kDatabase, counted(count, "palm") + " " + what, advice});
        }
    }

    std::size_t rowBytes_;
    long long palms_ = 0;
    long long otherSizes_ = 0;
    long long beyondCache_ = 0;
    long long repeated_ = 0;
    long long blank_ = 0;
    std::set<std::pair<std::int64_t, std::int32_t>> keys_;
};

bool isFileWithContent(const std::string& path) {
    std::error_code fault;
    const auto size = std::filesystem::file_size(path, fault);
    return !fault && size > 0;
}

Findings examineMissing(const StoreFiles& settings) {
    requireWritableStore(settings.database);
    return {{Level::note, kDatabase, settings.database + " is not there yet",
             "The first start of the engine makes it."}};
}

Findings examineRows(const ReadOnlyDatabase& database, int centreCount) {
    if (!database.hasTable()) {
        return {{Level::note, kDatabase, "it has no table of palms yet",
                 "The first start of the engine makes it."}};
    }
    RowCensus census(centreCount);
    database.visitPalms([&](const StoredPalm& palm) { census.visit(palm); });
    return census.findings();
}

Findings examineIntegrity(const ReadOnlyDatabase& database, const std::string& path) {
    const std::string verdict = database.integrity();
    if (verdict == "ok") {
        return {{Level::fine, kDatabase, path + ": SQLite finds it whole", ""}};
    }
    return {{Level::fault, kDatabase, path + " is damaged: " + verdict,
             "Save what can be read with sqlite3's .recover, or restore a backup: stop the engine, "
             "move the database and its -journal file away, put the backup in place with the owner "
             "and mode of the old file, delete the feature cache, and run \"brairu db check\"."}};
}

Findings examineJournal(const std::string& path) {
    const std::string journal = path + "-journal";
    if (!isFileWithContent(journal)) {
        return {};
    }
    return {{Level::note, kDatabase,
             journal + " is there: a change is under way or was interrupted",
             "The next start of the engine takes an interrupted change back. Keep the two files "
             "together."}};
}

// They hold templates, deleted ones too.
Findings examineLeftovers(const std::string& path) {
    Findings found;
    for (const std::string& leftover : compactionLeftovers(path)) {
        found.push_back({Level::warning, kDatabase,
                         leftover + " is there: a compaction was interrupted",
                         "The store is whole. \"brairu db compact\" removes the file."});
    }
    return found;
}

Findings survivedFault(const Fault& fault) {
    return {{Level::fault, kDatabase, fault.what(), fault.advice()}};
}

Findings examineDatabase(const StoreFiles& settings) {
    Findings found = examineFolder(kDatabase, folderOf(settings.database));
    try {
        if (!isThere(settings.database)) {
            append(found, examineMissing(settings));
            return found;
        }
        append(found, examineFile(kDatabase, settings.database, true));
        append(found, examineJournal(settings.database));
        append(found, examineLeftovers(settings.database));
        requireWritableStore(settings.database);
        const ReadOnlyDatabase database(settings.database);
        append(found, examineIntegrity(database, settings.database));
        append(found, examineRows(database, settings.centreCount));
    } catch (const Fault& fault) {
        append(found, survivedFault(fault));
    }
    return found;
}

// A copy of the cache, looked at with the library's own eyes, which change the size of what they
// open.
class CacheCopy {
public:
    CacheCopy(const std::string& path, int centreCount)
        : copied_(copy(path)),
          file_(folder_.file("palms.bin"), static_cast<std::uint32_t>(kMirroredPalms * centreCount),
                kBlockBytes),
          centreCount_(centreCount) {}

    bool hasRightSize() const { return copied_ && file_.openedSize() == file_.fileSize(); }
    int occupied() const { return file_.count(); }
    bool isMarked() const { return file_.isDoubtful(); }

    // Whether the slots of a palm hold the first block of its templates.
    bool mirrors(const StoredPalm& palm) const {
        for (int index = 0; index < centreCount_; ++index) {
            const auto offset = static_cast<std::size_t>(index) * kTemplateBytes;
            const auto block = signedBytesAt(palm.templates, offset, kBlockBytes);
            if (!file_.holds((palm.rowId - 1) * centreCount_ + index, block)) {
                return false;
            }
        }
        return true;
    }

private:
    bool copy(const std::string& path) const {
        std::error_code fault;
        return std::filesystem::copy_file(path, folder_.file("palms.bin"), fault);
    }

    TemporaryFolder folder_;
    bool copied_;
    FeatureCacheFile file_;
    int centreCount_;
};

struct MirrorCensus {
    long long palms = 0;
    long long differing = 0;
};

MirrorCensus compare(const CacheCopy& cache, const std::string& databasePath) {
    MirrorCensus census;
    if (!isThere(databasePath)) {
        return census;
    }
    const ReadOnlyDatabase database(databasePath);
    if (!database.hasTable()) {
        return census;
    }
    database.visitPalms([&](const StoredPalm& palm) {
        ++census.palms;
        census.differing += isMirrored(palm.rowId) && !cache.mirrors(palm) ? 1 : 0;
    });
    return census;
}

Finding rebuilt(const std::string& why) {
    return {Level::note, kCache, why,
            "The next start of the engine builds it anew from the database."};
}

Findings examineContent(const StoreFiles& settings) {
    const CacheCopy cache(settings.cache, settings.centreCount);
    if (!cache.hasRightSize()) {
        return {rebuilt(settings.cache + " has not the size that regis_center_count asks for")};
    }
    const MirrorCensus census = compare(cache, settings.database);
    const long long expected = census.palms * settings.centreCount;
    if (cache.occupied() != expected) {
        return {rebuilt(settings.cache + " holds " + std::to_string(cache.occupied()) +
                        " templates, the database " + std::to_string(expected))};
    }
    if (census.differing == 0) {
        return {{Level::fine, kCache, settings.cache + " agrees with the database", ""}};
    }
    const std::string what = settings.cache + " holds other templates than the database for " +
                             counted(census.differing, "palm");
    std::error_code ignored;
    if (cache.isMarked() || std::filesystem::exists(settings.changeNote(), ignored)) {
        return {rebuilt(what)};
    }
    return {{Level::fault, kCache, what,
             "The engine does not notice, and takes people for others: stop it, delete " +
                 settings.cache + " and start it again."}};
}

bool hasFault(const Findings& findings) {
    return std::ranges::any_of(findings,
                               [](const Finding& each) { return each.level == Level::fault; });
}

Findings examineCache(const StoreFiles& settings) {
    std::error_code fault;
    if (!std::filesystem::exists(settings.cache, fault) && !fault) {
        return {rebuilt(settings.cache + " is not there")};
    }
    Findings found = examineFile(kCache, settings.cache, true);
    if (!hasFault(found)) {
        append(found, examineContent(settings));
    }
    return found;
}

}  // namespace

Findings examineStore(const ConfigDocument& document) {
    const StoreFiles settings = storeFilesOf(document);
    Findings found = examineDatabase(settings);
    if (!hasFault(found)) {
        append(found, examineCache(settings));
    }
    return found;
}

}  // namespace brairu::tool
