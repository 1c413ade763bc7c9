#include <gmock/gmock.h>

#include <atomic>
#include <opencv2/core/utility.hpp>
#include <thread>
#include <vector>

#include "npuSession.h"
#include "threadScope.h"

namespace brairu::test {
namespace {

class HostThreads : public testing::Test {
protected:
    void SetUp() override { cv::setNumThreads(3); }
    void TearDown() override { cv::setNumThreads(-1); }
};

TEST_F(HostThreads, AreTheStacksOneWhileItRunsAndTheHostsAfterwards) {
    {
        const npu::ThreadScope outer;
        EXPECT_EQ(cv::getNumThreads(), 1);
        const npu::ThreadScope inner;
        EXPECT_EQ(cv::getNumThreads(), 1);
    }
    EXPECT_EQ(cv::getNumThreads(), 3);
}

TEST_F(HostThreads, AreLeftAsTheyWereByARun) {
    NpuSession session(convolutionModel().build());
    session.run(std::vector<std::uint8_t>(16, 9));
    EXPECT_EQ(cv::getNumThreads(), 3);
}

TEST_F(HostThreads, MayEachRunTheirOwnContext) {
    const ModelPair pair = everyOperatorModel().build();
    std::vector<std::uint8_t> image(1024);
    for (std::size_t i = 0; i < image.size(); ++i)
        image[i] = static_cast<std::uint8_t>(7 * i);
    const std::vector<std::int8_t> expected = NpuSession(pair).run(image)[0].values;
    std::atomic<int> wrong{0};
    const auto work = [&] {
        NpuSession session(pair);
        for (int i = 0; i < 20; ++i)
            wrong += session.run(image)[0].values == expected ? 0 : 1;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(cv::getNumThreads(), 3);
}

TEST(WantedThreads, AreOneUnlessTheEnvironmentSaysAUsableNumber) {
    EXPECT_EQ(npu::wantedThreads(nullptr), 1);
    for (const char* text : {"", "x", "2x", " 2", "2 ", "-1", "257", "1.5", "99999999999"}) {
        EXPECT_EQ(npu::wantedThreads(text), 1) << text;
    }
}

TEST(WantedThreads, AreAsManyAsTheEnvironmentSays) {
    EXPECT_EQ(npu::wantedThreads("0"), 0) << "the host's";
    EXPECT_EQ(npu::wantedThreads("1"), 1);
    EXPECT_EQ(npu::wantedThreads("4"), 4);
    EXPECT_EQ(npu::wantedThreads("256"), 256);
}

TEST_F(HostThreads, AreTheNumberOfAScopeOrTheHosts) {
    {
        const npu::ThreadScope scope(2);
        EXPECT_EQ(cv::getNumThreads(), 2);
    }
    {
        const npu::ThreadScope scope(0);
        EXPECT_EQ(cv::getNumThreads(), 3);
    }
    EXPECT_EQ(cv::getNumThreads(), 3);
}

}  // namespace
}  // namespace brairu::test
