#include "frames/video.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "fault.h"
#include "pipe.h"

namespace brairu::tool {
namespace {

constexpr char kProgram[] = "ffmpeg";

// A file is named as one, so that no colon in its name makes an address of it, and what stands in it
// cannot make ffmpeg reach into a network.
std::vector<std::string> inputOf(const std::string& name) {
    if (isStreamAddress(name)) {
        return {"-i", name};
    }
    return {"-protocol_whitelist", "file", "-i", "file:" + name};
}

// Every frame of the first video track as a grey PGM picture, one after the other.
std::vector<std::string> commandFor(const std::string& name) {
    std::vector<std::string> words{kProgram, "-nostdin", "-loglevel", "error", "-noautorotate"};
    const std::vector<std::string> input = inputOf(name);
    words.insert(words.end(), input.begin(), input.end());
    words.insert(words.end(), {"-map", "0:v:0", "-fps_mode", "passthrough", "-pix_fmt", "gray",
                               "-c:v", "pgm", "-f", "image2pipe", "-"});
    return words;
}

// Where the streams of a process that is to be started go.
class Redirections {
public:
    explicit Redirections(int output) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    }
    ~Redirections() { ::posix_spawn_file_actions_destroy(&actions_); }
    Redirections(const Redirections&) = delete;
    Redirections& operator=(const Redirections&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// 0, or why there is no such process.
int start(std::vector<std::string> words, int output, pid_t& process) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const Redirections redirections(output);
    return ::posix_spawnp(&process, kProgram, redirections.get(), nullptr, arguments.data(),
                          environ);
}

[[noreturn]] void failToStart(const std::string& name, int error) {
    const std::string reason =
        error == ENOENT ? "the program ffmpeg, which reads videos, is not there"
                        : "ffmpeg cannot be started: " + std::generic_category().message(error);
    throw InputFault(name + " cannot be read: " + reason,
                     "Install ffmpeg, or give the frames as a folder of pictures.");
}

// A process of ffmpeg, which ends with this.
class Decoder {
public:
    explicit Decoder(const std::string& name) {
        Pipe pipe;
        if (const int error = start(commandFor(name), pipe.write.get(), process_); error != 0) {
            failToStart(name, error);
        }
        output_.reset(::fdopen(pipe.read.release(), "rb"));
    }
    ~Decoder() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            (void)endedWell();
        }
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    std::FILE* output() const { return output_.get(); }

    // Waits for its end.
    bool endedWell() {
        int status = 0;
        while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        process_ = 0;
        return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
    }

private:
    struct Closing {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };

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
        if (std::ferror(decoder->output()) != 0 || (decoder->endedWell() && number_ > 0)) {
            return;
        }
        throw SourceFault(
            number_ == 0 ? name_ + " cannot be read as a video"
                         : name_ + " cannot be read beyond frame " + std::to_string(number_),
            "See what \"ffmpeg -i\" says of it, or give the frames as a folder of pictures.");
    }

    std::string name_;
    std::unique_ptr<Decoder> decoder_;
    long long number_ = 0;
};

}  // namespace

bool isStreamAddress(const std::string& name) {
    return name.find("://") != std::string::npos;
}

std::unique_ptr<FrameSource> openVideo(const std::string& name) {
    return std::make_unique<Video>(name);
}

}  // namespace brairu::tool
