#include "commands/storeChangeReport.h"

namespace brairu::tool {

Ending changeStore(const ConfiguredStore& configured, const Settings& settings, Report& report,
                   const std::function<StoreChange(ExclusiveStore&)>& change) {
    StoreChange done;
    int unseen = 0;
    {
        ExclusiveStore store(configured.files);
        unseen = store.unseenProcesses();
        done = change(store);
    }
    done.json["unseen_processes"] = unseen;
    done.json["cache"] = idOf(rebuildCache(configured, report, settings.verbose));
    report.say(done.message);
    if (unseen > 0) {
        report.say(std::to_string(unseen) + (unseen == 1 ? " process" : " processes") +
                   " of other users could not be looked into: if an engine is among them, start "
                   "it anew");
    }
    report.conclude(done.json);
    return Ending::done;
}

}  // namespace brairu::tool
