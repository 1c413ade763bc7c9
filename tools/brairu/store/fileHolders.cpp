#include "store/fileHolders.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "fault.h"
#include "utils/fileIdentity.h"

namespace brairu::tool {
namespace {

using Path = std::filesystem::path;

constexpr char kMountTable[] = "Mount proc at /proc, for the processes that this command can see.";
constexpr char kBecomeRoot[] =
    "Run the command as root, from whom the mount option hidepid hides nothing.";

struct WantedFile {
    FileIdentity identity;
    std::string path;  // without links
};
using WantedFiles = std::vector<WantedFile>;

WantedFiles wantedFiles(const std::vector<std::string>& paths) {
    WantedFiles files;
    for (const std::string& path : paths) {
        std::error_code ignored;
        if (const auto identity = fileIdentity(path)) {
            files.push_back({*identity, std::filesystem::canonical(path, ignored).string()});
        }
    }
    return files;
}

enum class View { holds, doesNot, denied };

// What has ended or was closed meanwhile holds nothing; of anything else nobody knows.
View viewAfter(const std::error_code& fault) {
    const bool gone = !fault || fault == std::errc::no_such_file_or_directory ||
                      fault == std::errc::no_such_process;
    return gone ? View::doesNot : View::denied;
}

View viewAfterErrno() {
    return viewAfter(std::error_code(errno, std::generic_category()));
}

View viewOfLink(const Path& link, const WantedFiles& files) {
    const auto identity = fileIdentity(link);
    if (!identity) {
        return viewAfterErrno();
    }
    const bool wanted = std::ranges::find(files, identity, &WantedFile::identity) != files.end();
    return wanted ? View::holds : View::doesNot;
}

View viewOfDescriptors(const Path& process, const WantedFiles& files) {
    std::error_code fault;
    View seen = View::doesNot;
    for (std::filesystem::directory_iterator entry(process / "fd", fault), end;
         !fault && entry != end; entry.increment(fault)) {
        const View link = viewOfLink(entry->path(), files);
        if (link == View::holds) {
            return link;
        }
        seen = link == View::denied ? link : seen;
    }
    return seen == View::denied ? seen : viewAfter(fault);
}

bool isNamed(const std::string& mapping, const WantedFiles& files) {
    return std::ranges::any_of(
        files, [&](const WantedFile& file) { return mapping.ends_with(" " + file.path); });
}

// A mapping outlives its descriptor.
View viewOfMappings(const Path& process, const WantedFiles& files) {
    errno = 0;
    std::ifstream maps(process / "maps");
    if (!maps.is_open()) {
        return viewAfterErrno();
    }
    for (std::string line; std::getline(maps, line);) {
        if (isNamed(line, files)) {
            return View::holds;
        }
    }
    return maps.bad() ? viewAfterErrno() : View::doesNot;
}

View viewOf(const Path& process, const WantedFiles& files) {
    const View descriptors = viewOfDescriptors(process, files);
    const View mappings = viewOfMappings(process, files);
    for (const View view : {View::holds, View::denied}) {
        if (descriptors == view || mappings == view) {
            return view;
        }
    }
    return View::doesNot;
}

std::string nameOf(const Path& process) {
    std::ifstream file(process / "comm");
    std::string name;
    std::getline(file, name);
    return name + " (" + process.filename().string() + ")";
}

bool isProcess(const Path& path) {
    return std::ranges::all_of(path.filename().string(),
                               [](unsigned char c) { return std::isdigit(c); });
}

[[noreturn]] void cannotTell(const Path& table, const std::string& why, const char* advice) {
    throw EngineFault("whether an engine is running cannot be told: " + table.string() + " " + why,
                      advice);
}

std::vector<Path> everyProcess(const Path& table) {
    std::vector<Path> processes;
    std::error_code fault;
    for (std::filesystem::directory_iterator entry(table, fault), end; !fault && entry != end;
         entry.increment(fault)) {
        if (isProcess(entry->path())) {
            processes.push_back(entry->path());
        }
    }
    if (fault) {
        cannotTell(table, "cannot be read: " + fault.message(), kMountTable);
    }
    return processes;
}

bool isAmong(const std::vector<Path>& processes, const Path& process) {
    return std::ranges::find(processes, process) != processes.end();
}

// The first process is always there. Where it is not seen, those of other users are hidden, and not
// even their number is known.
std::vector<Path> otherProcesses(const Path& table) {
    std::vector<Path> processes = everyProcess(table);
    const Path own = table / std::to_string(::getpid());
    if (!isAmong(processes, own)) {
        cannotTell(table, "does not list this command", kMountTable);
    }
    if (!isAmong(processes, table / "1")) {
        cannotTell(table, "hides the processes of other users", kBecomeRoot);
    }
    std::erase(processes, own);
    return processes;
}

}  // namespace

FileHolders holdersOf(const std::vector<std::string>& paths, const Path& processes) {
    const WantedFiles files = wantedFiles(paths);
    FileHolders holders;
    for (const Path& process : otherProcesses(processes)) {
        const View view = viewOf(process, files);
        holders.unseen += view == View::denied ? 1 : 0;
        if (view == View::holds) {
            holders.processes.push_back(nameOf(process));
        }
    }
    return holders;
}

std::string remarkOnUnseen(int processes) {
    return std::to_string(processes) + (processes == 1 ? " process" : " processes") +
           " could not be looked into: if an engine is among them, start it anew";
}

}  // namespace brairu::tool
