#include "imageConverter.h"

#include <gmock/gmock.h>

#include <cmath>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "npuSession.h"

namespace brairu::npu {
namespace {

cv::Mat gradient(int width, int height) {
    cv::Mat image(height, width, CV_8UC1);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image.at<std::uint8_t>(y, x) = cv::saturate_cast<std::uint8_t>(3 * x + 5 * y);
        }
    }
    return image;
}

TwoPlaneFrame grey(const cv::Mat& luma) {
    return {luma, cv::Mat(luma.rows / 2, luma.cols / 2, CV_8UC2, cv::Scalar(128, 128))};
}

bool same(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_L1) == 0.0;
}

TEST(ImageConverter, PassesTheLumaOnUnchangedToOneChannel) {
    const cv::Mat luma = gradient(16, 12);
    cv::Mat planes(12, 16, CV_8UC1);
    convertFrame(grey(luma), 1, planes);
    EXPECT_TRUE(same(planes, luma));
}

TEST(ImageConverter, HonoursThePitchOfItsPlanes) {
    const cv::Mat wide = gradient(40, 12);
    const cv::Mat luma = wide.colRange(0, 16);
    cv::Mat planes(12, 16, CV_8UC1);
    convertFrame(grey(luma), 1, planes);
    EXPECT_TRUE(same(planes, luma));
}

TEST(ImageConverter, ScalesBilinearlyToTheTensor) {
    const cv::Mat luma = gradient(16, 12);
    cv::Mat planes(30, 24, CV_8UC1);
    convertFrame(grey(luma), 1, planes);
    cv::Mat expected;
    cv::resize(luma, expected, cv::Size(24, 30), 0, 0, cv::INTER_LINEAR);
    EXPECT_TRUE(same(planes, expected));
}

TEST(ImageConverter, WritesIntoTheMemoryItIsGiven) {
    std::vector<std::uint8_t> memory(16 * 12 * 3);
    cv::Mat planes(36, 16, CV_8UC1, memory.data());
    convertFrame(grey(gradient(16, 12)), 3, planes);
    EXPECT_EQ(planes.data, memory.data());
    EXPECT_NE(std::accumulate(memory.begin(), memory.end(), 0), 0);
}

/// The three planes of one uniform colour, as red, green, blue.
std::vector<int> converted(int y, int u, int v, int side = 4) {
    const TwoPlaneFrame frame{cv::Mat(side, side, CV_8UC1, cv::Scalar(y)),
                              cv::Mat(side / 2, side / 2, CV_8UC2, cv::Scalar(u, v))};
    cv::Mat planes(3 * side, side, CV_8UC1);
    convertFrame(frame, 3, planes);
    std::vector<int> colour;
    for (int plane = 0; plane < 3; ++plane) {
        const int corner = planes.at<std::uint8_t>(plane * side, 0);
        EXPECT_EQ(planes.at<std::uint8_t>(plane * side + side - 1, side - 1), corner);
        colour.push_back(corner);
    }
    return colour;
}

TEST(ImageConverter, MapsStudioRangeGreyToFullRange) {
    EXPECT_EQ(converted(16, 128, 128), (std::vector{0, 0, 0}));
    EXPECT_EQ(converted(235, 128, 128), (std::vector{255, 255, 255}));
    EXPECT_EQ(converted(126, 128, 128), (std::vector{128, 128, 128}));
}

TEST(ImageConverter, ClampsOutsideStudioRange) {
    EXPECT_EQ(converted(0, 128, 128), (std::vector{0, 0, 0}));
    EXPECT_EQ(converted(255, 128, 128), (std::vector{255, 255, 255}));
}

TEST(ImageConverter, MapsPrimariesToPlanesInRedGreenBlueOrder) {
    EXPECT_EQ(converted(82, 90, 240), (std::vector{255, 1, 0}));
    EXPECT_EQ(converted(145, 54, 34), (std::vector{0, 255, 1}));
    EXPECT_EQ(converted(41, 240, 110), (std::vector{0, 0, 255}));
}

TEST(ImageConverter, AgreesWithTheRealFormulaEverywhere) {
    for (int y = 0; y < 256; y += 15) {
        for (int u = 0; u < 256; u += 15) {
            for (int v = 0; v < 256; v += 15) {
                const double c = 255.0 / 219.0 * (y - 16);
                const double d = 255.0 / 224.0 * (u - 128);
                const double e = 255.0 / 224.0 * (v - 128);
                const std::vector<double> exact = {c + 1.402 * e, c - 0.344136 * d - 0.714136 * e,
                                                   c + 1.772 * d};
                const std::vector<int> got = converted(y, u, v, 2);
                for (std::size_t i = 0; i < 3; ++i) {
                    ASSERT_NEAR(got[i], std::clamp(exact[i], 0.0, 255.0), 1.2)
                        << y << ' ' << u << ' ' << v;
                }
            }
        }
    }
}

TEST(ImageConverter, ServesOddSidesWithTheLastChroma) {
    const TwoPlaneFrame frame{cv::Mat(5, 7, CV_8UC1, cv::Scalar(126)),
                              cv::Mat(2, 3, CV_8UC2, cv::Scalar(90, 240))};
    cv::Mat planes(15, 7, CV_8UC1);
    convertFrame(frame, 3, planes);
    for (int plane = 0; plane < 3; ++plane) {
        EXPECT_EQ(planes.at<std::uint8_t>(5 * plane + 4, 6), planes.at<std::uint8_t>(5 * plane, 0));
    }
}

TEST(ImageConverter, TakesAFrameWithoutChromaAsGrey) {
    const TwoPlaneFrame frame{cv::Mat(1, 1, CV_8UC1, cv::Scalar(235)), cv::Mat()};
    cv::Mat planes(3, 1, CV_8UC1);
    convertFrame(frame, 3, planes);
    EXPECT_TRUE(same(planes, cv::Mat(3, 1, CV_8UC1, cv::Scalar(255))));
}

/// The converter as the stack offers it: a frame in device memory, a tensor.
class ImageConvertDeviceProcessTest : public testing::Test {
protected:
    void SetUp() override { makeTensor({8, 6, 1}); }

    void makeTensor(const std::array<std::uint32_t, 3>& dims) {
        if (tensor != nullptr) {
            vxReleaseTensor(&tensor);
            vxFreeDeviceMemory(context, tensorMemory);
        }
        tensorMemory = AllocateTensorDeviceMemory(context, dims.data(), 1);
        tensor = CreateTensorFromHandle(context, dims.data(), 1, tensorMemory);
    }

    void TearDown() override {
        EXPECT_EQ(vxReleaseTensor(&tensor), VX_SUCCESS);
        EXPECT_EQ(vxFreeDeviceMemory(context, tensorMemory), VX_SUCCESS);
        EXPECT_EQ(vxFreeDeviceMemory(context, frame), VX_SUCCESS);
        EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
    }

    vx_status convert() {
        return ImageConvertDeviceProcess(context, &image, tensor, image.strideUV);
    }

    vx_context context = vxCreateContext();
    vx_device_memory frame = vxAllocateDeviceMemory(context, 8 * 6 * 3 / 2);
    std::uint32_t physical = vxGetDeviceMemoryPhysicalAddress(frame);
    NetTensorMemory tensorMemory = nullptr;
    vx_tensor tensor = nullptr;
    NpuImageDescriptor image = {8, 6, 8, 8, 2, physical, physical + 48, 0, 0, 8, 6};
};

TEST_F(ImageConvertDeviceProcessTest, FillsTheTensorFromDeviceMemory) {
    auto* bytes = static_cast<std::uint8_t*>(vxGetDeviceMemoryVirtualAddress(frame));
    std::iota(bytes, bytes + 72, std::uint8_t{100});
    ASSERT_EQ(convert(), VX_SUCCESS);
    const std::uint8_t* data = nullptr;
    ASSERT_EQ(vxQueryTensor(tensor, VX_TENSOR_DATA_ADDRESS, &data, sizeof data), VX_SUCCESS);
    EXPECT_TRUE(std::equal(data, data + 48, bytes));
}

TEST_F(ImageConvertDeviceProcessTest, TakesOddSidesWithTheChromaPitchOfTheWidth) {
    image = {7, 5, 7, 7, 2, physical, physical + 35, 0, 0, 7, 5};
    EXPECT_EQ(convert(), VX_SUCCESS);
}

TEST_F(ImageConvertDeviceProcessTest, RefusesPlanesOutsideDeviceMemory) {
    image.physicalUV = physical + 49;
    EXPECT_EQ(convert(), VX_FAILURE);
    image.physicalUV = physical + 48;
    image.physicalY = physical + 25;
    EXPECT_EQ(convert(), VX_FAILURE);
    image.physicalY = 0;
    EXPECT_EQ(convert(), VX_FAILURE);
    image.physicalY = physical;
    EXPECT_EQ(convert(), VX_SUCCESS);
}

TEST_F(ImageConvertDeviceProcessTest, RefusesImpossibleDescriptions) {
    const NpuImageDescriptor good = image;
    const std::vector<std::pair<std::int32_t NpuImageDescriptor::*, std::int32_t>> spoils = {
        {&NpuImageDescriptor::width, 0},           {&NpuImageDescriptor::width, -8},
        {&NpuImageDescriptor::height, 0},          {&NpuImageDescriptor::height, INT32_MIN},
        {&NpuImageDescriptor::height, 10},         {&NpuImageDescriptor::strideY, 7},
        {&NpuImageDescriptor::strideY, INT32_MAX}, {&NpuImageDescriptor::strideUV, 7},
        {&NpuImageDescriptor::strideUV, -1},       {&NpuImageDescriptor::format, 1},
        {&NpuImageDescriptor::outputWidth, 0},     {&NpuImageDescriptor::outputHeight, -1},
        {&NpuImageDescriptor::width, INT32_MAX}};
    for (const auto& [field, value] : spoils) {
        image = good;
        image.*field = value;
        EXPECT_EQ(convert(), VX_FAILURE) << value;
    }
    image = good;
    EXPECT_EQ(convert(), VX_SUCCESS);
}

TEST_F(ImageConvertDeviceProcessTest, RefusesAChromaPitchThatDiffersFromTheDescription) {
    EXPECT_EQ(ImageConvertDeviceProcess(context, &image, tensor, 10), VX_FAILURE);
}

TEST_F(ImageConvertDeviceProcessTest, RefusesNullsAndTensorsOfOtherChannelCounts) {
    EXPECT_EQ(ImageConvertDeviceProcess(context, nullptr, tensor, 8), VX_FAILURE);
    EXPECT_EQ(ImageConvertDeviceProcess(context, &image, nullptr, 8), VX_FAILURE);
    EXPECT_EQ(ImageConvertDeviceProcess(nullptr, &image, tensor, 8), VX_FAILURE);
    makeTensor({8, 6, 2});
    EXPECT_EQ(convert(), VX_FAILURE);
    makeTensor({8, 6, 3});
    EXPECT_EQ(convert(), VX_SUCCESS);
}

TEST_F(ImageConvertDeviceProcessTest, RefusesATensorWhoseMemoryWasFreed) {
    vxFreeDeviceMemory(context, tensorMemory);
    EXPECT_EQ(convert(), VX_FAILURE);
    vxReleaseTensor(&tensor);
    makeTensor({8, 6, 1});
}

}  // namespace
}  // namespace brairu::npu
