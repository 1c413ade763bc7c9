#include "commands/newFileReport.h"

#include "report/numbers.h"
#include "store/privateFile.h"

namespace brairu::tool {

void reportNewFile(const NewFile& file, Report& report) {
    report.say(counted(file.palms, "palm") + " in " + file.path +
               ". It holds biometric data: only you may read it");
    Json json{{"result", file.result}, {"file", file.path}, {"palms", file.palms}};
    for (const std::string& leftover : PrivateFile::workingFilesOf(file.path)) {
        report.say(leftover +
                   " is left of a run that was cut, unless one is under way: delete it, it holds "
                   "templates");
        json["leftovers"].push_back(leftover);
    }
    report.conclude(json);
}

}  // namespace brairu::tool
