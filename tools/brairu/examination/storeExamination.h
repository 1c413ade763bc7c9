// Looks at the template database and at the feature cache that mirrors it, and changes neither.
#pragma once

#include "config/configStore.h"
#include "examination/finding.h"

namespace brairu::tool {

// The settings of the store must be sound. Throws EngineFault for what it cannot survive.
Findings examineStore(const ConfigDocument& document);

}  // namespace brairu::tool
