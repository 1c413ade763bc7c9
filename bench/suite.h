// What is timed, and what is compared with what. A new row is a measurement of ours, one of what it
// is held against, and a line that names both.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace brairu::bench {

// What waits for the disk is measured by the clock on the wall as well.
enum class Clock { cpu, wall };

struct Measurement {
    std::string name;
    std::function<void()> once;  // null where it cannot be had
    std::string absence;         // then why
    Clock clock = Clock::cpu;
    // Makes every single run ready, untimed; null if none need be.
    std::function<void()> before = {};
};

// A line of the table: how many times faster ours is than the peer.
struct Row {
    std::string title;
    std::string ours;  // names of measurements
    std::string peer;
    double goal = 0.0;  // the least ratio wanted; 0 for none
};

// Names of measurements over galleries of one size.
struct GrowthPoint {
    int records = 0;
    std::string ours;
    std::string threeSums;
    std::string stream;
};

// Times side by side that are compared with nothing.
struct TimeTable {
    struct Line {
        std::string title;
        std::vector<std::string> measurements;  // names, one for each column
    };
    std::string title;
    std::vector<std::string> columns;
    std::vector<Line> lines;
};

// A value that is compared with nothing but a limit.
struct Figure {
    std::string title;
    double value = 0.0;
    std::string unit;
    double limit = 0.0;  // the most wanted; 0 for none
};

struct Suite {
    std::vector<Measurement> measurements;
    std::vector<Row> rows;
    std::vector<GrowthPoint> growth;
    std::vector<TimeTable> tables;
    std::vector<Figure> figures;
};

// Nanoseconds of one run, for every repetition, by name of the measurement; those that cannot be had
// are not in it.
using Times = std::map<std::string, std::vector<double>>;

}  // namespace brairu::bench
