#include "engine/enrolledPalms.h"

#include <unistd.h>

#include <filesystem>

#include "brairu.h"
#include "engine/engineSetup.h"
#include "fault.h"

namespace brairu::tool {

std::string folderOf(const std::string& databasePath) {
    const std::string folder = std::filesystem::path(databasePath).parent_path().string();
    return folder.empty() ? "." : folder;
}

void requireEnrolledPalms(const std::string& databasePath) {
    if (pvaDataBaseGetAllPalmCount() == 0) {
        throw Fault(Ending::no, "nobody is enrolled in " + databasePath,
                    "Enrol a palm first: brairu enrol --user 1 --palm 0 FRAME...");
    }
}

void requireWritableStore(const std::string& databasePath) {
    if (databasePath.starts_with("file:")) {
        return;
    }
    const std::string folder = folderOf(databasePath);
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw EngineFault("the folder of the store, " + folder +
                              ", is not there or not yours to "
                              "write to",
                          "Make it, or change database.database_path in the configuration; "
                          "relative paths start at the working directory.");
    }
    if (isThere(databasePath) && ::access(databasePath.c_str(), W_OK) != 0) {
        throw EngineFault("the database " + databasePath + " is not yours to write to",
                          "Run the command as the user that owns it.");
    }
}

}  // namespace brairu::tool
