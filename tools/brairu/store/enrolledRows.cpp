#include "store/enrolledRows.h"

#include <algorithm>
#include <tuple>

#include "engine/engineSetup.h"
#include "fault.h"

namespace brairu::tool {

bool EnrolledRow::operator<(const EnrolledRow& other) const {
    return std::tie(userid, palmindex, rowId) <
           std::tie(other.userid, other.palmindex, other.rowId);
}

ReadOnlyDatabase openDatabase(const StoreFiles& files) {
    if (!isThere(files.database)) {
        throw EngineFault("the database " + files.database + " is not there",
                          "The first start of the engine makes it. Or look at "
                          "database.database_path in the configuration; relative paths start at "
                          "the working directory.");
    }
    return ReadOnlyDatabase(files.database);
}

std::vector<EnrolledRow> enrolledRows(const ReadOnlyDatabase& database) {
    std::vector<EnrolledRow> rows;
    if (database.hasTable()) {
        database.visitRows([&](const StoredPalm& palm, std::size_t templateBytes) {
            rows.push_back({palm.rowId, palm.userid, palm.palmindex, palm.learnCount,
                            templateBytes / kTemplateBytes});
        });
    }
    std::ranges::sort(rows, [](const EnrolledRow& a, const EnrolledRow& b) { return a < b; });
    return rows;
}

}  // namespace brairu::tool
