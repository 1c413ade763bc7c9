#include "store/templateBlob.h"

#include <gmock/gmock.h>

#include <random>

#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Byte by byte, as the row is described: the old bytes, whole copies of the first template, zeros.
Bytes plainlyFitted(const Bytes& data, std::size_t size) {
    Bytes fitted(size, 0);
    for (std::size_t place = 0; place < size && place < data.size(); ++place) {
        fitted[place] = data[place];
    }
    if (data.size() >= size) {
        return fitted;
    }
    const std::size_t copies = (size - data.size()) / 1546;
    for (std::size_t place = 0; place < copies * 1546; ++place) {
        const std::size_t source = place % 1546;
        fitted[data.size() + place] = source < data.size() ? data[source] : std::uint8_t{0};
    }
    return fitted;
}

TEST(FittedTemplates, KeepsWhatFits) {
    EXPECT_EQ(fittedTemplates(rowOf({1, 2, 3}), 4638), rowOf({1, 2, 3}));
}

TEST(FittedTemplates, RepeatsTheFirstTemplate) {
    EXPECT_EQ(fittedTemplates(templateOf(5), 4638), rowOf({5, 5, 5}));
    EXPECT_EQ(fittedTemplates(rowOf({5, 6}), 6184), rowOf({5, 6, 5, 5}));
}

TEST(FittedTemplates, CutsToTheFirstTemplates) {
    EXPECT_EQ(fittedTemplates(rowOf({1, 2, 3}), 1546), templateOf(1));
    EXPECT_EQ(fittedTemplates(rowOf({1, 2, 3}), 3092), rowOf({1, 2}));
}

TEST(FittedTemplates, LeavesZerosWhereNoWholeCopyFits) {
    Bytes data = rowOf({1, 2});
    data.resize(2000);
    Bytes expected = data;
    expected.resize(3092, 0);
    EXPECT_EQ(fittedTemplates(data, 3092), expected);
}

TEST(FittedTemplates, StartsCopiesRightBehindUnalignedData) {
    Bytes data = rowOf({1, 2});
    data.resize(2000);
    Bytes expected = data;
    for (int copy = 0; copy < 2; ++copy) {
        expected.insert(expected.end(), data.begin(), data.begin() + 1546);
    }
    expected.resize(6184, 0);
    EXPECT_EQ(fittedTemplates(data, 6184), expected);
}

TEST(FittedTemplates, RepeatsDataShorterThanATemplateWithItsZeros) {
    Bytes data = templateOf(9);
    data.resize(773);
    Bytes expected = data;
    expected.insert(expected.end(), data.begin(), data.end());
    expected.resize(3092, 0);
    EXPECT_EQ(fittedTemplates(data, 3092), expected);
}

TEST(FittedTemplates, MakesZerosOfNothing) {
    EXPECT_EQ(fittedTemplates({}, 3092), Bytes(3092, 0));
}

TEST(FittedTemplates, MakesNothingOfSizeZero) {
    EXPECT_THAT(fittedTemplates(templateOf(1), 0), IsEmpty());
}

TEST(FittedTemplates, AgreesWithThePlainDescription) {
    constexpr unsigned kSeed = 20250711;
    SCOPED_TRACE(kSeed);
    std::mt19937 random(kSeed);
    for (int round = 0; round < 500; ++round) {
        Bytes data(random() % 9000);
        for (std::uint8_t& byte : data) {
            byte = static_cast<std::uint8_t>(random());
        }
        const std::size_t size = 1546 * (random() % 6);
        EXPECT_EQ(fittedTemplates(data, size), plainlyFitted(data, size)) << data.size();
    }
}

TEST(SignedBytesAt, GivesAsManyBytesAsThereAre) {
    const Bytes data{1, 2, 255, 128};
    EXPECT_THAT(signedBytesAt(data, 1, 2), ElementsAre(2, -1));
    EXPECT_THAT(signedBytesAt(data, 2, 9), ElementsAre(-1, -128));
    EXPECT_THAT(signedBytesAt(data, 4, 1), IsEmpty());
    EXPECT_THAT(signedBytesAt(data, 5, 1), IsEmpty());
}

}  // namespace
}  // namespace brairu::test
