// The shipped networks find the same hand and the same features on every architecture, as far as
// single-precision sums in another order allow. The reference was made on x86:
//   build/release/tests/crossArchitecture/crossArchitectureNetworkTests --print-reference
//       > tests/crossArchitecture/networks.json
// It changes with the networks. The frame is one that the renderer drew on x86, because drawing is
// not the same everywhere:
//   build/release/brairu-palms build/frames --people 1 --captures 1 --format raw --size 320x240
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "brairu.h"
#include "crossArchitecture/figures.h"
#include "crossArchitecture/reference.h"

namespace brairu::test {
namespace {

constexpr int kRecordTolerance = 3;  // pixels: one step of the network's coordinates
constexpr double kLeastCosine = 0.999;

int largestDifference(const std::vector<int>& a, const std::vector<int>& b) {
    int largest = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return largest;
}

double cosineOfBlock(const std::vector<int>& a, const std::vector<int>& b, std::size_t block) {
    double aa = 0.0;
    double bb = 0.0;
    double ab = 0.0;
    for (std::size_t i = 0; i < PVA_FEATURE_BLOCK_BYTES; ++i) {
        const double x = a[block * PVA_FEATURE_BLOCK_BYTES + i];
        const double y = b[block * PVA_FEATURE_BLOCK_BYTES + i];
        aa += x * x;
        bb += y * y;
        ab += x * y;
    }
    return ab / std::sqrt(aa * bb);
}

TEST(CrossArchitecture, ACaptureHasTheFeaturesThatItHasOnX86) {
    const nlohmann::ordered_json reference = readReference(BRAIRU_REFERENCE);
    ASSERT_TRUE(reference.contains("features")) << BRAIRU_REFERENCE;
    const NetworkFigures figures = networkFigures(BRAIRU_SOURCE_DIR, BRAIRU_FRAME);
    const auto record = reference["record"].get<std::vector<int>>();
    const auto features = reference["features"].get<std::vector<int>>();
    ASSERT_EQ(figures.record.size(), record.size());
    ASSERT_EQ(features.size(), std::size_t{PVA_FEATURE_BYTES});

    std::cout << "largest difference: record " << largestDifference(figures.record, record)
              << ", feature byte " << largestDifference(figures.features, features) << "\n";
    EXPECT_LE(largestDifference(figures.record, record), kRecordTolerance);
    for (std::size_t block = 0; block < 3; ++block) {
        const double cosine = cosineOfBlock(figures.features, features, block);
        std::cout << "cosine of block " << block << ": " << cosine << "\n";
        EXPECT_GE(cosine, kLeastCosine);
    }
}

// The library speaks on standard output, to the end of the process; only the document belongs there.
void printCurrentFigures() {
    const int output = ::dup(STDOUT_FILENO);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    const NetworkFigures figures = networkFigures(BRAIRU_SOURCE_DIR, BRAIRU_FRAME);
    std::fflush(stdout);
    ::dup2(output, STDOUT_FILENO);
    printReference({{"record", figures.record}, {"features", figures.features}});
    std::cout.flush();
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

}  // namespace
}  // namespace brairu::test

int main(int argc, char** argv) {
    if (brairu::test::wantsReference(argc, argv)) {
        brairu::test::printCurrentFigures();
        return 0;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
