// What the library logs and prints tells nothing of palms, models or the key.
#include <gmock/gmock.h>

#include <algorithm>
#include <string_view>

#include "engineSession.h"
#include "storeTest.h"
#include "support/modelContainer.h"

namespace brairu::test {
namespace {

constexpr std::size_t kTellingBytes = 6;

std::string textOf(const Features& features) {
    return {features.begin(), features.end()};
}

std::string hexOf(std::string_view bytes, const char* digits) {
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<std::uint8_t>(character);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string decimalsOf(std::string_view bytes, bool isSigned) {
    std::string text;
    for (const char character : bytes) {
        text += std::to_string(isSigned ? static_cast<signed char>(character)
                                        : static_cast<int>(static_cast<std::uint8_t>(character)));
        text += ' ';
    }
    return text;
}

// Digits and letters alone, in place of everything else one blank: separators do not hide numbers.
std::string numbersIn(std::string_view text) {
    std::string numbers;
    for (const char character : text) {
        const bool counts = std::isalnum(static_cast<unsigned char>(character)) || character == '-';
        if (counts || (!numbers.empty() && numbers.back() != ' ')) {
            numbers += counts ? character : ' ';
        }
    }
    return numbers + ' ';
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Whether a text has some bytes in a row of a secret: as they are, in hexadecimal or in decimal
// digits.
bool tells(const std::string& text, const std::string& secret) {
    const std::string numbers = numbersIn(text);
    for (std::size_t i = 0; i + kTellingBytes <= secret.size(); ++i) {
        const std::string part = secret.substr(i, kTellingBytes);
        if (holds(text, part) || holds(text, hexOf(part, "0123456789abcdef")) ||
            holds(text, hexOf(part, "0123456789ABCDEF")) ||
            holds(numbers, decimalsOf(part, false)) || holds(numbers, decimalsOf(part, true))) {
            return true;
        }
    }
    return false;
}

TEST(Telling, IsNoticedInEveryForm) {
    const std::string secret = textOf(featuresOf(9));
    const std::string part = secret.substr(700, 8);
    for (const std::string& leak :
         {part, hexOf(part, "0123456789abcdef"), hexOf(part, "0123456789ABCDEF"),
          decimalsOf(part, false), decimalsOf(part, true)}) {
        EXPECT_TRUE(tells("before " + leak + " after", secret));
    }
    EXPECT_FALSE(tells("Table userInfo has data.\n添加用户成功, featureCount = 1\r\n", secret));
}

class Silence : public EngineSession {
protected:
    Silence() {
        folder_.document["debug"] = true;
        const auto seal = [&](const char* section, const std::string& key) {
            models_.push_back(textOf(featuresOf(100 + static_cast<int>(models_.size()))));
            folder_.document[section][key] =
                modelFolder_.write(section + key, sealedModel(models_.back()));
        };
        seal("handpose", "model_path_net");
        seal("handpose", "model_path_blobs");
        seal("feature", "model_path_net");
        seal("feature", "model_path_blobs");
        seal("feature", "support_model_path_net");
        seal("feature", "support_model_path_blobs");
    }

    // Everything that a host does with palms, faults included.
    void liveADay() const {
        start();
        const PvaUserKey key{4'711'000'815, 1, {}};
        const PvaUserKey stranger{1, 1, {}};
        enrol(key, features_);
        recognise();
        useDatabase(key);
        useDatabase(stranger);
        failToEnrol(key);
        OtherConnection(folder_.file("palms.db")).run("DROP TABLE userInfo;");
        useDatabase(key);
        deinit_pva();
        start();
    }

    void recognise() const {
        PvaAuthResult who{};
        EXPECT_EQ(pvaGetAuthRes(capture(features_).data(), &who), 1);
        EXPECT_EQ(pvaGetAuthRes(capture(stranger_).data(), &who), 0);
        EXPECT_EQ(pvaGet1to1AuthRes(features_.data(), stranger_.data(), &who), 0);
    }

    void useDatabase(const PvaUserKey& key) const {
        const Bytes data = padded({features_.begin(), features_.end()}, PVA_TEMPLATE_BYTES);
        Bytes read(PVA_TEMPLATE_BYTES);
        pvaDataBaseUpdateUser(&key, data.data());
        pvaDataBaseAddUserWithFeatSize(&key, data.data(), PVA_TEMPLATE_BYTES);
        pvaDataBaseAddUserWithFeatSize(&key, data.data(), 5);
        pvaDataBaseGetFeat(&key, read.data());
        pvaDataBaseGetFeatWithFeatSize(&key, read.data(), PVA_TEMPLATE_BYTES);
        pvaDataBaseExistUser(&key);
        pvaDataBaseGetAllPalmCount();
        std::int64_t palm = 0;
        int count = 0;
        pvaDataBaseGetPalmNumFromUserId(static_cast<std::uint64_t>(key.userid), &palm, 0, &count);
    }

    // A palm that is there already, and a commit whose binding fails.
    void failToEnrol(const PvaUserKey& key) const {
        PvaRegisterResult result{};
        for (int i = 0; i < 3; ++i) {
            pvaRegister(&key, features_.data(), 1, &result);
        }
        EXPECT_EQ(result.status, PVA_REGISTER_DUPLICATE);
        InterposedCalls::get().failingParameter = 3;
        result = {};
        for (int i = 0; i < 3; ++i) {
            pvaRegister(&key, stranger_.data(), 0, &result);
        }
        InterposedCalls::get().failingParameter = 0;
    }

    Features features_ = featuresOf(1);
    Features stranger_ = featuresOf(2);
    std::vector<std::string> models_;
    TemporaryFolder modelFolder_;
};

TEST_F(Silence, IsKeptThroughAWholeDay) {
    const ChildResult day = freshly([&] { liveADay(); });
    const std::string all = day.out + day.err;
    EXPECT_THAT(all, testing::HasSubstr("添加用户成功"));  // the log is in it
    EXPECT_THAT(all, testing::HasSubstr("avr_bri"));
    EXPECT_FALSE(tells(all, textOf(features_)));
    EXPECT_FALSE(tells(all, textOf(stranger_)));
    EXPECT_FALSE(tells(all, std::string(kFieldKey)));
    for (const std::string& model : models_) {
        EXPECT_FALSE(tells(all, model));
    }
}

}  // namespace
}  // namespace brairu::test
