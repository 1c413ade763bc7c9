#include "store/palmExport.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <span>

#include "base64.h"
#include "checksum.h"
#include "fault.h"
#include "store/palmTemplate.h"

namespace brairu::tool {
namespace {

using Json = nlohmann::ordered_json;
using Bytes = std::vector<std::uint8_t>;

constexpr char kFormat[] = "brairu-palms";
constexpr int kVersion = 1;

std::string lineChecksum(std::size_t number, const PalmRecord& palm) {
    const std::string numbers = std::to_string(number) + "\n" + std::to_string(palm.userid) + "\n" +
                                std::to_string(palm.palmindex) + "\n" +
                                std::to_string(palm.learnCount) + "\n";
    Bytes bytes(numbers.begin(), numbers.end());
    bytes.insert(bytes.end(), palm.templates.begin(), palm.templates.end());
    return checksumOf(bytes);
}

Json jsonOf(std::size_t number, const PalmRecord& palm) {
    Json templates = Json::array();
    const std::span all(palm.templates);
    for (std::size_t at = 0; at + kTemplateBytes <= all.size(); at += kTemplateBytes) {
        templates.push_back(base64Of(all.subspan(at, kTemplateBytes)));
    }
    return {{"number", number},       {"user", palm.userid},
            {"palm", palm.palmindex}, {"learn_count", palm.learnCount},
            {"templates", templates}, {"checksum", lineChecksum(number, palm)}};
}

PalmRecord palmFrom(const Json& json) {
    PalmRecord palm{json.at("user").get<std::int64_t>(),
                    json.at("palm").get<std::int32_t>(),
                    json.at("learn_count").get<std::int64_t>(),
                    {}};
    for (const Json& text : json.at("templates")) {
        // What is no template adds nothing: the checksum tells.
        const Bytes bytes =
            bytesFromBase64(text.get<std::string>(), kTemplateBytes).value_or(Bytes());
        palm.templates.insert(palm.templates.end(), bytes.begin(), bytes.end());
    }
    return palm;
}

class Reader {
public:
    explicit Reader(const std::string& path) : path_(path), file_(path) {
        if (!file_.is_open()) {
            throw InputFault(path_ + " cannot be read", "Check its name and its rights.");
        }
    }

    PalmExport read() {
        PalmExport content;
        const std::size_t count = readHeader(content);
        for (std::size_t number = 1; number <= count; ++number) {
            content.palms.push_back(readPalm(number, content.centreCount));
        }
        if (std::string more; std::getline(file_, more)) {
            fail("has more lines than its first line says");
        }
        return content;
    }

private:
    [[noreturn]] void fail(const std::string& what) const {
        throw InputFault(path_ + " " + what, "Nothing was imported. Export the palms again.");
    }

    Json nextLine(const std::string& what) {
        std::string line;
        if (!std::getline(file_, line)) {
            fail("is cut short: " + what + " is missing");
        }
        Json json = Json::parse(line, nullptr, false);
        if (!json.is_object()) {
            fail("is damaged: " + what + " cannot be read");
        }
        return json;
    }

    std::size_t readHeader(PalmExport& content) {
        const Json header = nextLine("its first line");
        try {
            if (header.at("format") != kFormat) {
                fail("is no export of palms");
            }
            if (header.at("version") != kVersion) {
                fail("has version " + header.at("version").dump() + ", and this tool reads " +
                     std::to_string(kVersion));
            }
            content.centreCount = header.at("centres").get<int>();
            return header.at("palms").get<std::size_t>();
        } catch (const Json::exception&) {
            fail("is no export of palms");
        }
    }

    PalmRecord readPalm(std::size_t number, int centreCount) {
        const std::string name = "palm " + std::to_string(number);
        const Json json = nextLine(name);
        try {
            PalmRecord palm = palmFrom(json);
            if (json.at("number") != number || json.at("checksum") != lineChecksum(number, palm) ||
                palm.templates.size() != static_cast<std::size_t>(centreCount) * kTemplateBytes) {
                fail("is damaged: the checksum of " + name + " is wrong");
            }
            requireNew(palm);
            return palm;
        } catch (const Json::exception&) {
            fail("is damaged: " + name + " cannot be read");
        }
    }

    void requireNew(const PalmRecord& palm) {
        if (!seen_.insert({palm.userid, palm.palmindex}).second) {
            fail("names user " + std::to_string(palm.userid) + ", palm " +
                 std::to_string(palm.palmindex) + " twice");
        }
    }

    std::string path_;
    std::ifstream file_;
    std::set<std::pair<std::int64_t, std::int32_t>> seen_;
};

}  // namespace

std::string textOf(const PalmExport& content) {
    const Json header{{"format", kFormat},
                      {"version", kVersion},
                      {"palms", content.palms.size()},
                      {"centres", content.centreCount}};
    std::string text = header.dump() + "\n";
    for (std::size_t i = 0; i < content.palms.size(); ++i) {
        text += jsonOf(i + 1, content.palms[i]).dump() + "\n";
    }
    return text;
}

PalmExport readPalmExport(const std::string& path) {
    return Reader(path).read();
}

}  // namespace brairu::tool
