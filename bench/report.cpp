#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

namespace brairu::bench {
namespace {

// The value below which a share of them lies.
double quantile(std::vector<double> values, double share) {
    const auto last = static_cast<double>(values.size() - 1);
    const auto place = values.begin() + std::lround(share * last);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

double median(const std::vector<double>& values) {
    return quantile(values, 0.5);
}

std::optional<double> timeOf(const Times& times, const std::string& name) {
    const auto found = times.find(name);
    return found == times.end() ? std::nullopt : std::optional(median(found->second));
}

std::optional<double> ratioOf(const Row& row, const Times& times) {
    const auto ours = timeOf(times, row.ours);
    const auto peer = timeOf(times, row.peer);
    return ours && peer ? std::optional(*peer / *ours) : std::nullopt;
}

// What a ratio may be in another run: from where ours is slow and the other fast to the reverse, by
// the quartiles of the repetitions.
struct Spread {
    double least;
    double most;
};

std::optional<Spread> spreadOf(const Row& row, const Times& times) {
    const auto ours = times.find(row.ours);
    const auto peer = times.find(row.peer);
    if (ours == times.end() || peer == times.end()) {
        return std::nullopt;
    }
    return Spread{quantile(peer->second, 0.25) / quantile(ours->second, 0.75),
                  quantile(peer->second, 0.75) / quantile(ours->second, 0.25)};
}

bool isMissed(const Row& row, const Times& times) {
    const auto ratio = ratioOf(row, times);
    return ratio && *ratio < row.goal;
}

std::string formatted(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string timeText(std::optional<double> nanoseconds) {
    constexpr double kMicrosecond = 1e3;
    constexpr double kMillisecond = 1e6;
    if (!nanoseconds) {
        return "-";
    }
    return *nanoseconds < kMillisecond ? formatted("%.1f us", *nanoseconds / kMicrosecond)
                                       : formatted("%.2f ms", *nanoseconds / kMillisecond);
}

std::string spreadText(std::optional<Spread> spread) {
    return spread ? formatted("%.2f", spread->least) + " to " + formatted("%.2f", spread->most)
                  : "-";
}

const std::string& absenceOf(const Suite& suite, const std::string& name) {
    return std::ranges::find(suite.measurements, name, &Measurement::name)->absence;
}

std::string verdict(const Suite& suite, const Row& row, const Times& times) {
    if (!timeOf(times, row.ours)) {
        return "not run: " + absenceOf(suite, row.ours);
    }
    if (!timeOf(times, row.peer)) {
        return "not run: " + absenceOf(suite, row.peer);
    }
    if (row.goal == 0.0) {
        return "-";
    }
    return isMissed(row, times) ? "no" : "yes";
}

void printRow(const Suite& suite, const Row& row, const Times& times) {
    const auto ratio = ratioOf(row, times);
    std::printf(
        "| %-58s | %8s | %9s | %5s | %14s | %4s | %s |\n", row.title.c_str(),
        timeText(timeOf(times, row.ours)).c_str(), timeText(timeOf(times, row.peer)).c_str(),
        (ratio ? formatted("%.2f", *ratio) : "-").c_str(), spreadText(spreadOf(row, times)).c_str(),
        (row.goal > 0.0 ? formatted("%.2f", row.goal) : "-").c_str(),
        verdict(suite, row, times).c_str());
}

void printGrowthPoint(const GrowthPoint& point, const Times& times) {
    const auto perRecord = [&](const std::string& name) {
        const auto time = timeOf(times, name);
        return time ? formatted("%.1f", *time / point.records) : "-";
    };
    std::printf("| %9d | %8s | %6s | %10s |\n", point.records,
                timeText(timeOf(times, point.ours)).c_str(), perRecord(point.ours).c_str(),
                perRecord(point.stream).c_str());
}

void printTable(const TimeTable& table, const Times& times) {
    std::printf("\n| %-44s |", table.title.c_str());
    std::string rule = "|---|";
    for (const std::string& column : table.columns) {
        std::printf(" %10s |", column.c_str());
        rule += "---:|";
    }
    std::printf("\n%s\n", rule.c_str());
    for (const TimeTable::Line& line : table.lines) {
        std::printf("| %-44s |", line.title.c_str());
        for (const std::string& name : line.measurements) {
            std::printf(" %10s |", timeText(timeOf(times, name)).c_str());
        }
        std::printf("\n");
    }
}

bool isOver(const Figure& figure) {
    return figure.limit > 0.0 && figure.value > figure.limit;
}

std::string valueText(const char* format, double value, const Figure& figure) {
    return formatted(format, value) + ' ' + figure.unit;
}

void printFigure(const Figure& figure) {
    const bool limited = figure.limit > 0.0;
    std::printf("| %-34s | %8s | %8s | %s |\n", figure.title.c_str(),
                valueText("%.1f", figure.value, figure).c_str(),
                limited ? valueText("%.0f", figure.limit, figure).c_str() : "-",
                !limited         ? "-"
                : isOver(figure) ? "no"
                                 : "yes");
}

void printFigures(const Suite& suite) {
    std::printf("\n| %-34s | %8s | %8s | kept |\n|---|---:|---:|---|\n", "", "", "at most");
    std::ranges::for_each(suite.figures, printFigure);
}

nlohmann::json numberOrNull(std::optional<double> value) {
    return value ? nlohmann::json(*value) : nlohmann::json();
}

nlohmann::json mediansAsJson(const Times& times) {
    nlohmann::json medians = nlohmann::json::object();
    for (const auto& [name, repetitions] : times) {
        medians[name] = median(repetitions);
    }
    return medians;
}

nlohmann::json spreadAsJson(std::optional<Spread> spread) {
    return spread ? nlohmann::json({spread->least, spread->most}) : nlohmann::json();
}

nlohmann::json rowsAsJson(const Suite& suite, const Times& times) {
    nlohmann::json rows = nlohmann::json::array();
    for (const Row& row : suite.rows) {
        rows.push_back({{"title", row.title},
                        {"ours", row.ours},
                        {"peer", row.peer},
                        {"ratio", numberOrNull(ratioOf(row, times))},
                        {"spread", spreadAsJson(spreadOf(row, times))},
                        {"goal", row.goal},
                        {"reached", verdict(suite, row, times)}});
    }
    return rows;
}

nlohmann::json growthAsJson(const Suite& suite, const Times& times) {
    nlohmann::json points = nlohmann::json::array();
    for (const GrowthPoint& point : suite.growth) {
        points.push_back({{"records", point.records},
                          {"ours", numberOrNull(timeOf(times, point.ours))},
                          {"threeSums", numberOrNull(timeOf(times, point.threeSums))},
                          {"stream", numberOrNull(timeOf(times, point.stream))}});
    }
    return points;
}

nlohmann::json tableAsJson(const TimeTable& table, const Times& times) {
    nlohmann::json lines = nlohmann::json::array();
    for (const TimeTable::Line& line : table.lines) {
        nlohmann::json cells = nlohmann::json::array();
        for (const std::string& name : line.measurements) {
            cells.push_back(numberOrNull(timeOf(times, name)));
        }
        lines.push_back({{"title", line.title}, {"nanoseconds", cells}});
    }
    return {{"title", table.title}, {"columns", table.columns}, {"lines", lines}};
}

nlohmann::json tablesAsJson(const Suite& suite, const Times& times) {
    nlohmann::json tables = nlohmann::json::array();
    for (const TimeTable& table : suite.tables) {
        tables.push_back(tableAsJson(table, times));
    }
    return tables;
}

nlohmann::json figuresAsJson(const Suite& suite) {
    nlohmann::json figures = nlohmann::json::array();
    for (const Figure& figure : suite.figures) {
        figures.push_back({{"title", figure.title},
                           {"value", figure.value},
                           {"unit", figure.unit},
                           {"limit", figure.limit}});
    }
    return figures;
}

}  // namespace

int printReport(const Suite& suite, const Times& times) {
    std::printf("\n| %-58s | %8s | %9s | %5s | %14s | %4s | reached |\n", "against", "ours",
                "the other", "ratio", "spread", "goal");
    std::printf("|---|---:|---:|---:|---:|---:|---|\n");
    for (const Row& row : suite.rows) {
        printRow(suite, row, times);
    }
    std::printf("\n| %9s | %8s | %6s | %10s |\n|---:|---:|---:|---:|\n", "records", "a search",
                "ns/rec", "limit ns/r");
    for (const GrowthPoint& point : suite.growth) {
        printGrowthPoint(point, times);
    }
    for (const TimeTable& table : suite.tables) {
        printTable(table, times);
    }
    printFigures(suite);
    return static_cast<int>(
        std::ranges::count_if(suite.rows, [&](const Row& row) { return isMissed(row, times); }) +
        std::ranges::count_if(suite.figures, isOver));
}

void writeResults(const Suite& suite, const Times& times, const std::string& path) {
    const nlohmann::json results{{"nanoseconds", mediansAsJson(times)},
                                 {"rows", rowsAsJson(suite, times)},
                                 {"growth", growthAsJson(suite, times)},
                                 {"tables", tablesAsJson(suite, times)},
                                 {"figures", figuresAsJson(suite)}};
    std::ofstream file(path);
    file << results.dump(2) << '\n';
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

}  // namespace brairu::bench
