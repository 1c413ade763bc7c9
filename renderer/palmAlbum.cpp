#include "renderer/palmAlbum.h"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace brairu {
namespace {

using Progress = std::function<void(int frame, int frames)>;

constexpr std::array kHands{Hand::left, Hand::right};
constexpr char kIndex[] = "index.csv";

const char* sideOf(Hand hand) {
    return hand == Hand::left ? "L" : "R";
}

std::string fileName(const AlbumOptions& options, const std::string& name) {
    return name + "." + options.format;
}

std::string captureName(const AlbumOptions& options, int person, Hand hand, int capture) {
    return fileName(options, std::to_string(person) + sideOf(hand) + "_" + std::to_string(capture));
}

std::string emptyName(const AlbumOptions& options, int number) {
    return fileName(options, "empty_" + std::to_string(number));
}

bool writeBytes(const std::string& path, const cv::Mat& luma) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(luma.data),
               static_cast<std::streamsize>(luma.total()));
    file.close();
    return !file.fail();
}

class Album {
public:
    Album(const AlbumOptions& options, const Progress& progress)
        : options_(options), progress_(progress) {
        std::error_code ignored;
        std::filesystem::create_directories(options.folder, ignored);
        index_.open(options.folder / kIndex);
        index_ << "file,person,hand,capture,left,top,right,bottom";
        for (int i = 0; i < 7; ++i) {
            index_ << ",x" << i << ",y" << i;
        }
        index_ << '\n';
    }

    void addPalm(int person, Hand hand) {
        const PalmIdentity identity = identityOf(options_.seed, person, hand);
        const char* side = sideOf(hand);
        for (int capture = 0; capture < options_.captures; ++capture) {
            const auto conditions = captureOf(options_.seed, identity, capture, options_.scenario);
            const auto frame = render(identity, conditions, options_.size);
            const std::string name = captureName(options_, person, hand, capture);
            write(name, frame);
            index_ << name << ',' << person << ',' << side << ',' << capture;
            describe(frame);
        }
    }

    void addEmpty(int number) {
        const auto frame = renderWithoutPalm(options_.seed, number, options_.size);
        const std::string name = emptyName(options_, number);
        write(name, frame);
        index_ << name << ",,," << number << std::string(18, ',') << '\n';
    }

    void close() {
        index_.close();
        if (index_.fail()) {
            throw std::runtime_error("cannot write " + (options_.folder / kIndex).string());
        }
    }

private:
    void write(const std::string& name, const RenderedFrame& frame) {
        const std::string path = (options_.folder / name).string();
        const bool written =
            options_.format == "raw" ? writeBytes(path, frame.luma) : cv::imwrite(path, frame.luma);
        if (!written) {
            throw std::runtime_error("cannot write " + path);
        }
        progress_(++drawn_, 2 * options_.people * options_.captures + options_.empty);
    }

    void describe(const RenderedFrame& frame) {
        const std::vector<cv::Point2f> points(frame.keyPoints.begin(), frame.keyPoints.end());
        float left = points[0].x;
        float right = left;
        float top = points[0].y;
        float bottom = top;
        for (const cv::Point2f& point : points) {
            left = std::min(left, point.x);
            right = std::max(right, point.x);
            top = std::min(top, point.y);
            bottom = std::max(bottom, point.y);
        }
        index_ << ',' << left << ',' << top << ',' << right << ',' << bottom;
        for (const cv::Point2f& point : points) {
            index_ << ',' << point.x << ',' << point.y;
        }
        index_ << '\n';
    }

    const AlbumOptions& options_;
    const Progress& progress_;
    std::ofstream index_;
    int drawn_ = 0;
};

void visitCaptureFiles(const AlbumOptions& options, int person, const AlbumFileVisitor& visit) {
    for (const Hand hand : kHands) {
        for (int capture = 0; capture < options.captures; ++capture) {
            visit(options.folder / captureName(options, person, hand, capture));
        }
    }
}

}  // namespace

void visitAlbumFiles(const AlbumOptions& options, const AlbumFileVisitor& visit) {
    visit(options.folder / kIndex);
    for (int person = 0; person < options.people; ++person) {
        visitCaptureFiles(options, person, visit);
    }
    for (int number = 0; number < options.empty; ++number) {
        visit(options.folder / emptyName(options, number));
    }
}

void drawAlbum(const AlbumOptions& options, const Progress& progress) {
    Album album(options, progress);
    for (int person = 0; person < options.people; ++person) {
        for (const Hand hand : kHands) {
            album.addPalm(person, hand);
        }
    }
    for (int number = 0; number < options.empty; ++number) {
        album.addEmpty(number);
    }
    album.close();
}

}  // namespace brairu
