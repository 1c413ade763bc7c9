#include "engineProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace demo {
namespace {

using Document = nlohmann::ordered_json;

Document readDocument(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return Document::parse(file);
}

// Only what an earlier run left may be emptied.
void requireOwnFolder(const DemoFiles& files) {
    const bool used =
        std::filesystem::exists(files.folder) && !std::filesystem::is_empty(files.folder);
    if (used && !std::filesystem::exists(files.engineLog())) {
        throw std::runtime_error(files.folder +
                                 " holds other things than an earlier demonstration");
    }
}

}  // namespace

void writeText(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

void prepareFolder(const DemoFiles& files, const std::string& shippedConfig) {
    Document document = readDocument(shippedConfig);
    requireOwnFolder(files);
    std::filesystem::remove_all(files.folder);
    std::filesystem::create_directories(files.folder + "/tiles");
    document["database"]["database_path"] = files.folder + "/palms.db";
    document["database"]["search_index_path"] = files.folder + "/palms.bin";
    writeText(files.config(), document.dump(4));
}

int runPhase(const std::string& program, const std::string& phase, const DemoFiles& files) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl(program.c_str(), program.c_str(), phase.c_str(), files.folder.c_str(),
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

std::FILE* divertEngineOutput(const DemoFiles& files) {
    std::fflush(stdout);
    std::FILE* terminal = ::fdopen(::dup(STDOUT_FILENO), "w");
    const int log = ::open(files.engineLog().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    if (terminal == nullptr || log < 0) {
        throw std::runtime_error("cannot write " + files.engineLog());
    }
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::close(log);
    return terminal;
}

}  // namespace demo
