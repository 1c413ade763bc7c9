// What the rows of a store say, without their templates.
#pragma once

#include <cstdint>
#include <vector>

#include "store/readOnlyDatabase.h"
#include "store/storeFiles.h"

namespace brairu::tool {

struct EnrolledRow {
    std::int64_t rowId = 0;
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    std::int64_t learnCount = 0;
    std::size_t templates = 0;

    bool operator<(const EnrolledRow& other) const;
};

// Throws EngineFault when the database is not there.
ReadOnlyDatabase openDatabase(const StoreFiles& files);

// By user, palm and row. A database without a table of palms has none.
std::vector<EnrolledRow> enrolledRows(const ReadOnlyDatabase& database);

}  // namespace brairu::tool
