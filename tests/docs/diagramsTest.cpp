// The drawn diagrams are those of the text beside them.
#include <gmock/gmock.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::SizeIs;

std::vector<fs::path> textsOfDiagrams() {
    std::vector<fs::path> texts;
    for (const auto& entry : fs::directory_iterator(BRAIRU_SOURCE_DIR "/docs/pictures")) {
        if (entry.path().extension() == ".dot") {
            texts.push_back(entry.path());
        }
    }
    return texts;
}

// Every line of every label.
std::vector<std::string> wordsIn(const std::string& text) {
    const std::regex label("label=\"([^\"]*)\"");
    std::vector<std::string> words;
    for (std::sregex_iterator match(text.begin(), text.end(), label), end; match != end; ++match) {
        const std::string lines = (*match)[1];
        const std::regex lineEnd(R"(\\n)");
        std::copy(std::sregex_token_iterator(lines.begin(), lines.end(), lineEnd, -1), {},
                  std::back_inserter(words));
    }
    return words;
}

std::size_t timesIn(const std::string& text, const std::string& word) {
    std::size_t times = 0;
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        ++times;
    }
    return times;
}

TEST(Diagrams, AreDrawnFromTheTextBesideThem) {
    const std::vector<fs::path> texts = textsOfDiagrams();
    EXPECT_THAT(texts, SizeIs(2));
    for (fs::path path : texts) {
        const std::string text = readFile(path.string());
        const std::string drawing = std::regex_replace(
            readFile(path.replace_extension(".svg").string()), std::regex("&#45;"), "-");
        const std::vector<std::string> words = wordsIn(text);
        EXPECT_FALSE(words.empty());
        for (const std::string& word : words) {
            EXPECT_THAT(drawing, HasSubstr(">" + word + "</text>")) << path;
        }
        EXPECT_EQ(timesIn(drawing, "</text>"), words.size()) << path;
        EXPECT_EQ(timesIn(drawing, "class=\"edge\""), timesIn(text, "->")) << path;
    }
}

}  // namespace
}  // namespace brairu::test
