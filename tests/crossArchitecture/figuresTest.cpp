// The same inputs give the same results on every architecture. The reference was made on x86:
//   build/release/tests/crossArchitecture/crossArchitectureTests --print-reference
//       > tests/crossArchitecture/figures.json
// It changes only with the stated arithmetic or the inputs.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "crossArchitecture/figures.h"
#include "crossArchitecture/reference.h"

namespace brairu::test {
namespace {

template <class Figure>
std::string nameOf(const testing::TestParamInfo<Figure>& info) {
    return info.param.name;
}

nlohmann::ordered_json reference() {
    return readReference(BRAIRU_REFERENCE);
}

double largestDifference(const std::vector<double>& a, const std::vector<double>& b) {
    double largest = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return largest;
}

class Exact : public testing::TestWithParam<ExactFigure> {};

TEST_P(Exact, IsTheSameAsOnX86) {
    const nlohmann::ordered_json known = reference();
    ASSERT_TRUE(known.contains(GetParam().name)) << BRAIRU_REFERENCE;
    EXPECT_EQ(GetParam().digest(), known[GetParam().name].get<std::string>());
}

INSTANTIATE_TEST_SUITE_P(Figure, Exact, testing::ValuesIn(exactFigures()), nameOf<ExactFigure>);

class Close : public testing::TestWithParam<CloseFigure> {};

TEST_P(Close, IsNearThatOnX86) {
    const nlohmann::ordered_json known = reference();
    ASSERT_TRUE(known.contains(GetParam().name)) << BRAIRU_REFERENCE;
    const auto expected = known[GetParam().name].get<std::vector<double>>();
    const std::vector<double> values = GetParam().values();
    ASSERT_FALSE(values.empty());
    ASSERT_EQ(values.size(), expected.size());
    ASSERT_TRUE(std::ranges::all_of(values, [](double value) { return std::isfinite(value); }));
    const double largest = largestDifference(values, expected);
    std::cout << GetParam().name << ": largest difference " << largest << " of " << values.size()
              << " values\n";
    EXPECT_LE(largest, GetParam().tolerance);
}

INSTANTIATE_TEST_SUITE_P(Figure, Close, testing::ValuesIn(closeFigures()), nameOf<CloseFigure>);

nlohmann::ordered_json currentFigures() {
    nlohmann::ordered_json figures;
    for (const ExactFigure& figure : exactFigures()) {
        figures[figure.name] = figure.digest();
    }
    for (const CloseFigure& figure : closeFigures()) {
        figures[figure.name] = figure.values();
    }
    return figures;
}

}  // namespace
}  // namespace brairu::test

int main(int argc, char** argv) {
    if (brairu::test::wantsReference(argc, argv)) {
        brairu::test::printReference(brairu::test::currentFigures());
        return 0;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
