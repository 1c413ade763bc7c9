// The pictures of the page on the configuration: they are there, they show every setting that
// changes what is seen or let in with its shipped value, and one of them is drawn anew.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "settingPictures/drawings.h"
#include "support/temporaryFolder.h"
#include "support/xmlShape.h"

namespace brairu::test {
namespace {

namespace fs = std::filesystem;
using tool::PictureSource;

const fs::path kDocuments = fs::path(BRAIRU_SOURCE_DIR) / "docs";
constexpr std::uintmax_t kLargest = 150'000;
constexpr std::uintmax_t kLargestTogether = 1'000'000;

// Settings that no frame can show.
const std::map<std::string, std::string> kWithoutPicture{
    {"handpose.input_w", "belongs to the network"},
    {"handpose.input_h", "belongs to the network"},
    {"handpose.model_path_net", "a path"},
    {"handpose.model_path_blobs", "a path"},
    {"handpose.blur_threshold_min", "not read"},
    {"handpose.blur_threshold_max", "not read"},
    {"handpose.enable_enhance", "not read"},
    {"feature.input_w", "belongs to the networks"},
    {"feature.input_h", "belongs to the networks"},
    {"feature.model_path_net", "a path"},
    {"feature.model_path_blobs", "a path"},
    {"feature.support_model_path_net", "a path"},
    {"feature.support_model_path_blobs", "a path"},
    {"feature.feature_len", "belongs to the networks"},
    {"database.database_path", "a path"},
    {"database.search_index_path", "a path"},
    {"debug", "prints"},
};

ConfigDocument shippedConfig() {
    ConfigDocument document;
    std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> document;
    return document;
}

// "handpose.blur_threshold" with "12.0"
std::map<std::string, std::string> shippedSettings() {
    std::map<std::string, std::string> settings;
    const ConfigDocument flat = shippedConfig().flatten();
    for (const auto& [path, value] : flat.items()) {
        settings[std::regex_replace(path.substr(1), std::regex("/"), ".")] = value.dump();
    }
    return settings;
}

std::set<std::string> linkedPictures() {
    static const std::regex link("\\]\\((pictures/settings/[^)]*)\\)");
    const std::string page = readFile((kDocuments / "configuration.md").string());
    std::set<std::string> links;
    for (std::sregex_iterator at(page.begin(), page.end(), link), end; at != end; ++at) {
        links.insert((*at)[1]);
    }
    return links;
}

std::set<std::string> storedPictures() {
    std::set<std::string> pictures;
    for (const auto& entry : fs::directory_iterator(kDocuments / "pictures/settings")) {
        pictures.insert("pictures/settings/" + entry.path().filename().string());
    }
    return pictures;
}

std::string textOfAllPictures() {
    std::string text;
    for (const std::string& picture : storedPictures()) {
        text += readFile((kDocuments / picture).string());
    }
    return text;
}

TEST(SettingPictures, AreThoseThatThePageShows) {
    EXPECT_FALSE(storedPictures().empty());
    EXPECT_EQ(linkedPictures(), storedPictures());
}

TEST(SettingPictures, ShowEverySettingThatHasAnEffectAsItIsShipped) {
    const std::string text = textOfAllPictures();
    for (const auto& [name, value] : shippedSettings()) {
        if (!kWithoutPicture.contains(name)) {
            EXPECT_THAT(text, testing::HasSubstr(">" + name + ": " + value + "<"));
        }
    }
}

TEST(SettingPictures, LeaveOutNothingButSettings) {
    const auto settings = shippedSettings();
    for (const auto& [name, reason] : kWithoutPicture) {
        EXPECT_TRUE(settings.contains(name)) << name << ": " << reason;
    }
}

TEST(SettingPictures, AreSmallAndWellFormed) {
    std::uintmax_t together = 0;
    for (const std::string& picture : storedPictures()) {
        const std::string text = readFile((kDocuments / picture).string());
        EXPECT_EQ(xmlFault(text), "") << picture;
        EXPECT_LT(text.size(), kLargest) << picture;
        together += text.size();
    }
    EXPECT_LT(together, kLargestTogether);
}

TEST(SettingPictures, OfThePlacementLimitsIsThatOfTheShippedSettings) {
    PictureSource source{shippedConfig(), ""};
    EXPECT_EQ(tool::drawPlacementLimits(source),
              readFile((kDocuments / "pictures/settings/placementLimits.svg").string()));
}

TEST(SettingPictures, OfThePlacementLimitsFollowsTheSettings) {
    for (const char* key :
         {"horizontal_offset_tolerance", "vertical_offset_tolerance", "hand_size_width_min",
          "hand_size_height_min", "hand_size_width_max", "hand_size_height_max"}) {
        PictureSource shipped{shippedConfig(), ""};
        PictureSource changed = shipped;
        const double value = changed.config["handpose"][key].get<double>();
        changed.config["handpose"][key] = value + 0.05;
        const auto withoutText = [](const std::string& picture) {
            return std::regex_replace(picture, std::regex("<text[^\n]*\n"), "");
        };
        EXPECT_NE(withoutText(tool::drawPlacementLimits(changed)),
                  withoutText(tool::drawPlacementLimits(shipped)))
            << key;
    }
}

// What is written in a picture. Networks round as the processor does: numbers are left out, but for
// those of codes and matches.
std::string wordsOf(const std::string& picture) {
    static const std::regex text("<text[^>]*>([^<]*)</text>");
    static const std::regex number("(code |match )?-?[0-9][0-9.,]*");
    std::string words;
    for (std::sregex_iterator at(picture.begin(), picture.end(), text), end; at != end; ++at) {
        const std::string line = (*at)[1];
        std::sregex_iterator found(line.begin(), line.end(), number);
        std::size_t from = 0;
        for (; found != end; ++found) {
            const auto begin = static_cast<std::size_t>(found->position());
            words += line.substr(from, begin - from);
            words += (*found)[1].matched ? found->str() : "#";
            from = begin + static_cast<std::size_t>(found->length());
        }
        words += line.substr(from) + '\n';
    }
    return words;
}

// Those that take a second; the others render hundreds of frames.
TEST(SettingPictures, DrawnAnewSayWhatTheStoredOnesSay) {
    const TemporaryFolder folder;
    const std::string command =
        "cd " BRAIRU_SOURCE_DIR " && " BRAIRU_SETTING_PICTURES " config/brairu.json " +
        folder.path().string() + " handPlace palmQuality enrolment confirmation";
    ASSERT_EQ(std::system(command.c_str()), 0);
    for (const char* name : {"handPlace", "palmQuality", "enrolment", "confirmation"}) {
        const std::string file = std::string(name) + ".svg";
        EXPECT_EQ(wordsOf(readFile(folder.file(file))),
                  wordsOf(readFile((kDocuments / "pictures/settings" / file).string())));
    }
}

}  // namespace
}  // namespace brairu::test
