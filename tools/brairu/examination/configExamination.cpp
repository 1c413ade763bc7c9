#include "examination/configExamination.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "examination/configKeys.h"
#include "fault.h"
#include "report/numbers.h"
#include "utils/convert.h"

namespace brairu::tool {
namespace {

constexpr char kArea[] = "configuration";

const ConfigDocument* valueOf(const ConfigDocument& document, const std::string& section,
                              const std::string& key) {
    const ConfigDocument* holder = &document;
    if (!section.empty()) {
        if (!document.contains(section) || !document[section].is_object()) {
            return nullptr;
        }
        holder = &document[section];
    }
    return holder->contains(key) ? &(*holder)[key] : nullptr;
}

const ConfigDocument* valueOf(const ConfigDocument& document, const ConfigKey& key) {
    return valueOf(document, key.section, key.key);
}

bool isNumeric(ValueKind kind) {
    return kind == ValueKind::integer || kind == ValueKind::real || kind == ValueKind::fraction;
}

bool hasType(const ConfigDocument& value, ValueKind kind) {
    if (isNumeric(kind)) {
        return value.is_number() || value.is_boolean();
    }
    return kind == ValueKind::truth ? value.is_boolean() : value.is_string();
}

double numberOf(const ConfigDocument& value) {
    return value.is_boolean() ? (value.get<bool>() ? 1.0 : 0.0) : value.get<double>();
}

std::string meaningOf(const ConfigKey& key) {
    return " (" + std::string(key.meaning) + ")";
}

Finding finding(Level level, const ConfigKey& key, const std::string& what,
                const std::string& advice) {
    return {level, kArea, nameOf(key) + meaningOf(key) + " " + what, advice};
}

std::string setIt(const ConfigKey& key) {
    return "Set " + nameOf(key) + " to " + rangeOf(key) + ".";
}

// A fraction counts in whole per cent, cut: 0.29 may be 28.
bool isCutShort(const ConfigKey& key, double value) {
    return key.kind == ValueKind::fraction &&
           wholePercent(static_cast<float>(value)) < std::lround(std::floor(value * 100.0 + 1e-6));
}

Findings examineNumber(const ConfigKey& key, const ConfigDocument& value) {
    const double number = numberOf(value);
    if (!(number >= key.least && number <= key.most)) {
        const Level level = key.need == Need::strict ? Level::fault : Level::warning;
        return {finding(level, key, "is " + plain(number), setIt(key))};
    }
    if (value.is_boolean()) {
        return {finding(Level::warning, key, "is " + value.dump() + ", which counts as a number",
                        setIt(key))};
    }
    if (key.kind == ValueKind::integer && number != std::trunc(number)) {
        return {finding(Level::warning, key,
                        "is " + plain(number) + " and is read as " + plain(std::trunc(number)),
                        setIt(key))};
    }
    if (isCutShort(key, number)) {
        return {finding(Level::warning, key,
                        "is " + plain(number) + " and is read as " +
                            std::to_string(wholePercent(static_cast<float>(number))) + " %",
                        "Write " + plain(number + 0.005) + ".")};
    }
    return {};
}

Findings examineValue(const ConfigKey& key, const ConfigDocument* value) {
    if (value == nullptr || value->is_null()) {
        if (key.need == Need::optional && value == nullptr) {
            return {};
        }
        return {finding(Level::fault, key, "is missing", setIt(key))};
    }
    if (!hasType(*value, key.kind)) {
        return {finding(Level::fault, key,
                        "is " + std::string(value->type_name()) + ", not " + rangeOf(key),
                        setIt(key))};
    }
    if (isNumeric(key.kind)) {
        return examineNumber(key, *value);
    }
    if (value->is_string() && value->get<std::string>().empty()) {
        return {finding(Level::fault, key, "is empty", setIt(key))};
    }
    return {};
}

bool isKnown(const std::string& section, const std::string& key) {
    return std::ranges::any_of(configKeys(), [&](const ConfigKey& known) {
        return known.section == section && (key.empty() || known.key == key);
    });
}

Finding unknown(const std::string& name) {
    return {Level::warning, kArea, name + " is no setting of the library",
            "Look for a typing error; if it is your host's own, all is well."};
}

Findings examineUnknownKeys(const ConfigDocument& document) {
    Findings found;
    for (const auto& [name, value] : document.items()) {
        if (!isKnown(name, "")) {
            if (!isKnown("", name)) {
                found.push_back(unknown(name));
            }
            continue;
        }
        for (const auto& entry : value.items()) {
            if (value.is_object() && !isKnown(name, entry.key())) {
                found.push_back(unknown(name + "." + entry.key()));
            }
        }
    }
    return found;
}

// Two values that must be in order; nothing while either is no number.
struct Pair {
    const char* section;
    const char* lower;
    const char* upper;
};

Findings examineOrder(const ConfigDocument& document, const Pair& pair) {
    const ConfigDocument* lower = valueOf(document, pair.section, pair.lower);
    const ConfigDocument* upper = valueOf(document, pair.section, pair.upper);
    if (lower == nullptr || upper == nullptr || !lower->is_number() || !upper->is_number() ||
        lower->get<double>() < upper->get<double>()) {
        return {};
    }
    const std::string section = std::string(pair.section) + ".";
    return {{Level::warning, kArea,
             section + pair.lower + " is " + plain(lower->get<double>()) + ", which is not below " +
                 section + pair.upper + ", " + plain(upper->get<double>()),
             "No hand can be right for both: set the first below the second."}};
}

Findings examineCaptures(const ConfigDocument& document) {
    const ConfigDocument* centres = valueOf(document, "database", "regis_center_count");
    const ConfigDocument* captures = valueOf(document, "database", "regis_max_count");
    if (centres == nullptr || captures == nullptr || !centres->is_number() ||
        !captures->is_number() || captures->get<double>() >= centres->get<double>() - 1) {
        return {};
    }
    return {{Level::fault, kArea,
             "database.regis_max_count is " + captures->dump() +
                 ", too few captures for the templates of database.regis_center_count, " +
                 centres->dump(),
             "Enrolling would fail: set regis_max_count to regis_center_count - 1 at least."}};
}

}  // namespace

ConfigDocument readConfiguration(const std::string& path) {
    std::error_code isNone;
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(path, isNone)) {
        const int error = file ? EISDIR : errno;
        throw EngineFault("the configuration " + path +
                              " cannot be read: " + std::generic_category().message(error),
                          "Name the file with --config or in the environment variable "
                          "BRAIRU_CONFIG; config/brairu.json of the sources is a complete one.");
    }
    try {
        ConfigDocument document = ConfigDocument::parse(file);
        if (document.is_object()) {
            return document;
        }
    } catch (const nlohmann::json::exception& fault) {
        throw EngineFault("the configuration " + path + " is no JSON: " + fault.what(),
                          "Mend the place that the message names.");
    }
    throw EngineFault("the configuration " + path + " holds no JSON object",
                      "Start from config/brairu.json of the sources.");
}

Findings examineValues(const ConfigDocument& document) {
    Findings found;
    for (const ConfigKey& key : configKeys()) {
        append(found, examineValue(key, valueOf(document, key)));
    }
    for (const Pair& pair :
         {Pair{"handpose", "hand_size_width_min", "hand_size_width_max"},
          Pair{"handpose", "hand_size_height_min", "hand_size_height_max"},
          Pair{"handpose", "brightness_threshold_min", "brightness_threshold_max"}}) {
        append(found, examineOrder(document, pair));
    }
    append(found, examineCaptures(document));
    append(found, examineUnknownKeys(document));
    return found;
}

bool areSound(const ConfigDocument& document, std::initializer_list<const char*> names) {
    const auto isAtFault = [&](const ConfigKey& key) {
        return std::ranges::find(names, nameOf(key)) != names.end() &&
               std::ranges::any_of(examineValue(key, valueOf(document, key)),
                                   [](const Finding& each) { return each.level == Level::fault; });
    };
    return std::ranges::none_of(configKeys(), isAtFault);
}

ConfigDocument readSoundConfiguration(const std::string& path) {
    ConfigDocument document = readConfiguration(path);
    for (const Finding& found : examineValues(document)) {
        if (found.level == Level::fault) {
            throw EngineFault("the configuration is not in order: " + found.what, found.advice);
        }
    }
    return document;
}

}  // namespace brairu::tool
