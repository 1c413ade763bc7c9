// The manual pages of the programs say what their --help says.
#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Words = std::vector<std::string>;

constexpr const char* kManual = BRAIRU_MANUAL;

struct Closing {
    void operator()(FILE* pipe) const { ::pclose(pipe); }
};

// What a command line prints to both streams.
std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, Closing> pipe(::popen((command + " 2>&1").c_str(), "r"));
    std::string text;
    std::array<char, 4096> piece{};
    for (std::size_t got = 1; got > 0;) {
        got = std::fread(piece.data(), 1, piece.size(), pipe.get());
        text.append(piece.data(), got);
    }
    return text;
}

std::string page(const std::string& name) {
    return readFile(std::string(kManual) + "/man1/" + name);
}

// An option or an argument of a command: what is said of it beside its name.
struct Entry {
    std::string placeholder;
    std::string defaultValue;
    std::string text;
    bool required = false;
};
using Entries = std::map<std::string, Entry>;
using Commands = std::map<std::string, Entries>;

std::set<std::string> namesOf(const Commands& commands) {
    std::set<std::string> names;
    for (const auto& [name, entries] : commands) {
        names.insert(name);
    }
    return names;
}

// "--far" and "--far RATE": what a reader types.
std::set<std::string> typed(const Entries& entries) {
    std::set<std::string> all;
    for (const auto& [name, entry] : entries) {
        const bool shown = name.starts_with('-') && !entry.placeholder.empty();
        all.insert(name + (shown ? ' ' + entry.placeholder : ""));
    }
    return all;
}

// ---- what --help says ----

struct Help {
    Entries entries;
    Words commands;
};

// "--far RATE:FLOAT in [1e-12 - 0.5]=0.001", "frames FRAME ... REQUIRED"
void addEntry(Entries& entries, const std::string& left) {
    static const std::regex shape(R"((\S+)(?: ([A-Za-z]+)([^=]*)(?:=(.*))?)?)");
    static const std::regex tail(R"( (\.\.\.|REQUIRED|\(Env:).*)");
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(left, parts, shape)) << left;
    Entry entry{parts[2], std::regex_replace(parts[4].str(), tail, ""), "", false};
    entry.required = left.ends_with(" REQUIRED");
    entries[parts[1]] = entry;
}

Help parsedHelp(const std::string& text) {
    Help help;
    std::istringstream lines(text);
    std::string section;
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with(':') && !line.starts_with(' ')) {
            section = line;
        } else if (line.starts_with("  ") && line[2] != ' ') {
            const std::string left = line.substr(2, line.find("  ", 2) - 2);
            if (section == "Subcommands:") {
                help.commands.push_back(left);
            } else {
                addEntry(help.entries, left);
            }
        }
    }
    return help;
}

// Every command of the tool, those below others included; the tool itself is "".
void collectHelp(const std::string& command, Commands& all) {
    Help help = parsedHelp(outputOf(std::string("'" BRAIRU_TOOL "' ") + command + " --help"));
    EXPECT_EQ(help.entries.count("-h,--help"), 1U) << command;
    if (!command.empty()) {
        help.entries.erase("-h,--help");
    }
    all[command] = help.entries;
    for (const std::string& below : help.commands) {
        collectHelp(command.empty() ? below : command + ' ' + below, all);
    }
}

const Commands& toldByHelp() {
    static const Commands all = [] {
        Commands commands;
        collectHelp("", commands);
        return commands;
    }();
    return all;
}

// ---- what a page says ----

// Text without the marks of roff: `.BI \-\-far " RATE"` is "--far RATE".
std::string withoutMarks(std::string line) {
    line = std::regex_replace(line, std::regex(R"(\\f.|\\&)"), "");
    line = std::regex_replace(line, std::regex(R"(\\-)"), "-");
    line = std::regex_replace(line, std::regex(R"(^\.[BIR]+ )"), "");
    line = std::regex_replace(line, std::regex(R"re(\s*"$)re"), "");
    line = std::regex_replace(line, std::regex(R"re(\s*"\s*)re"), " ");
    return std::regex_replace(line, std::regex(", -"), ",-");
}

// The tagged paragraphs of a section of a page, by sub-section; the section's own are under "".
class Section {
public:
    Section(const std::string& text, std::string name) : lines_(text), wanted_(std::move(name)) {}

    Commands entries() {
        for (std::string line; std::getline(lines_, line);) {
            take(line);
        }
        return entries_;
    }

private:
    void take(const std::string& line) {
        if (line.starts_with(".SH ")) {
            enter(line.substr(4), "");
        } else if (line.starts_with(".SS ")) {
            enter(section_, line.substr(4));
        } else if (section_ == wanted_) {
            takeText(line);
        }
    }

    void enter(const std::string& section, const std::string& below) {
        section_ = section;
        below_ = below;
        entry_ = nullptr;
        if (section_ == wanted_) {
            entries_[below_];
        }
    }

    void takeText(const std::string& line) {
        std::string tag;
        if (line == ".TP" && std::getline(lines_, tag)) {
            begin(withoutMarks(tag));
        } else if (entry_ != nullptr) {
            entry_->text += withoutMarks(line) + '\n';
        }
    }

    void begin(const std::string& tag) {
        const std::size_t space = tag.find(' ');
        entry_ = &entries_[below_][tag.substr(0, space)];
        entry_->placeholder = space == std::string::npos ? "" : tag.substr(space + 1);
    }

    std::istringstream lines_;
    std::string wanted_;
    std::string section_;
    std::string below_;
    Entry* entry_ = nullptr;
    Commands entries_;
};

Commands sectionOf(const std::string& name, const std::string& section) {
    return Section(page(name), section).entries();
}

Commands toldByThePage() {
    Commands all = sectionOf("brairu.1", "COMMANDS");
    all[""] = sectionOf("brairu.1", "OPTIONS")[""];
    return all;
}

// "[100,1000]" is 100 and 1000.
Words valuesIn(const std::string& text) {
    static const std::regex value(R"([\w./]+)");
    Words values;
    for (std::sregex_iterator found(text.begin(), text.end(), value), end; found != end; ++found) {
        values.push_back(found->str());
    }
    return values;
}

TEST(ProgramManual, HasEveryCommandOfTheToolAndNoOther) {
    EXPECT_THAT(toldByHelp(), SizeIs(testing::Gt(20U)));
    EXPECT_EQ(namesOf(toldByThePage()), namesOf(toldByHelp()));
}

TEST(ProgramManual, HasEveryOptionAndArgumentOfEachCommandAndNoOther) {
    const Commands told = toldByThePage();
    for (const auto& [command, entries] : toldByHelp()) {
        ASSERT_EQ(told.count(command), 1U) << command;
        EXPECT_EQ(typed(told.at(command)), typed(entries)) << "brairu " << command;
    }
}

TEST(ProgramManual, TellsDefaultsAndWhatIsRequired) {
    const Commands told = toldByThePage();
    std::size_t defaults = 0;
    for (const auto& [command, entries] : toldByHelp()) {
        for (const auto& [name, entry] : entries) {
            const std::string what = "brairu " + command + ' ' + name;
            const std::string text = told.at(command).at(name).text;
            for (const std::string& value : valuesIn(entry.defaultValue)) {
                const std::regex whole("(^|[^\\w.])" + value + "([^\\w]|$)");
                EXPECT_TRUE(std::regex_search(text, whole)) << what << ": " << value;
                ++defaults;
            }
            const bool required = entry.required && name.starts_with('-');
            EXPECT_EQ(text.find("Required.") != std::string::npos, required) << what;
        }
    }
    EXPECT_GT(defaults, 10U);
}

std::set<std::string> variablesIn(const std::string& code) {
    static const std::regex variable(R"re("(BRAIRU_[A-Z_]+)")re");
    std::set<std::string> variables;
    for (std::sregex_iterator found(code.begin(), code.end(), variable), end; found != end;
         ++found) {
        variables.insert((*found)[1]);
    }
    return variables;
}

TEST(ProgramManual, HasEveryVariableOfTheEnvironment) {
    std::set<std::string> read{"TMPDIR"};
    for (const char* room : {"src", "platform", "tools/brairu"}) {
        const std::filesystem::path folder = std::filesystem::path(BRAIRU_SOURCE_DIR) / room;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.path().extension() == ".cpp") {
                read.merge(variablesIn(readFile(entry.path().string())));
            }
        }
    }
    EXPECT_EQ(typed(sectionOf("brairu.1", "ENVIRONMENT")[""]), read);
}

TEST(ProgramManual, HasEveryOptionOfTheConformanceCheckAndNoOther) {
    static const std::regex option(R"(\[(--[a-z-]+)(?: ([A-Z]+))?\])");
    const std::string usage = outputOf("'" BRAIRU_CONFORMANCE "' --help");
    std::set<std::string> told;
    for (std::sregex_iterator found(usage.begin(), usage.end(), option), end; found != end;
         ++found) {
        const std::string name = (*found)[1];
        const std::string placeholder = (*found)[2];
        told.insert(placeholder.empty() ? name : name + ' ' + placeholder);
    }
    EXPECT_THAT(told, SizeIs(4));
    EXPECT_EQ(typed(sectionOf("brairu-conformance.1", "OPTIONS")[""]), told);
}

TEST(ProgramManual, IsOfThisVersionAndNamesItsFiles) {
    for (const char* name : {"brairu.1", "brairu-conformance.1"}) {
        EXPECT_THAT(page(name),
                    AllOf(HasSubstr("\"brairu " BRAIRU_VERSION "\""), Not(HasSubstr("@"))));
    }
}

// As "man --warnings" does.
TEST(Manual, IsSetWithoutAWarning) {
    EXPECT_THAT(outputOf("groff --version"), HasSubstr("GNU groff"));
    std::size_t pages = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(kManual)) {
        if (entry.path().extension() == ".1" || entry.path().extension() == ".3") {
            const std::string path = entry.path().string();
            EXPECT_THAT(outputOf("groff -ww -z -man -Tutf8 '" + path + "'"), IsEmpty()) << path;
            ++pages;
        }
    }
    EXPECT_EQ(pages, 43U);
}

}  // namespace
}  // namespace brairu::test
