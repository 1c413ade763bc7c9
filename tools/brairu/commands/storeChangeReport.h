// What the commands that change a store have in common.
#pragma once

#include <functional>

#include "report/report.h"
#include "store/cacheRenewal.h"
#include "store/exclusiveStore.h"

namespace brairu::tool {

struct StoreChange {
    std::string message;
    Json json;
};

// Changes the store while no engine runs on it, has the library build its cache anew, and reports.
// change commits what it does.
Ending changeStore(const ConfiguredStore& configured, const Settings& settings, Report& report,
                   const std::function<StoreChange(ExclusiveStore&)>& change);

}  // namespace brairu::tool
