// The page on messages has each text that the library can print or throw, and no other.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using testing::IsSubsetOf;
using testing::SizeIs;
using Texts = std::set<std::string>;

const std::filesystem::path kSource = BRAIRU_SOURCE_DIR "/src";
constexpr const char* kPage = BRAIRU_SOURCE_DIR "/docs/messages.md";

bool isCode(const std::filesystem::path& path) {
    return path.extension() == ".cpp" || path.extension() == ".h";
}

// What is a text and no message: it disguises what it is, or is for a shell or an assembler.
bool isWithoutMessages(const std::filesystem::path& path) {
    static const Texts files{"modelCipher.cpp", "shellQuoting.cpp", "avx512Vnni.cpp"};
    return files.contains(path.filename());
}
const Texts kNoMessages{"rm -f"};

// Nor characters, which may be quotes.
std::string withoutComments(const std::string& code) {
    static const std::regex comment(R"re(("(?:[^"\\]|\\.)*")|'(?:[^'\\]|\\.)'|//[^\n]*)re");
    return std::regex_replace(code, comment, "$1");
}

// Without the quotes, the escapes and the spaces at the end.
std::string plainText(std::string literal) {
    literal = std::regex_replace(literal, std::regex(R"re("\s*")re"), "");
    literal = std::regex_replace(literal, std::regex(R"re(\\[rn])re"), "");
    literal = std::regex_replace(literal, std::regex(R"re(\\(.))re"), "$1");
    return std::regex_replace(literal, std::regex(R"re(^"|\s*"$)re"), "");
}

// The string literals of all source files; those that follow each other are one.
Texts literals() {
    static const std::regex literal(R"re("(?:[^"\\]|\\.)*"(?:\s*"(?:[^"\\]|\\.)*")*)re");
    Texts texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(kSource)) {
        if (!isCode(entry.path()) || isWithoutMessages(entry.path())) {
            continue;
        }
        const std::string code = withoutComments(readFile(entry.path()));
        for (std::sregex_iterator found(code.begin(), code.end(), literal), end; found != end;
             ++found) {
            texts.insert(plainText(found->str()));
        }
    }
    return texts;
}

// Names, keys and statements are no messages; what people read has a space or is not English.
bool isMessage(const std::string& text) {
    static const std::regex statement("(SELECT|INSERT|UPDATE|DELETE|CREATE|DROP) .*");
    const auto isOfPeople = [](char character) {
        return character == ' ' || static_cast<unsigned char>(character) >= 0x80;
    };
    return std::ranges::any_of(text, isOfPeople) && !std::regex_match(text, statement) &&
           !kNoMessages.contains(text);
}

Texts messagesOf(const Texts& all) {
    Texts messages;
    std::ranges::copy_if(all, std::inserter(messages, messages.end()), isMessage);
    return messages;
}

Texts pageMessages() {
    static const std::regex row("\\| `([^`]*)` \\| (?:out|err|log|throws) \\|.*\\|");
    std::istringstream page(readFile(kPage));
    Texts messages;
    for (std::string line; std::getline(page, line);) {
        if (std::smatch found; std::regex_match(line, found, row)) {
            messages.insert(std::regex_replace(found[1].str(), std::regex(" *$"), ""));
        }
    }
    return messages;
}

TEST(MessagesPage, HasEveryMessageOfTheLibrary) {
    const Texts messages = messagesOf(literals());
    EXPECT_THAT(messages, SizeIs(testing::Gt(50u)));
    EXPECT_THAT(messages, IsSubsetOf(pageMessages()));
}

TEST(MessagesPage, HasNoMessageThatTheLibraryLacks) {
    EXPECT_THAT(pageMessages(), IsSubsetOf(literals()));
}

}  // namespace
}  // namespace brairu::test
