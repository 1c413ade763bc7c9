#include "capture/imageCalls.h"

#include <benchmark/benchmark.h>

#include <opencv2/imgproc.hpp>

namespace brairu::bench {
namespace {

const cv::Size kInput(128, 128);
const cv::Size kCrop(192, 192);
const cv::Rect kRegionA(24, 24, 144, 144);
const cv::Rect kRegionB(39, 39, 115, 115);

void meansOfQuarters(const cv::Mat& region) {
    const cv::Size quarter = region.size() / 2;
    for (const int y : {0, quarter.height}) {
        for (const int x : {0, quarter.width}) {
            benchmark::DoNotOptimize(cv::mean(region(cv::Rect({x, y}, quarter))));
        }
    }
}

}  // namespace

// The first round takes the memory.
ImageCalls::ImageCalls(const FoundPalm& palm) : palm_(palm) {
    all();
}

void ImageCalls::all() {
    scaleToInput();
    cutCrop();
    turnCrop();
    cutRegions();
    judge();
    makeFrames();
}

void ImageCalls::shared() {
    scaleToInput();
    cutCrop();
    turnCrop();
    cutRegions();
    measureBrightness();
}

void ImageCalls::scaleToInput() {
    cv::resize(palm_.frame, input_, kInput, 0, 0, cv::INTER_NEAREST);
}

void ImageCalls::cutCrop() {
    cv::resize(palm_.frame(palm_.rectangle), crop_, kCrop, 0, 0, cv::INTER_LINEAR);
}

void ImageCalls::turnCrop() {
    const cv::Point centre(kCrop.width / 2, kCrop.height / 2);
    cv::warpAffine(crop_, turned_, cv::getRotationMatrix2D(centre, palm_.angle, 1.0), kCrop);
}

void ImageCalls::cutRegions() {
    cv::resize(turned_(kRegionA), regionA_, kInput, 0, 0, cv::INTER_LINEAR);
    cv::resize(turned_(kRegionB), regionB_, kInput, 0, 0, cv::INTER_LINEAR);
    cv::resize(turned_, whole_, kInput, 0, 0, cv::INTER_LINEAR);
}

void ImageCalls::measureBrightness() {
    meansOfQuarters(regionB_);
    meansOfQuarters(regionA_);
}

void ImageCalls::judge() {
    measureBrightness();
    cv::Laplacian(regionA_, laplacian_, CV_32F);
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(laplacian_, mean, deviation);
    benchmark::DoNotOptimize(deviation);
}

void ImageCalls::makeFrames() {
    makeFrame(whole_);
    makeFrame(regionA_);
    makeFrame(regionB_);
}

void ImageCalls::makeFrame(const cv::Mat& grey) {
    cv::cvtColor(grey, colour_, cv::COLOR_GRAY2BGR);
    cv::cvtColor(colour_, frame_, cv::COLOR_BGR2YUV_I420);
}

}  // namespace brairu::bench
