// What the pictures have in common: their colours, and settings as text.
#pragma once

#include <string>

#include "config/configStore.h"
#include "svg/svg.h"

namespace brairu::tool {

inline constexpr char kAccepted[] = "#2e7d4f";
inline constexpr char kRefused[] = "#b3261e";
inline constexpr char kNeutral[] = "#666666";
inline constexpr char kOwnPalm[] = "#1f5fa8";
inline constexpr char kStranger[] = "#c2571a";
inline constexpr char kGridLine[] = "stroke='#dddddd'";
inline constexpr char kLimitLine[] = "stroke='#b3261e' stroke-width='2' stroke-dasharray='5 4'";
inline constexpr char kHeading[] = "font-size='15'";

inline constexpr double kPictureMargin = 16;

// "fill='#...'", and what else is wanted.
std::string filledWith(const char* colour, const std::string& more = "");

// "handpose.blur_threshold: 12.0", as the configuration has it. Throws std::runtime_error without
// such a setting.
std::string settingText(const ConfigDocument& config, const std::string& section,
                        const std::string& key);

// A setting that a picture is about.
struct NamedSetting {
    const char* section;
    const char* key;
    const char* effect;
};

double heightOf(const std::vector<NamedSetting>& settings);

// One a line from top on; returns where the next line goes.
double writeSettings(SvgPicture& picture, double top, const ConfigDocument& config,
                     const std::vector<NamedSetting>& settings);

}  // namespace brairu::tool
