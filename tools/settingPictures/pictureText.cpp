#include "settingPictures/pictureText.h"

#include <stdexcept>

namespace brairu::tool {
namespace {

constexpr double kLine = 17;

}  // namespace

std::string filledWith(const char* colour, const std::string& more) {
    return std::string("fill='") + colour + "' " + more;
}

std::string settingText(const ConfigDocument& config, const std::string& section,
                        const std::string& key) {
    const std::string name = section + "." + key;
    if (!config.contains(section) || !config[section].contains(key)) {
        throw std::runtime_error(name + " is not in the configuration");
    }
    return name + ": " + config[section][key].dump();
}

double heightOf(const std::vector<NamedSetting>& settings) {
    return kLine * static_cast<double>(settings.size());
}

double writeSettings(SvgPicture& picture, double top, const ConfigDocument& config,
                     const std::vector<NamedSetting>& settings) {
    constexpr double kEffectLeft = 345;
    for (const NamedSetting& setting : settings) {
        picture.text({kPictureMargin, top}, settingText(config, setting.section, setting.key),
                     "font-weight='bold'");
        picture.text({kEffectLeft, top}, setting.effect, "");
        top += kLine;
    }
    return top;
}

}  // namespace brairu::tool
