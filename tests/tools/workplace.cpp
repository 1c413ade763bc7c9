#include "tools/workplace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "support/pgm.h"
#include "support/video.h"

namespace brairu::test {
namespace {

constexpr std::uint64_t kSeed = 0x70015eed;
constexpr int kEnrolmentFrames = 3;
const cv::Size kFrameSize(320, 240);

void redirect(int descriptor, const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ::dup2(file, descriptor);
    ::close(file);
}

[[noreturn]] void execute(const std::vector<std::string>& words) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

}  // namespace

ToolPlace::ToolPlace() {
    std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> config;
    config["database"]["database_path"] = databasePath();
    config["database"]["search_index_path"] = cachePath();
    config["database"]["regis_max_count"] = kEnrolmentFrames;
    config["handpose"]["dynamic_detection_level"] = 0;
}

ToolRun ToolPlace::run(const std::vector<std::string>& arguments) const {
    write("brairu.json", config.dump(4));
    return runAsItIs(joined({"--config", configPath()}, arguments));
}

ToolRun ToolPlace::runAsItIs(const std::vector<std::string>& arguments) const {
    return start(arguments, [] {});
}

// Without root there is nothing to give up.
ToolRun ToolPlace::runWithoutPrivileges(const std::vector<std::string>& arguments) const {
    write("brairu.json", config.dump(4));
    return start(joined({"--config", configPath()}, arguments), [] {
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    });
}

ToolRun ToolPlace::runBeside(const CameraDouble& camera,
                             const std::vector<std::string>& arguments) const {
    const char* const options = std::getenv("ASAN_OPTIONS");
    const std::vector<std::pair<const char*, std::string>> variables{
        {"LD_PRELOAD", BRAIRU_CAMERA_DOUBLE},
        {"ASAN_OPTIONS", std::string(options ? options : "") + ":verify_asan_link_order=0"},
        {"CAMERA_PICTURES", camera.pictures},
        {"CAMERA_FORMAT", camera.format},
        {"CAMERA_BURST", camera.burst},
        {"CAMERA_FAULT", camera.fault}};
    for (const auto& [name, value] : variables) {
        ::setenv(name, value.c_str(), 1);
    }
    const ToolRun result = run(arguments);
    for (const auto& variable : variables) {
        ::unsetenv(variable.first);
    }
    return result;
}

ToolRun ToolPlace::start(const std::vector<std::string>& arguments, void (*prepare)()) const {
    const std::string out = write("stdout", "");
    const std::string err = write("stderr", "");
    const pid_t child = ::fork();
    if (child == 0) {
        redirect(STDOUT_FILENO, out);
        redirect(STDERR_FILENO, err);
        prepare();
        if (::chdir(BRAIRU_SOURCE_DIR) == 0) {
            execute(joined({BRAIRU_TOOL}, arguments));
        }
        ::_exit(126);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(err)};
}

std::vector<std::string> ToolPlace::frames(int person, int firstCapture, int count) const {
    std::vector<std::string> paths;
    for (int capture = firstCapture; capture < firstCapture + count; ++capture) {
        const std::string name = std::to_string(person) + "-" + std::to_string(capture) + ".pgm";
        paths.push_back(picture(name, palmFrame(person, capture)));
    }
    return paths;
}

std::string ToolPlace::greyFrame(const std::string& name) const {
    return picture(name, cv::Mat(kFrameSize, CV_8UC1, cv::Scalar(90)));
}

std::string ToolPlace::video(const std::string& name,
                             const std::vector<std::string>& frames) const {
    std::string pictures;
    for (const std::string& frame : frames) {
        pictures += readFile(frame);
    }
    EXPECT_TRUE(makeVideo(file(name), pictures));
    return file(name);
}

std::string ToolPlace::picture(const std::string& name, const cv::Mat& luma) const {
    const std::string bytes(reinterpret_cast<const char*>(luma.data), luma.total());
    return write(name, pgm(luma.cols, luma.rows, bytes));
}

ToolRun ToolPlace::enrol(int person) const {
    return run(joined({"enrol", "--user", std::to_string(person), "--palm", "0"},
                      frames(person, 0, kEnrolmentFrames)));
}

void ToolPlace::haveEnrolled() const {
    static const ToolPlace first;
    static const ToolRun enrolment = first.enrol(1);
    ASSERT_EQ(enrolment.exitStatus, 0) << enrolment.out << enrolment.err;
    std::filesystem::copy_file(first.databasePath(), databasePath());
    std::filesystem::copy_file(first.cachePath(), cachePath());
}

std::string ToolPlace::ownModel(const std::string& section, const std::string& key) {
    const std::string shipped = config[section][key].get<std::string>();
    const std::string copy =
        write("model-" + key, readFile(std::string(BRAIRU_SOURCE_DIR "/") + shipped));
    config[section][key] = copy;
    return copy;
}

std::vector<std::string> ToolPlace::storeState() const {
    std::vector<std::string> state;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("palms.")) {
            state.push_back(name + ": " + readFile(entry.path().string()));
        }
    }
    std::sort(state.begin(), state.end());
    return state;
}

cv::Mat palmFrame(int person, int capture) {
    const PalmIdentity palm = identityOf(kSeed, person, Hand::left);
    return render(palm, captureOf(kSeed, palm, capture, Scenario::enrolment), kFrameSize).luma;
}

std::vector<std::string> joined(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

}  // namespace brairu::test
