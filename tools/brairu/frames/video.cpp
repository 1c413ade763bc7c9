#include "frames/video.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <system_error>
#include <vector>

#include "childProcess.h"
#include "fault.h"

namespace brairu::tool {
namespace {

constexpr char kProgram[] = "ffmpeg";

// Every frame of the first video track as a grey PGM picture, one after the other. The file is named
// as one, so that no colon in its name makes an address of it, and what stands in it cannot make
// ffmpeg reach into a network. Grey stays as it is: it is not stretched from a narrow range to a
// full one. When frames were taken is left out: ffmpeg would complain about times that are too near.
std::vector<std::string> commandFor(const std::string& name) {
    return {kProgram,
            "-nostdin",
            "-loglevel",
            "error",
            "-noautorotate",
            "-protocol_whitelist",
            "file",
            "-i",
            "file:" + name,
            "-map",
            "0:v:0",
            "-vf",
            "scale=in_range=full:out_range=full,setpts=N/TB",
            "-fps_mode",
            "passthrough",
            "-pix_fmt",
            "gray",
            "-c:v",
            "pgm",
            "-f",
            "image2pipe",
            "-"};
}

// What a process is started with: where its streams go, and a process group of its own, which no key
// of the terminal stops.
class Surroundings {
public:
    Surroundings(int output, int faults) {
        ::posix_spawn_file_actions_init(&streams_);
        ::posix_spawn_file_actions_addopen(&streams_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&streams_, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&streams_, faults, STDERR_FILENO);
        ::posix_spawnattr_init(&group_);
        ::posix_spawnattr_setflags(&group_, POSIX_SPAWN_SETPGROUP);
    }
    ~Surroundings() {
        ::posix_spawn_file_actions_destroy(&streams_);
        ::posix_spawnattr_destroy(&group_);
    }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    const posix_spawn_file_actions_t* streams() const { return &streams_; }
    const posix_spawnattr_t* group() const { return &group_; }

private:
    posix_spawn_file_actions_t streams_{};
    posix_spawnattr_t group_{};
};

// 0, or why there is no such process.
int start(std::vector<std::string> words, const Surroundings& around, pid_t& process) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return ::posix_spawnp(&process, kProgram, around.streams(), around.group(), arguments.data(),
                          environ);
}

[[noreturn]] void failToStart(const std::string& name, int error) {
    const std::string reason =
        error == ENOENT ? "the program ffmpeg, which reads videos, is not there"
                        : "ffmpeg cannot be started: " + std::generic_category().message(error);
    throw InputFault(name + " cannot be read: " + reason,
                     "Install ffmpeg, or give the frames as a folder of pictures.");
}

// The first of the lines that ffmpeg has written there, without the part of ffmpeg or the file that
// it begins with.
std::string firstLine(int faults, const std::string& name) {
    std::array<char, 512> text{};
    const ssize_t bytes = ::pread(faults, text.data(), text.size(), 0);
    std::string line(text.data(), bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
    line.erase(std::min(line.find('\n'), line.size()));
    for (const std::string& end : {std::string("] "), name + ": "}) {
        const std::size_t at = line.find(end);
        line.erase(0, at == std::string::npos ? 0 : at + end.size());
    }
    return line;
}

// A process of ffmpeg, which ends with this.
class Decoder {
public:
    explicit Decoder(const std::string& name) : faults_(::memfd_create(kProgram, MFD_CLOEXEC)) {
        Pipe pipe;
        const Surroundings around(pipe.write.get(), faults_.get());
        if (const int error = start(commandFor(name), around, process_); error != 0) {
            failToStart(name, error);
        }
        output_.reset(::fdopen(pipe.read.release(), "rb"));
    }
    ~Decoder() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            (void)waitFor(process_);
        }
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    std::FILE* output() const { return output_.get(); }

    // Waits for its end. Nothing where it has nothing to complain about.
    std::optional<std::string> fault(const std::string& name) {
        const int status = waitFor(process_);
        process_ = 0;
        const std::string line = firstLine(faults_.get(), name);
        if (!line.empty()) {
            return line;
        }
        const bool well = WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
        return well ? std::nullopt : std::optional<std::string>("ffmpeg failed");
    }

private:
    struct Closing {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };

    FileDescriptor faults_;
    pid_t process_ = 0;
    std::unique_ptr<std::FILE, Closing> output_;
};

// Empty at the end, and where the picture ends too early.
cv::Mat nextPicture(std::FILE* stream) {
    int width = 0;
    int height = 0;
    // The one letter behind the largest grey parts it from the first pixel.
    if (std::fscanf(stream, "P5 %d %d 255%*c", &width, &height) != 2) {
        return {};
    }
    cv::Mat luma(height, width, CV_8UC1);
    return std::fread(luma.data, 1, luma.total(), stream) == luma.total() ? luma : cv::Mat();
}

class Video : public FrameSource {
public:
    explicit Video(const std::string& name)
        : name_(name), decoder_(std::make_unique<Decoder>(name)) {}

    std::optional<Frame> next() override {
        if (!decoder_) {
            return std::nullopt;
        }
        const cv::Mat luma = nextPicture(decoder_->output());
        if (luma.empty()) {
            end();
            return std::nullopt;
        }
        return Frame{name_ + " #" + std::to_string(++number_), luma};
    }

private:
    // A read that a signal broke off ends the video as well.
    void end() {
        const std::unique_ptr<Decoder> decoder = std::move(decoder_);
        if (std::ferror(decoder->output()) != 0) {
            return;
        }
        if (const std::optional<std::string> fault = decoder->fault(name_)) {
            fail(*fault);
        }
        if (number_ == 0) {
            fail("it has no frames");
        }
    }

    [[noreturn]] void fail(const std::string& reason) const {
        throw SourceFault(
            name_ +
                (number_ == 0 ? " cannot be read as a video: "
                              : " has a fault, and gave " + std::to_string(number_) + " frames: ") +
                reason,
            "Give a whole video, or the frames as a folder of pictures.");
    }

    std::string name_;
    std::unique_ptr<Decoder> decoder_;
    long long number_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openVideo(const std::string& name) {
    return std::make_unique<Video>(name);
}

}  // namespace brairu::tool
