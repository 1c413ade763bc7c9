// Looks at a configuration file, without the engine.
#pragma once

#include <initializer_list>
#include <string>

#include "config/configStore.h"
#include "examination/finding.h"

namespace brairu::tool {

// The document in a file. Throws EngineFault for one that cannot be read or is no JSON object.
ConfigDocument readConfiguration(const std::string& path);

// What is wrong with the values, one by one and together. Nothing when all is in order.
Findings examineValues(const ConfigDocument& document);

// Whether none of these settings ("database.database_path") is at fault.
bool areSound(const ConfigDocument& document, std::initializer_list<const char*> names);

// The document in a file. Throws EngineFault as well with the first fault among its values: what the
// engine would raise from some call of its own, later.
ConfigDocument readSoundConfiguration(const std::string& path);

}  // namespace brairu::tool
