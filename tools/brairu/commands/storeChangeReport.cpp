#include "commands/storeChangeReport.h"

#include "store/fileHolders.h"

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
        report.say(remarkOnUnseen(unseen));
    }
    report.conclude(done.json);
    return Ending::done;
}

}  // namespace brairu::tool
