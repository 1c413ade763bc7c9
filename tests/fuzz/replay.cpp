// Runs a fuzz target without a fuzzer: on every file of the given folders, then on seeded random
// mutations of these files.
//
//   <target> [--mutations=N] [--keep=FOLDER] FILE|FOLDER...
//
// An input that brings the target down is written to the folder to keep it in.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "support/seededRandom.h"
#include "support/temporaryFolder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestInput = 65536;
constexpr std::chrono::seconds kLongestRun{1};

// What the signal handler needs.
std::string runningInput;
std::string keptName = "crash-input";
int report = STDERR_FILENO;
bool finished = false;

void keepInput(int signal) {
    const int fd = ::open(keptName.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    const bool kept = fd >= 0 && ::write(fd, runningInput.data(), runningInput.size()) ==
                                     static_cast<ssize_t>(runningInput.size());
    ::dprintf(report, "signal %d; the input is %sin %s\n", signal, kept ? "" : "NOT ",
              keptName.c_str());
    ::_exit(1);
}

void keepInputOfExit() {
    if (!finished) {
        ::dprintf(report, "the target ended the process\n");
        keepInput(0);
    }
}

void watchForCrashes() {
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV}) {
        std::signal(signal, keepInput);
    }
    std::atexit(keepInputOfExit);
}

struct Tally {
    std::size_t runs = 0;
    std::size_t slow = 0;
};

void runOnce(std::string input, Tally& tally) {
    runningInput = std::move(input);
    const auto begin = std::chrono::steady_clock::now();
    // A block of exactly that size, for tools that look for reads past its end.
    const std::vector<std::uint8_t> bytes(runningInput.begin(), runningInput.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++tally.runs;
    tally.slow += std::chrono::steady_clock::now() - begin > kLongestRun;
}

std::vector<fs::path> filesOf(const std::vector<std::string>& places) {
    std::vector<fs::path> files;
    for (const std::string& place : places) {
        if (!fs::is_directory(place)) {
            files.emplace_back(place);
            continue;
        }
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(place)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    std::ranges::sort(files);
    return files;
}

class Mutator {
public:
    Mutator(brairu::test::SeededRandom& random, const std::vector<std::string>& inputs)
        : random_(random), inputs_(inputs) {}

    std::string next() {
        std::string input = any();
        for (int changes = random_.between(1, 4); changes > 0; --changes) {
            change(input);
        }
        input.resize(std::min(input.size(), kLargestInput));
        return input;
    }

private:
    const std::string& any() { return inputs_[at(inputs_.size() - 1)]; }

    std::size_t at(std::size_t last) {
        return static_cast<std::size_t>(random_.between(0, static_cast<int>(last)));
    }

    void change(std::string& input) {
        if (input.empty()) {
            input = any();
            return;
        }
        const std::size_t place = at(input.size() - 1);
        switch (random_.between(0, 6)) {
            case 0: input[place] = static_cast<char>(random_.byte()); break;
            case 1:
                input[place] = static_cast<char>(input[place] ^ (1 << random_.between(0, 7)));
                break;
            case 2: input.erase(place, at(input.size() - place)); break;
            case 3: input.insert(place, any().substr(0, 64)); break;
            case 4: input.replace(place, 4, edgeNumber()); break;
            case 5: splice(input, place); break;
            default: input.resize(place); break;
        }
    }

    std::string edgeNumber() {
        constexpr std::uint8_t kEdges[] = {0x00, 0x01, 0x7f, 0x80, 0xff};
        std::string number(4, static_cast<char>(kEdges[at(4)]));
        number[at(3)] = static_cast<char>(kEdges[at(4)]);
        return number;
    }

    // Ends the input as another one does.
    void splice(std::string& input, std::size_t place) {
        const std::string& other = any();
        input.resize(place);
        input += other.substr(std::min(place, other.size()));
    }

    brairu::test::SeededRandom& random_;
    const std::vector<std::string>& inputs_;
};

struct Arguments {
    int mutations = 0;
    std::vector<std::string> places;
};

Arguments parsed(int count, char** values) {
    constexpr std::string_view kMutations = "--mutations=";
    constexpr std::string_view kKeep = "--keep=";
    Arguments arguments;
    for (int i = 1; i < count; ++i) {
        const std::string argument = values[i];
        if (argument.starts_with(kMutations)) {
            arguments.mutations = std::stoi(argument.substr(kMutations.size()));
        } else if (argument.starts_with(kKeep)) {
            const fs::path folder = argument.substr(kKeep.size());
            fs::create_directories(folder);
            keptName = folder / (fs::path(values[0]).filename().string() + "-crash");
        } else {
            arguments.places.push_back(argument);
        }
    }
    return arguments;
}

// The library's own lines would drown the report.
void silenceStreams() {
    report = ::dup(STDOUT_FILENO);
    const int nowhere = ::open("/dev/null", O_WRONLY);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    ::close(nowhere);
}

}  // namespace

int main(int count, char** values) {
    const Arguments arguments = parsed(count, values);
    brairu::test::SeededRandom random;
    std::fflush(stdout);
    std::vector<std::string> inputs;
    for (const fs::path& file : filesOf(arguments.places)) {
        inputs.push_back(brairu::test::readFile(file.string()));
    }
    if (inputs.empty()) {
        std::puts("no inputs");
        return 1;
    }
    silenceStreams();
    watchForCrashes();
    Tally tally;
    for (const std::string& input : inputs) {
        runOnce(input, tally);
    }
    Mutator mutator(random, inputs);
    for (int i = 0; i < arguments.mutations; ++i) {
        runOnce(mutator.next(), tally);
    }
    ::dprintf(report, "%zu files and %d mutations: %zu runs, %zu of them over 1 s\n", inputs.size(),
              arguments.mutations, tally.runs, tally.slow);
    finished = true;
    return 0;
}
