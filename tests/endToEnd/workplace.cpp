#include "endToEnd/workplace.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace brairu::test {
namespace {

constexpr std::uint64_t kPeopleSeed = 0xe2e5eed1;
constexpr std::uint64_t kCaptureSeed = 0xe2e5eed2;
constexpr int kEnrolmentFrames = 14;
constexpr int kProbeFrames = 5;
constexpr int kFirstProbe = 500;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void execute(const std::vector<std::string>& words, const std::string& outputPath) {
    const int output = ::open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    if (::chdir(BRAIRU_SOURCE_DIR) != 0) {
        ::_exit(126);
    }
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

int userOf(int person) {
    return 100 + person;
}

int palmOf(Hand hand) {
    return hand == Hand::left ? 0 : 1;
}

}  // namespace

Workplace::Workplace() {
    std::ifstream shipped(BRAIRU_SOURCE_DIR "/config/brairu.json");
    shipped >> config;
    config["database"]["database_path"] = file("palms.db");
    config["database"]["search_index_path"] = file("palms.bin");
}

void Workplace::writeConfig() const {
    folder_.write("brairu.json", config.dump(4));
}

HostRun Workplace::host(const std::vector<std::string>& command, cv::Size size) const {
    writeConfig();
    std::vector<std::string> words{BRAIRU_HOST, configPath(), std::to_string(size.width),
                                   std::to_string(size.height)};
    words.insert(words.end(), command.begin(), command.end());
    const std::string results = folder_.write("results", "");
    const std::string output = file("output");
    const pid_t child = ::fork();
    if (child == 0) {
        ::setenv("RESULT", results.c_str(), 1);
        execute(words, output);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, linesOf(readFile(results)),
            readFile(output)};
}

std::vector<std::string> Workplace::frames(int person, Hand hand, int firstCapture, int count,
                                           cv::Size size) const {
    const PalmIdentity palm = identityOf(kPeopleSeed, person, hand);
    std::vector<std::string> paths;
    for (int capture = firstCapture; capture < firstCapture + count; ++capture) {
        const CaptureConditions conditions =
            captureOf(kCaptureSeed, palm, capture, Scenario::enrolment);
        paths.push_back(
            frame("frame" + std::to_string(capture), render(palm, conditions, size).luma));
    }
    return paths;
}

std::string Workplace::frame(const std::string& name, const cv::Mat& luma) const {
    return folder_.write(name, {reinterpret_cast<const char*>(luma.data), luma.total()});
}

HostRun Workplace::enrol(int person, Hand hand) const {
    std::vector<std::string> command = keyOf("enrol", person, hand);
    for (const std::string& path : frames(person, hand, 0, kEnrolmentFrames)) {
        command.push_back(path);
    }
    return host(command);
}

HostRun Workplace::identify(int person, Hand hand) const {
    std::vector<std::string> command{"identify"};
    for (const std::string& path : frames(person, hand, kFirstProbe, kProbeFrames)) {
        command.push_back(path);
    }
    return host(command);
}

std::string Workplace::ownModel(const std::string& section, const std::string& key) {
    const std::string shipped = config[section][key].get<std::string>();
    const std::string copy =
        folder_.write("model-" + key, readFile(std::string(BRAIRU_SOURCE_DIR) + "/" + shipped));
    config[section][key] = copy;
    return copy;
}

std::vector<std::string> keyOf(const std::string& command, int person, Hand hand) {
    return {command, std::to_string(userOf(person)), std::to_string(palmOf(hand))};
}

std::string recognisedLine(int person, Hand hand) {
    return "user " + std::to_string(userOf(person)) + " palm " + std::to_string(palmOf(hand));
}

}  // namespace brairu::test
